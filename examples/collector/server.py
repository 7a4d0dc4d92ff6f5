"""The collector's HTTP interface."""

import asyncio
import json
import logging
import socket
import sqlite3
import ssl
import sys
import zlib
from collections import Counter
from concurrent.futures import ThreadPoolExecutor
from contextlib import suppress
from pathlib import Path
from typing import Any

from aiohttp import web
from aiohttp.http import HttpProcessingError

from faults import Fault, read_fault
from packages import Package, Refusal, Schema, read_envelope
from store import Store

PAGE = Path(__file__).with_name("page.html")
LIMIT = 4 << 20  # bytes of a request's body, sent and inflated
PAGE_HEADERS = {
    "Cache-Control": "no-store",
    # The page is to need nothing from elsewhere.
    "Content-Security-Policy": "default-src 'none'; style-src 'unsafe-inline'; script-src 'unsafe-inline'; "
                               "connect-src 'self'; img-src data:",
}


def _is_ours(record: logging.LogRecord) -> bool:
    """Whether a message of aiohttp's is about a fault of the collector's, and not of its clients or their network."""
    return not (record.exc_info and isinstance(record.exc_info[1], (ConnectionError, HttpProcessingError)))


logging.getLogger("aiohttp.server").addFilter(_is_ours)


def _error(status: int, reason: str) -> web.Response:
    return web.json_response({"error": reason}, status=status)


def _inflated(body: bytes) -> bytes:
    """What was compressed by gzip. Stops at the limit, however much there would be: aiohttp's own way inflates all that
    has arrived before anybody can count it."""
    inflater = zlib.decompressobj(wbits=16 + zlib.MAX_WBITS)
    try:
        result = inflater.decompress(body, LIMIT + 1)
    except zlib.error:
        raise Refusal(400, "not gzip") from None
    if len(result) > LIMIT:
        raise Refusal(413, f"more than {LIMIT} bytes inflated")
    if not inflater.eof or inflater.unused_data:
        raise Refusal(400, "not gzip")
    return result


async def _body(request: web.Request) -> bytes:
    """The body of a request that says it is JSON."""
    encoding = request.headers.get("Content-Encoding", "identity").lower()
    if request.content_type != "application/json":
        raise Refusal(415, "expected Content-Type: application/json")
    if encoding not in ("identity", "gzip"):
        raise Refusal(415, "expected no Content-Encoding but gzip")
    try:
        body = await request.read()
    except web.HTTPRequestEntityTooLarge:
        raise Refusal(413, f"more than {LIMIT} bytes") from None
    return _inflated(body) if encoding == "gzip" else body


def _abort(request: web.Request) -> web.StreamResponse:
    """Cuts the connection; what is returned goes nowhere."""
    if request.transport:
        request.transport.abort()
    return web.Response()


async def _hang(request: web.Request) -> web.StreamResponse:
    """Waits until the other side has given up; what is returned goes nowhere."""
    while request.transport:
        await asyncio.sleep(0.1)
    return web.Response()


async def _send_slowly(request: web.Request, answer: web.Response, fault: Fault) -> web.StreamResponse:
    await asyncio.sleep(fault.delay or 0)
    if fault.drip is None:
        return answer
    stream = await _begin(request, answer)
    for byte in answer.body:
        await stream.write(bytes([byte]))
        await asyncio.sleep(fault.drip)
    return stream


async def _send_half(request: web.Request, answer: web.Response) -> web.StreamResponse:
    stream = await _begin(request, answer)
    await stream.write(answer.body[:len(answer.body) // 2])
    if request.transport:
        request.transport.close()
    return stream


async def _begin(request: web.Request, answer: web.Response) -> web.StreamResponse:
    stream = web.StreamResponse(status=answer.status, headers=answer.headers)
    stream.content_length = len(answer.body)
    await stream.prepare(request)
    return stream


class Collector:
    """Takes packages in over HTTP, and fails on demand."""

    def __init__(self, store: Store, schema: Schema, tls: ssl.SSLContext | None) -> None:
        self._store = store
        self._schema = schema
        self._tls = tls
        self._checker = ThreadPoolExecutor(1)
        self._requests: Counter[str] = Counter()
        self._fault: Fault | None = None
        self._reopening: asyncio.Task[None] | None = None

        application = web.Application(client_max_size=LIMIT + 1)
        application.add_routes([
            web.get("/", self._get_page),
            web.get("/totals", self._get_totals),
            web.post("/packages", self._post_packages),
            web.post("/fault", self._post_fault),
            web.delete("/fault", self._delete_fault),
        ])
        self._runner = web.AppRunner(application, access_log=None, auto_decompress=False)

    # Listening

    async def start(self, host: str, port: int, fault: Fault | None) -> str:
        """Begins to listen, and returns the address."""
        await self._runner.setup()
        await self._listen(self._bound(host, port))
        if fault:
            await self._set_fault(fault)
        shown = f"[{self._address[0]}]" if ":" in self._address[0] else self._address[0]
        return f"{'https' if self._tls else 'http'}://{shown}:{self._address[1]}/"

    def _bound(self, host: str, port: int) -> socket.socket:
        family, kind, protocol, _, address = socket.getaddrinfo(host, port, type=socket.SOCK_STREAM)[0]
        result = socket.socket(family, kind, protocol)
        result.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        try:
            result.bind(address)
        except OSError:
            result.close()
            raise
        self._address = result.getsockname()
        return result

    async def _listen(self, bound: socket.socket) -> None:
        self._server = await asyncio.get_running_loop().create_server(
            self._runner.server, sock=bound, ssl=self._tls, backlog=512)

    async def _refuse(self, seconds: float) -> None:
        """Closes the listening socket, so that the system refuses connections. The port stays ours meanwhile: it is
        bound by a socket that does not listen."""
        self._server.close()
        await self._server.wait_closed()
        bound = self._bound(*self._address[:2])

        async def reopen() -> None:
            try:
                await asyncio.sleep(seconds)
            finally:
                await self._listen(bound)

        self._reopening = asyncio.create_task(reopen())
        await asyncio.sleep(0)  # A task that is cancelled before it has begun does nothing at all.

    async def stop(self) -> None:
        """Stops listening, answers what is being worked on, and leaves the store whole."""
        await self._set_fault(None)
        self._server.close()
        await self._runner.server.shutdown(1)
        await self._runner.cleanup()
        self._checker.shutdown()
        await self._store.close()

    # Faults

    async def _set_fault(self, fault: Fault | None) -> None:
        if self._reopening:
            self._reopening.cancel()
            await asyncio.gather(self._reopening, return_exceptions=True)
            self._reopening = None
        self._fault = fault
        if fault and fault.kind == "refuse":
            await self._refuse(fault.seconds)

    def _present_fault(self) -> Fault | None:
        if self._fault and self._fault.is_over:
            self._fault = None
        return self._fault

    def _take_fault(self) -> Fault | None:
        """The fault that the next request meets."""
        fault = self._present_fault()
        if fault and fault.count is not None:
            fault.count -= 1
        return fault

    async def _post_fault(self, request: web.Request) -> web.Response:
        try:
            fault = read_fault(json.loads(await _body(request)))
        except Refusal as refusal:
            return _error(refusal.status, refusal.reason)
        except (ValueError, RecursionError) as error:
            return _error(400, str(error))
        await self._set_fault(fault)
        return web.json_response(fault.left())

    async def _delete_fault(self, _request: web.Request) -> web.Response:
        await self._set_fault(None)
        return web.Response(status=204)

    # Packages

    async def _post_packages(self, request: web.Request) -> web.StreamResponse:
        fault = self._take_fault()
        kind = fault.kind if fault else ""
        if kind in ("refuse", "hang") or (kind == "cut" and fault.when == "request"):
            self._requests[kind] += 1
            if kind == "hang":
                return await _hang(request)
            if kind == "cut":
                with suppress(asyncio.IncompleteReadError):
                    await request.content.readexactly(max(1, (request.content_length or 0) // 2))
            return _abort(request)
        if kind == "status":
            await request.read()
            answer = _error(fault.status, "a fault that is set")
            if fault.retry_after is not None:
                answer.headers["Retry-After"] = str(fault.retry_after)
        else:
            answer = await self._answer(request)
        self._requests["cut" if kind == "cut" else str(answer.status)] += 1
        if kind == "cut":
            return await _send_half(request, answer)
        return await _send_slowly(request, answer, fault) if kind == "slow" else answer

    async def _answer(self, request: web.Request) -> web.Response:
        try:
            body = await _body(request)
            packages = await asyncio.get_running_loop().run_in_executor(self._checker, self._checked, body)
            accepted, repeated = await self._store.put(packages)
        except Refusal as refusal:
            return _error(refusal.status, refusal.reason)
        except sqlite3.Error as error:
            print(f"collector: the store: {error}", file=sys.stderr)
            return _error(503, f"the store: {error}")
        return web.json_response({"accepted": accepted, "repeated": repeated})

    def _checked(self, body: bytes) -> list[Package]:
        packages = read_envelope(body)
        for package in packages:
            self._schema.check(package)
        return packages

    # What is shown

    def _totals(self) -> dict[str, Any]:
        totals = self._store.totals
        fault = self._present_fault()
        return {
            "packages": totals.packages,
            "events": totals.by_type.total(),
            "repeated": totals.repeated,
            "refused": sum(number for status, number in self._requests.items() if status.startswith("4")),
            "requests": self._requests,
            "by_type": totals.by_type,
            "by_box": totals.by_box,
            "bytes": totals.bytes,
            "fault": fault.left() if fault else None,
        }

    async def _get_totals(self, _request: web.Request) -> web.Response:
        return web.json_response(self._totals(), headers={"Cache-Control": "no-store"})

    async def _get_page(self, _request: web.Request) -> web.FileResponse:
        return web.FileResponse(PAGE, headers=PAGE_HEADERS)
