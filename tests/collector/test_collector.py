"""What the collector answers, counts and keeps."""

import gzip
import http.client
import json
import signal
import socket
import ssl
import subprocess
import threading
import time
import unittest
import zlib
from pathlib import Path
from typing import Any

from support import JSON, LIMIT, PROGRAM, ROOT, CollectorTest, envelope, zap

DATA = ROOT / "tests/tools/data"


class Packages(CollectorTest):
    """Packages are taken once, whole, and as they are."""

    def test_nothing_yet(self) -> None:
        self.assertEqual(self.totals(), {
            "packages": 0, "events": 0, "repeated": 0, "refused": 0, "requests": {}, "by_type": {}, "by_box": {},
            "bytes": 0, "fault": None})

    def test_counts(self) -> None:
        nameless = '{"events":[{"event_id":"8f0f29e3"},{"event_counter":1},{"event_id":"/x","uid":"box-2"}]}'
        self.assertEqual(self.post(envelope(zap("a"), ("b", nameless))), (200, {"accepted": 2, "repeated": 0}))
        self.assertEqual(self.post(envelope(zap("c", "box-2"), zap("a"))), (200, {"accepted": 1, "repeated": 1}))
        self.assertEqual(self.post(b"{}")[0], 400)
        self.assertEqual(self.totals(), {
            "packages": 3, "events": 5, "repeated": 1, "refused": 1, "requests": {"200": 2, "400": 1},
            "by_type": {"playback_zap": 2, "unknown": 3}, "by_box": {"box-1": 1, "box-2": 2, "unknown": 2},
            "bytes": 230, "fault": None})
        self.assertEqual(self.rows("SELECT key, type, event_id, box FROM events"), [
            ("a", "playback_zap", "playback_zap/a", "box-1"), ("b", "unknown", "8f0f29e3", None),
            ("b", "unknown", None, None), ("b", "unknown", "/x", "box-2"),
            ("c", "playback_zap", "playback_zap/c", "box-2")])
        self.assertEqual(self.rows("SELECT key FROM repeats"), [("a",)])

    def test_kept_as_sent(self) -> None:
        texts = {
            "blanks": '{ "events" :\t[ { "event_id" : "a/1" } ] }',
            "escapes": r'{"events":[{"title":"\u0041\/\"}]{[","event_id":"\u00e4/\ud800"}]}',
            "text": '{"events":[{"title":"Größe \U0001f4fa","event_id":"ö/\U0001f4fa"}]}',
            "numbers": '{"events":[{"event_counter":1.0e0,"interval_ms":20}]}',
            "empty": '{"events":[]}',
        }
        items = [f'\n{{"x":[{{}},[]],"package":7,"key" :"{key}" , "package" : {text} ,"priority":"high"}}'
                 for key, text in texts.items()]
        body = f' {{"packages":1,"note":"]","packages" : [{" ,".join(items)}]\r\n}} '.encode()
        self.assertEqual(self.post(body), (200, {"accepted": 5, "repeated": 0}))
        self.assertEqual(self.rows("SELECT key, body FROM packages ORDER BY rowid"), list(texts.items()))
        self.assertEqual(self.rows("SELECT DISTINCT priority FROM packages"), [("high",)])
        self.assertEqual(self.rows("SELECT type, event_id FROM events ORDER BY rowid"), [
            ("a", "a/1"), ("ä", "ä/?"), ("ö", "ö/\U0001f4fa"), ("unknown", None)])

    def test_the_first_of_a_key_stays(self) -> None:
        self.assertEqual(self.post(envelope(zap("a"), ("a", '{"events":[]}'))), (200, {"accepted": 1, "repeated": 1}))
        self.assertEqual(self.post(envelope(("a", '{"events":[]}'))), (200, {"accepted": 0, "repeated": 1}))
        self.assertEqual(self.rows("SELECT key, body FROM packages"), [zap("a")])
        self.assertEqual(self.totals()["events"], 1)

    def test_many_at_once(self) -> None:
        answers = []

        def deliver(box: int) -> None:
            connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT)
            for number in range(10):
                packages = [zap(f"{box}-{number}-{part}", f"box-{box}") for part in range(3)]
                connection.request("POST", "/packages", envelope(*packages, zap("all")), JSON)
                answers.append(json.loads(connection.getresponse().read()))
            connection.close()

        threads = [threading.Thread(target=deliver, args=[box]) for box in range(50)]
        for thread in threads:
            thread.start()
        for thread in threads:
            thread.join()
        self.assertEqual((sum(answer["accepted"] for answer in answers), sum(answer["repeated"] for answer in answers)),
                         (1501, 499))
        totals = self.totals()
        self.assertEqual((totals["packages"], totals["events"], totals["repeated"]), (1501, 1501, 499))
        self.assertEqual(self.rows("SELECT count(*) FROM packages"), [(1501,)])


class Refusals(CollectorTest):
    """Of a request that is not sound nothing is stored."""

    def refused(self, status: int, reason: str, body: bytes, **headers: str) -> None:
        self.assertEqual(self.post(body, **headers), (status, {"error": reason}))

    def tearDown(self) -> None:
        self.assertEqual(self.rows("SELECT count(*) FROM packages"), [(0,)])

    def test_envelopes(self) -> None:
        shape = 'expected {"packages":[...]} with one package at least'
        good = '{"key":"good","priority":"normal","package":{"events":[]}}'
        second = [
            ("7", "is no object"),
            ('{"priority":"high","package":{"events":[]}}',
             "key: expected 1 to 128 printable ASCII characters without spaces"),
            ('{"key":"","priority":"high","package":{"events":[]}}',
             "key: expected 1 to 128 printable ASCII characters without spaces"),
            ('{"key":"\\ud800","priority":"high","package":{"events":[]}}',
             "key: expected 1 to 128 printable ASCII characters without spaces"),
            ('{"key":"a\\n","priority":"high","package":{"events":[]}}',
             "key: expected 1 to 128 printable ASCII characters without spaces"),
            ('{"key":"%s","priority":"high","package":{"events":[]}}' % ("x" * 129),
             "key: expected 1 to 128 printable ASCII characters without spaces"),
            ('{"key":1,"priority":"high","package":{"events":[]}}',
             "key: expected 1 to 128 printable ASCII characters without spaces"),
            ('{"key":"a","package":{"events":[]}}', 'priority: expected "high" or "normal"'),
            ('{"key":"a","priority":["high"],"package":{"events":[]}}', 'priority: expected "high" or "normal"'),
            ('{"key":"a","priority":"high"}', "lacks package"),
        ]
        for body, reason in [
            (b"", "not JSON: Expecting value: line 1 column 1 (char 0)"),
            (b"{", "not JSON: Expecting property name enclosed in double quotes: line 1 column 2 (char 1)"),
            (b"{} {}", "not JSON: Extra data: line 1 column 4 (char 3)"),
            (b'{"packages":[NaN]}', "not JSON: NaN is not JSON"),
            (b'{"\xff":1}', "not UTF-8"),
            (b"[" * 100000, "nested too deeply"),
            (b"[]", shape), (b"{}", shape), (b'{"packages":{}}', shape), (b'{"packages":[]}', shape),
            *((f'{{"packages":[{good},{item}]}}'.encode(), f"packages[1]: {reason}") for item, reason in second),
        ]:
            with self.subTest(body=body[:60]):
                self.refused(400, reason, body)

    def test_what_breaks_the_wire_format(self) -> None:
        for text, reason in [
            ("[]", "[] is not of type 'object'"),
            ("{}", "'events' is a required property"),
            ('{"events":{}}', "{} is not of type 'array'"),
            ('{"events":[7]}', "an event is of no type that there is"),
            ('{"events":[{"no_such_key":1}]}', "an event is of no type that there is"),
            ('{"events":[{"event_id":7}]}', "an event is of no type that there is"),
            ('{"events":[],"more":1}', "Additional properties are not allowed ('more' was unexpected)"),
            ('{"events":[{"event_id":"playback_zap/1"},{"event_id":"playback_zap/2","zap_time":"x"}]}',
             "playback_zap: $.zap_time: 'x' is not of type 'integer'"),
        ]:
            with self.subTest(text=text):
                self.refused(422, f"package bad: {reason}", envelope(zap("good"), ("bad", text)))
        self.assertEqual(self.totals()["refused"], 8)

    def test_kind_of_body(self) -> None:
        body = envelope(zap("a"))
        json_expected = "expected Content-Type: application/json"
        self.refused(415, json_expected, body, Content_Type="text/plain")
        self.refused(415, json_expected, body, Content_Type="application/x-www-form-urlencoded")
        self.refused(415, "expected no Content-Encoding but gzip", body, Content_Encoding="br")
        self.refused(415, "expected no Content-Encoding but gzip", zlib.compress(body), Content_Encoding="deflate")
        packed = gzip.compress(body)
        for broken in (body, b"", packed[:-1], packed + b"x", packed[:20] + b"\0\0\0\0" + packed[24:]):
            self.refused(400, "not gzip", broken, Content_Encoding="gzip")

    def test_too_large(self) -> None:
        reason = "more than 4194304 bytes"
        self.refused(413, reason, b" " * 4194305)
        self.connection.close()
        self.connection.request("POST", "/packages", iter([b" " * 1000000] * 5), JSON, encode_chunked=True)
        answer = self.connection.getresponse()
        self.assertEqual((answer.status, json.loads(answer.read())), (413, {"error": reason}))

    def test_inflated_too_large(self) -> None:
        packer = zlib.compressobj(9, wbits=31)
        bomb = b"".join(packer.compress(b" " * (1 << 20)) for _ in range(1024)) + packer.flush()
        before = self.peak_memory()
        self.refused(413, "more than 4194304 bytes inflated", bomb, Content_Encoding="gzip")
        self.assertLess(self.peak_memory() - before, 32 << 10)

    def peak_memory(self) -> int:
        """In KiB."""
        status = Path(f"/proc/{self.process.pid}/status").read_text(encoding="utf-8")
        return next(int(line.split()[1]) for line in status.splitlines() if line.startswith("VmHWM:"))


class Acceptance(CollectorTest):
    """What is just sound enough."""

    def test_wire_format(self) -> None:
        golden = (DATA / "golden.jsonl").read_text(encoding="utf-8").splitlines()
        self.assertEqual(self.post(envelope(*((f"golden-{number}", line) for number, line in enumerate(golden)))),
                         (200, {"accepted": 42, "repeated": 0}))
        for number, line in enumerate((DATA / "broken.jsonl").read_text(encoding="utf-8").splitlines()):
            row = json.loads(line)
            with self.subTest(row["name"]):
                self.assertEqual(self.post(envelope((f"b{number}", json.dumps(row["broken"]))))[0], 422)
                self.assertEqual(self.post(envelope((f"m{number}", json.dumps(row["mended"]))))[0], 200)

    def test_an_event_may_name_another_type(self) -> None:
        text = '{"events":[{"event_id":"kivo_auth/1","zap_time":1}]}'
        self.assertEqual(self.post(envelope(("a", text))), (200, {"accepted": 1, "repeated": 0}))

    def test_gzip(self) -> None:
        body = gzip.compress(envelope(zap("a")))
        self.assertEqual(self.post(body, Content_Encoding="gzip"), (200, {"accepted": 1, "repeated": 0}))

    def test_parameters_of_the_content_type(self) -> None:
        self.assertEqual(self.post(envelope(zap("a")), Content_Type="application/json; charset=utf-8")[0], 200)

    def test_largest(self) -> None:
        body = envelope(zap("a"))
        self.assertEqual(self.post(body + b" " * (4194304 - len(body))), (200, {"accepted": 1, "repeated": 0}))
        body = envelope(zap("b"))
        packed = gzip.compress(body + b" " * (4194304 - len(body)))
        self.assertEqual(self.post(packed, Content_Encoding="gzip"), (200, {"accepted": 1, "repeated": 0}))


class Faults(CollectorTest):
    """The collector fails as it is told to, and only where packages come in."""

    def deliver(self, key: str, timeout: float = LIMIT) -> Any:
        """What a host sees that delivers a package over a connection of its own: an answer, or an error."""
        connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=timeout)
        try:
            connection.request("POST", "/packages", envelope(zap(key)), JSON)
            answer = connection.getresponse()
            return answer.status, answer.headers["Retry-After"], json.loads(answer.read())
        except (OSError, http.client.HTTPException) as error:
            return type(error)
        finally:
            connection.close()

    def keys(self) -> list[str]:
        return [key for key, in self.rows("SELECT key FROM packages")]

    def assert_well(self, key: str) -> None:
        self.assertEqual(self.deliver(key), (200, None, {"accepted": 1, "repeated": 0}))
        self.assertIsNone(self.totals()["fault"])

    def test_status(self) -> None:
        told = {"error": "a fault that is set"}
        for status, retry_after, seen in [(500, None, None), (503, 120, "120"), (413, None, None), (307, None, None),
                                          (429, "Fri, 21 Nov 2025 06:00:00 GMT", "Fri, 21 Nov 2025 06:00:00 GMT")]:
            more = {} if retry_after is None else {"retry_after": retry_after}
            self.assertEqual(self.fault(kind="status", status=status, count=1, **more),
                             (200, {"kind": "status", "status": status, "count": 1, **more}))
            self.assertEqual(self.deliver("a"), (status, seen, told))
        self.assertEqual(self.keys(), [])
        self.assert_well("a")
        totals = self.totals()
        self.assertEqual((totals["requests"], totals["refused"]),
                         ({"500": 1, "503": 1, "413": 1, "307": 1, "429": 1, "200": 1}, 2))

    def test_hang(self) -> None:
        self.fault(kind="hang", count=1)
        self.assertEqual(self.deliver("a", timeout=0.5), TimeoutError)
        self.assertEqual(self.keys(), [])
        self.assert_well("b")
        self.assertEqual(self.totals()["requests"], {"hang": 1, "200": 1})

    def test_cut_while_the_request_is_read(self) -> None:
        self.fault(kind="cut", when="request", count=1)
        with socket.create_connection(("127.0.0.1", self.port), timeout=LIMIT) as half:
            half.sendall(b"POST /packages HTTP/1.1\r\nHost: x\r\nContent-Length: 1000\r\n"
                         b"Content-Type: application/json\r\n\r\n" + b" " * 499)
            half.settimeout(0.3)
            self.assertRaises(TimeoutError, half.recv, 1)
            half.settimeout(LIMIT)
            half.sendall(b" ")
            self.assertEqual(half.recv(1), b"")
        self.fault(kind="cut", when="request", count=1)
        self.assertIn(self.deliver("a"), (ConnectionResetError, http.client.RemoteDisconnected))
        self.assertEqual(self.keys(), [])
        self.assert_well("b")
        self.assertEqual(self.totals()["requests"], {"cut": 2, "200": 1})

    def test_cut_in_the_answer(self) -> None:
        self.fault(kind="cut", when="answer", count=1)
        self.assertEqual(self.deliver("a"), http.client.IncompleteRead)
        self.assertEqual(self.keys(), ["a"])
        self.assertEqual(self.deliver("a"), (200, None, {"accepted": 0, "repeated": 1}))

    def test_slow(self) -> None:
        self.fault(kind="slow", delay=5, count=1)
        self.assertEqual(self.deliver("a", timeout=0.5), TimeoutError)
        self.becomes(["a"], self.keys)
        self.fault(kind="slow", delay=0.2, drip=0.02, count=1)
        begin = time.monotonic()
        self.assertEqual(self.deliver("b"), (200, None, {"accepted": 1, "repeated": 0}))
        self.assertGreater(time.monotonic() - begin, 0.2 + 29 * 0.02)
        self.assert_well("c")

    def test_slow_drips(self) -> None:
        self.fault(kind="slow", drip=0.2, count=1)
        with socket.create_connection(("127.0.0.1", self.port), timeout=LIMIT) as connection:
            connection.sendall(b"POST /packages HTTP/1.1\r\nHost: x\r\nContent-Length: 2\r\n"
                               b"Content-Type: application/json\r\n\r\n{}")
            received = b""
            while len(received.partition(b"\r\n\r\n")[2]) < 3:
                received += connection.recv(4096)
            self.assertLess(len(received.partition(b"\r\n\r\n")[2]), 30)

    def test_refuse(self) -> None:
        self.totals()  # opens the connection that stays
        self.fault(kind="refuse", seconds=5)
        self.assertEqual(self.deliver("a"), ConnectionRefusedError)
        self.assertEqual(self.totals()["fault"]["kind"], "refuse")
        with self.assertRaises((ConnectionResetError, http.client.RemoteDisconnected)):
            self.post(envelope(zap("a")))
        self.connection.close()
        self.becomes((200, None, {"accepted": 0, "repeated": 1}), lambda: self.deliver("b"))
        self.assertEqual(self.keys(), ["b"])

    def test_refuse_is_ended(self) -> None:
        self.totals()
        self.fault(kind="refuse", seconds=60)
        self.assertEqual(self.deliver("a"), ConnectionRefusedError)
        self.fault(kind="refuse", seconds=50)
        self.assertEqual(self.deliver("a"), ConnectionRefusedError)
        self.assertEqual(self.ask("DELETE", "/fault"), (204, None))
        self.assert_well("b")
        self.fault(kind="refuse", seconds=60)
        self.assertEqual(self.stop(), (0, ""))

    def test_for_a_time(self) -> None:
        begin = time.monotonic()
        self.fault(kind="status", status=503, seconds=5)
        self.assertEqual((self.deliver("a")[0], self.deliver("a")[0]), (503, 503))
        self.becomes(None, lambda: self.totals()["fault"])
        self.assertGreater(time.monotonic() - begin, 5)
        self.assert_well("a")

    def test_until_it_is_ended(self) -> None:
        self.fault(kind="status", status=503)
        self.assertEqual([self.deliver("a")[0] for _ in range(3)], [503] * 3)
        self.assertEqual(self.totals()["fault"], {"kind": "status", "status": 503})
        self.assertEqual(self.ask("DELETE", "/fault"), (204, None))
        self.assert_well("a")

    def test_counts_down(self) -> None:
        self.fault(kind="status", status=500, count=3)
        self.deliver("a")
        self.assertEqual(self.totals()["fault"], {"kind": "status", "status": 500, "count": 2})

    def test_from_the_start(self) -> None:
        self.stop()
        self.start("--fault", '{"kind":"status","status":418,"count":1}')
        self.assertEqual(self.deliver("a")[0], 418)
        self.assert_well("a")

    def test_not_a_fault(self) -> None:
        number = "expected a number above 0, 86400 at most"
        for body, reason in [
            (b"x", "Expecting value: line 1 column 1 (char 0)"),
            (b"[" * 100000, "maximum recursion depth exceeded while decoding a JSON array from a unicode string"),
            (b"[]", "kind: expected one of refuse, hang, status, cut, slow"),
            (b'{"kind":["hang"]}', "kind: expected one of refuse, hang, status, cut, slow"),
            (b'{"kind":"hang","status":500}', "hang has no 'status'"),
            (b'{"kind":"status"}', "status needs status"),
            (b'{"kind":"status","status":200}', "status: expected a whole number from 300 to 599"),
            (b'{"kind":"status","status":500.0}', "status: expected a whole number from 300 to 599"),
            (b'{"kind":"status","status":503,"retry_after":-1}',
             "retry_after: expected seconds from 0 to 86400, or the text of a date"),
            (b'{"kind":"status","status":503,"retry_after":"a\\r\\nb"}',
             "retry_after: expected seconds from 0 to 86400, or the text of a date"),
            (b'{"kind":"cut"}', "cut needs when"),
            (b'{"kind":"cut","when":"never"}', 'when: expected "request" or "answer"'),
            (b'{"kind":"slow"}', "slow needs delay or drip"),
            (b'{"kind":"slow","delay":0}', f"delay: {number}"),
            (b'{"kind":"slow","drip":NaN}', f"drip: {number}"),
            (b'{"kind":"hang","seconds":true}', f"seconds: {number}"),
            (b'{"kind":"hang","seconds":86401}', f"seconds: {number}"),
            (b'{"kind":"hang","count":0}', "count: expected a whole number from 1 to 1000000"),
            (b'{"kind":"hang","count":1,"seconds":1}', "count and seconds exclude each other"),
            (b'{"kind":"refuse"}',
             "refuse needs seconds, and has no count: while it lasts nobody can connect to end it"),
        ]:
            with self.subTest(body=body[:60]):
                self.assertEqual(self.ask("POST", "/fault", body, JSON), (400, {"error": reason}))
        self.assertEqual(self.ask("POST", "/fault", b'{"kind":"hang"}', {"Content-Type": "text/plain"})[0], 415)
        self.assert_well("a")


class Starts(CollectorTest):
    """What was answered for is there after the next start."""

    def test_restart(self) -> None:
        self.post(envelope(zap("a"), zap("b", "box-2"), ("c", '{"events":[{"title":"ö"}]}')))
        self.post(envelope(zap("a")))
        before = self.totals()
        self.assertEqual(self.stop(), (0, ""))
        self.start()
        self.assertEqual(self.totals(), {**before, "requests": {}})
        self.assertEqual(self.post(envelope(zap("b"))), (200, {"accepted": 0, "repeated": 1}))
        self.assertEqual(self.stop(signal.SIGINT), (0, ""))

    def test_killed(self) -> None:
        answered = []

        def deliver(box: int) -> None:
            connection = http.client.HTTPConnection("127.0.0.1", self.port, timeout=LIMIT)
            try:
                for number in range(100000):
                    keys = [f"{box}-{number}-{part}" for part in range(3)]
                    connection.request("POST", "/packages", envelope(*map(zap, keys)), JSON)
                    answer = connection.getresponse()
                    if answer.status == 200 and answer.read():
                        answered.extend(keys)
            except (OSError, http.client.HTTPException):
                connection.close()

        for round_number in range(3):
            threads = [threading.Thread(target=deliver, args=[10 * round_number + box]) for box in range(5)]
            for thread in threads:
                thread.start()
            self.becomes(True, lambda: len(answered) >= 150 * (round_number + 1))
            self.stop(signal.SIGKILL)
            for thread in threads:
                thread.join()
            self.start()
        stored = {key for key, in self.rows("SELECT key FROM packages")}
        self.assertEqual(set(answered) - stored, set())
        self.assertEqual(self.rows("SELECT count(*) FROM events"), [(len(stored),)])
        self.assertEqual(len(stored) % 3, 0)
        self.assertEqual(self.totals()["packages"], len(stored))
        self.assertEqual(self.rows("PRAGMA integrity_check"), [("ok",)])

    def test_stops_while_a_request_hangs(self) -> None:
        self.fault(kind="hang")
        hanging = http.client.HTTPConnection("127.0.0.1", self.port)
        self.addCleanup(hanging.close)
        hanging.request("POST", "/packages", envelope(zap("a")), JSON)
        self.becomes({"hang": 1}, lambda: self.totals()["requests"])
        self.assertEqual(self.stop(), (0, ""))

    def test_a_store_that_fails(self) -> None:
        self.change("CREATE TRIGGER full BEFORE INSERT ON events BEGIN SELECT RAISE(ABORT, 'the disk is full'); END")
        self.assertEqual(self.post(envelope(zap("a"))), (503, {"error": "the store: the disk is full"}))
        self.change("DROP TRIGGER full")
        self.assertEqual(self.post(envelope(zap("a"))), (200, {"accepted": 1, "repeated": 0}))
        totals = self.totals()
        self.assertEqual((totals["packages"], totals["repeated"], totals["refused"]), (1, 0, 0))
        self.assertEqual(self.stop(), (0, "collector: the store: the disk is full\n"))

    def test_bad_clients(self) -> None:
        head = b"POST /packages HTTP/1.1\r\nHost: x\r\nContent-Type: application/json\r\n"
        garbage = b"garbage\r\n\r\n"
        for sent in (b"", garbage, head, head + b"Content-Length: 1000\r\n\r\n{",
                     head + b"Transfer-Encoding: chunked\r\n\r\n{", head + b"Content-Length: 2\r\n\r\n{}"):
            with socket.create_connection(("127.0.0.1", self.port), timeout=LIMIT) as client:
                client.sendall(sent)
                # What it has answered, or closed, it has read; of what is incomplete nobody can tell.
                if sent == garbage or sent.endswith(b"{}"):
                    client.recv(1)
        self.assertEqual(self.post(envelope(zap("a"))), (200, {"accepted": 1, "repeated": 0}))
        self.assertEqual(self.stop(), (0, ""))

    def test_tls(self) -> None:
        self.stop()
        certificate, key = self.folder / "cert.pem", self.folder / "key.pem"
        subprocess.run(["openssl", "req", "-x509", "-nodes", "-newkey", "ec", "-pkeyopt",
                        "ec_paramgen_curve:prime256v1", "-subj", "/CN=localhost", "-addext", "subjectAltName=IP:127.0.0.1", "-keyout", key,
                        "-out", certificate], check=True, capture_output=True)
        self.start("--tls", str(certificate), str(key))
        with self.assertRaises(ssl.SSLCertVerificationError):
            http.client.HTTPSConnection("127.0.0.1", self.port, timeout=LIMIT).request("GET", "/totals")
        trusting = ssl.create_default_context(cafile=str(certificate))
        self.connection = http.client.HTTPSConnection("127.0.0.1", self.port, timeout=LIMIT, context=trusting)
        self.assertEqual(self.post(envelope(zap("a"))), (200, {"accepted": 1, "repeated": 0}))
        self.fault(kind="cut", when="answer", count=1)
        self.assertRaises(http.client.IncompleteRead, self.post, envelope(zap("b")))
        self.connection.close()
        self.assertEqual(self.totals()["packages"], 2)
        self.assertEqual(self.stop(), (0, ""))

    def test_usage(self) -> None:
        for options, said in [
            ([], "the following arguments are required: --store"),
            (["--store", "x", "--port", "65536"], "argument --port: expected a number from 0 to 65535, got 65536"),
            (["--store", "x", "--port", "x"], "argument --port: expected a number from 0 to 65535, got x"),
            (["--store", "x", "more"], "unrecognized arguments: more"),
        ]:
            with self.subTest(options=options):
                ended = subprocess.run([PROGRAM, *options], capture_output=True, text=True, timeout=LIMIT, check=False)
                self.assertEqual((ended.returncode, ended.stdout, ended.stderr.splitlines()[-1]),
                                 (2, "", f"collector: error: {said}"))

    def test_does_not_start(self) -> None:
        text = self.folder / "text"
        text.write_text("This is neither a database nor a schema nor a certificate." * 20, encoding="utf-8")
        other = self.folder / "other.db"
        subprocess.run(["/usr/bin/python3", "-c", "import sqlite3, sys; "
                        "sqlite3.connect(sys.argv[1]).execute('CREATE TABLE spool (key)')", other], check=True)
        store = ["--store", str(self.folder / "new.db")]
        for options, said in [
            (["--store", f"{self.folder}/none/x.db"], f"{self.folder}/none/x.db: unable to open database file"),
            (["--store", str(self.folder)], f"{self.folder}: unable to open database file"),
            (["--store", str(text)], f"{text}: file is not a database"),
            (["--store", str(other)], f"{other}: the database is not a collector's"),
            (["--store", f"file:{self.store}?mode=ro"],
             f"file:{self.store}?mode=ro: attempt to write a readonly database"),
            (store + ["--port", str(self.port)], "[Errno 98] Address already in use"),
            (store + ["--host", "host.invalid"], "[Errno -2] Name or service not known"),
            (store + ["--schema", str(text)], f"{text}: not the JSON Schema of a package"),
            (store + ["--schema", str(DATA / "values.json")], f"{DATA}/values.json: not the JSON Schema of a package"),
            (store + ["--schema", "none.json"], "[Errno 2] No such file or directory: 'none.json'"),
            (store + ["--tls", str(text), str(text)], f"--tls {text} {text}: not a certificate and its key in PEM"),
            (store + ["--tls", "none.pem", "none.pem"], "--tls none.pem none.pem: No such file or directory"),
            (store + ["--fault", '{"kind":"status"}'], "--fault: status needs status"),
            (store + ["--fault", "hang"], "--fault: Expecting value: line 1 column 1 (char 0)"),
        ]:
            with self.subTest(options=options):
                ended = subprocess.run([PROGRAM, *options], capture_output=True, text=True, timeout=LIMIT, check=False)
                self.assertEqual((ended.returncode, ended.stdout, ended.stderr), (1, "", f"collector: {said}\n"))


if __name__ == "__main__":
    unittest.main()
