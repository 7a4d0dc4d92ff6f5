"""What a host is told wrong it says in one line, and ends with status 1 before it has reported anything."""

import os
import subprocess
import unittest
from pathlib import Path

from harness import EVENING, STBHOST, DeliveryTest, until, zaps


class Input(DeliveryTest):
    """The command line, and what it names."""

    def complaint(self, *options: object) -> str:
        """What stbhost says."""
        run = subprocess.run([STBHOST, *map(str, options), EVENING], capture_output=True, text=True, timeout=30)
        self.assertEqual((run.returncode, run.stdout), (1, ""), run.stderr)
        self.assertEqual(run.stderr.count("\n"), 1, run.stderr)
        return run.stderr.removesuffix("\n").replace(str(self.folder), "FOLDER")

    def complaint_of(self, *options: object) -> str:
        """The same, where URL and folder are right."""
        return self.complaint("--collector", "http://127.0.0.1:9/packages", "--spool", self.folder / "spool", *options)

    def test_urls(self) -> None:
        for url in ("", "collector", "ftp://collector/", "http://", "http:///packages", "http://host:port/",
                    "http://a b/", "http://[::1/"):
            with self.subTest(url=url):
                self.assertEqual(self.complaint("--collector", url, "--spool", self.folder / "spool"),
                                 f"stbhost: --collector {url}: expected http:// or https:// and a host")
        self.assertFalse((self.folder / "spool").exists())

    def test_options(self) -> None:
        for options, complaint in (
            (["--quota", 0], "--quota: expected a number of bytes from 10000, got 0"),
            (["--quota", -1], "--quota: expected a number of bytes from 10000, got -1"),
            (["--quota", "x"], "--quota: expected a number of bytes from 10000, got x"),
            (["--max-age", 0], "--max-age: expected a number of seconds from 1, got 0"),
            (["--batch", 0], "--batch: expected a number of bytes from 1, got 0"),
            (["--timeout", 0], "--timeout: expected a number of seconds from 0.001 to 2147483, got 0"),
            (["--backoff", "1"],
             "--backoff: expected two numbers of seconds, the smaller one first, such as 5,900, got 1"),
            (["--backoff", "2,1"],
             "--backoff: expected two numbers of seconds, the smaller one first, such as 5,900, got 2,1"),
        ):
            with self.subTest(options=options):
                self.assertEqual(self.complaint_of(*options), f"stbhost: {complaint}")
        self.assertFalse((self.folder / "spool").exists())

    def test_without_spool(self) -> None:
        self.assertEqual(self.complaint("--collector", "http://127.0.0.1:9/"), "stbhost: --collector needs --spool")

    def test_without_collector(self) -> None:
        self.assertEqual(self.complaint("--spool", self.folder / "spool"), "stbhost: --spool needs --collector")

    def test_certificates(self) -> None:
        (self.folder / "no.pem").write_text("no certificate\n")
        # Of a folder the framework says in words of its own that it is none.
        for file, reason in (("missing.pem", "No such file or directory"), ("no.pem", "no certificate in PEM"),
                             ("", ".+")):
            with self.subTest(file=file):
                self.assertRegex(self.complaint_of("--ca", f"{self.folder}/{file}"),
                                 f"^stbhost: --collector http://127.0.0.1:9/packages: FOLDER/{file}: {reason}$")

    def test_spool_folders(self) -> None:
        file = self.folder / "file"
        file.write_text("")
        sound = ["--collector", "http://127.0.0.1:9/", "--spool"]
        self.assertEqual(self.complaint(*sound, file), "stbhost: --spool FOLDER/file: Not a directory")
        self.assertEqual(self.complaint(*sound, file / "spool"), "stbhost: --spool FOLDER/file/spool: Not a directory")
        # Not even root may make files there.
        self.assertEqual(self.complaint(*sound, "/proc/self"),
                         "stbhost: --spool /proc/self: Operation not permitted")
        self.assertEqual(self.complaint(*sound, "/proc/x"), "stbhost: --spool /proc/x: No such file or directory")

    @unittest.skipUnless(os.getuid() == 0, "the right to become another user is missing: run as root")
    def test_spool_of_somebody_else(self) -> None:
        self.folder.chmod(0o755)
        spool = self.folder / "spool"
        spool.mkdir(mode=0o755)
        somebody = ["setpriv", "--reuid=65534", "--clear-groups"]
        if subprocess.run([*somebody, "test", "-x", STBHOST]).returncode:
            self.skipTest(f"another user cannot enter the folders above {STBHOST}")
        run = subprocess.run([*somebody, STBHOST, "--collector", "http://127.0.0.1:9/", "--spool", spool, EVENING],
                             capture_output=True, text=True, timeout=30)
        # The coverage build cannot write its counts as somebody else, and says so.
        said = [line for line in run.stderr.splitlines() if not line.startswith("profiling:")]
        self.assertEqual((run.returncode, said), (1, [f"stbhost: --spool {spool}: Permission denied"]))

    def test_wrong_address(self) -> None:
        """Of all that is there nothing takes packages: the host says so, and keeps them."""
        collector = self.collector().start()
        host = self.host()
        for address, reason in ((collector.url + "/no", "HTTP 404 "),
                                (collector.url.removesuffix("packages"), "HTTP 405 ")):
            run = host.start(address, script=EVENING)
            self.assertEqual(run.ended(), 1)
            self.assertTrue(run.messages()[-1].startswith(f"stbhost: {address}: {reason}"), run.messages())
        self.assertEqual(collector.count("packages"), 0)
        self.ends_well(host.start(collector.url))
        # How far the host had come with an evening when the answer was there is the machine's affair.
        self.assertGreater(len(self.nothing_is_lost(collector, host).received), 0)

    def test_spool_that_is_no_file(self) -> None:
        (self.folder / "spool/spool.db").mkdir(parents=True)
        self.assertTrue(self.complaint_of().startswith("stbhost: --spool FOLDER/spool: "))

    def test_two_hosts_on_one_spool(self) -> None:
        collector = self.collector()
        host = self.host()
        run = host.start(collector.url, "--echo", stdin=subprocess.PIPE)
        run.feed(zaps(5))
        until(lambda: len(run.reported()) == 5, "the first host has its spool")
        self.assertEqual(self.complaint("--collector", collector.url, "--spool", host.spool),
                         "stbhost: --spool FOLDER/box/spool: another host uses it")
        run.feed(Path(EVENING).read_text())
        collector.start()
        self.ends_well(run)
        self.nothing_is_lost(collector, host)
