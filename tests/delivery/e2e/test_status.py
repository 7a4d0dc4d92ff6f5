"""What a host shows while it delivers: a status line on a terminal, plain lines elsewhere, nothing if it is to be
quiet."""

import fcntl
import os
import pty
import re
import struct
import subprocess
import termios

from harness import EVENING, STBHOST, SUMMARY, DeliveryTest, takes, until

CLEAR = "\r\x1b[K"


class Status(DeliveryTest):
    """Each on a collector that is up."""

    def setUp(self) -> None:
        super().setUp()
        self.running = self.collector().start()
        self.url = self.running.url

    def on_terminal(self, columns: int) -> list[str]:
        """What a host writes to a terminal, one status or message after the other."""
        try:
            ours, its = pty.openpty()
        except OSError as error:
            self.skipTest(f"no terminal can be had: /dev/ptmx cannot be opened: {error}")
        fcntl.ioctl(its, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        with subprocess.Popen([STBHOST, "--collector", self.url, "--spool", str(self.folder / str(columns)),
                               "--spread", "0", "--pace", "0.02", EVENING],
                              stdin=subprocess.DEVNULL, stderr=its) as process:
            os.close(its)
            written = b""
            try:
                while piece := os.read(ours, 4096):
                    written += piece
            except OSError:  # Nobody has the other end any more.
                pass
            os.close(ours)
        self.assertEqual(process.returncode, 0)
        return written.decode().split(CLEAR)

    def test_terminal(self) -> None:
        first, *statuses, last = self.on_terminal(120)
        self.assertEqual(first, "")
        self.assertRegex(last.strip(), SUMMARY, "the status is gone before the summary comes")
        counts = [int(match[1]) for status in statuses
                  if (match := re.match(r"(\d+) events, \d+ packages: \d+ sent, \d+ pending, ", status))]
        self.assertGreater(len(counts), 5)
        self.assertEqual(counts, sorted(counts))

    def test_narrow_terminal(self) -> None:
        statuses = self.on_terminal(30)[:-1]
        self.assertEqual(max(map(len, statuses)), 29, "a status never takes two lines")

    @takes(11)
    def test_plain(self) -> None:
        self.running.kill()
        run = self.host().start(self.url, "--pace", 0.15, "--linger", 0, script=EVENING, env={"QT_LOGGING_RULES": ""})
        until(lambda: run.says("; next in "), "a line with the progress")
        self.assertEqual(run.terminated()[0], 0)
        messages = run.messages()
        self.assertTrue(SUMMARY.match(messages[-1]))
        line = next(line for line in messages if "; next in " in line)
        self.assertRegex(line, r"^\d+ events, \d+ packages: 0 sent, \d+ pending, 0 refused, 0 lost; "
                               r"\d+ attempts failed; next in \d s: .*refused$")
        self.assertNotIn(CLEAR, "".join(messages))

    def test_quiet(self) -> None:
        host = self.host()
        run = host.start(self.url, "--quiet", script=EVENING, env={"QT_LOGGING_RULES": ""})
        self.assertEqual(run.ended(), 0)
        self.assertEqual(run.messages(), [])
