"""https: a collector that is not to be trusted gets nothing, and nothing is lost by that."""

import subprocess
import time

from harness import EVENING, EVENING_EVENTS, Clock, Collector, DeliveryTest, Host, until


class Tls(DeliveryTest):
    """A certification authority of our own."""

    def setUp(self) -> None:
        super().setUp()
        self.ca = self.folder / "ca.pem"
        self.openssl("req", "-x509", "-days", 30, "-subj", "/CN=Test CA",
                     "-keyout", self.folder / "ca.key", "-out", self.ca)

    def openssl(self, command: str, *arguments: object) -> None:
        """Makes keys of the kind that is made fastest."""
        key = ["-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1", "-nodes"] if command == "req" else []
        subprocess.run(["openssl", command, *key, *map(str, arguments)], check=True, capture_output=True)

    def certified(self, name: str) -> Collector:
        """A collector whose certificate is for that name; it is away."""
        key, request, certificate, extensions = (self.folder / f"server.{end}" for end in ("key", "csr", "pem", "ext"))
        self.openssl("req", "-subj", "/CN=collector", "-keyout", key, "-out", request)
        extensions.write_text(f"subjectAltName={name}\n")
        self.openssl("x509", "-req", "-days", 30, "-in", request, "-CA", self.ca, "-CAkey", self.folder / "ca.key",
                     "-CAcreateserial", "-extfile", extensions, "-out", certificate)
        return self.collector("--tls", str(certificate), str(key), scheme="https").start()

    def evening(self, collector: Collector, host: Host, *options: str) -> None:
        """Delivers an evening, and what else waits."""
        run = host.start(collector.url, "--ca", self.ca, *options, script=EVENING)
        self.assertEqual(self.ends_well(run).pending, 0)

    def test_trusted(self) -> None:
        collector = self.certified("IP:127.0.0.1")
        host = self.host()
        self.evening(collector, host)
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)

    def test_trusted_by_the_system(self) -> None:
        """Without --ca the system's own certificates count, which in a mount namespace of its own are others."""
        certificates = self.folder / "certificates"
        certificates.mkdir()
        (certificates / "ca.pem").write_bytes(self.ca.read_bytes())
        system = ["unshare", "--mount", "sh", "-c", 'mount --bind "$0" /etc/ssl/certs && exec "$@"', str(certificates)]
        if subprocess.run([*system, "true"], capture_output=True).returncode:
            self.skipTest("the right to mount is missing: unshare --mount and mount --bind fail")
        collector = self.certified("IP:127.0.0.1")
        host = self.host()
        self.assertEqual(self.ends_well(host.start(collector.url, script=EVENING, prefix=system)).pending, 0)
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)

    def refused(self, collector: Collector, host: Host, reason: str, *options: str) -> None:
        """The host says why in one line, and stops reporting."""
        run = host.start(collector.url, "--echo", *options, "--quiet", script=EVENING)
        self.assertEqual(run.ended(), 1)
        message, = run.messages()
        self.assertRegex(message, f"^stbhost: {collector.url}: .*{reason}")
        self.assertGreater(len(run.reported()), 0)
        self.assertEqual(collector.count("packages"), 0)

    def test_without_its_authority(self) -> None:
        collector = self.certified("IP:127.0.0.1")
        host = self.host()
        self.refused(collector, host, "issuer certificate")
        self.evening(collector, host)
        self.assertGreater(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)

    def test_wrong_name(self) -> None:
        collector = self.certified("DNS:elsewhere.example")
        host = self.host()
        self.refused(collector, host, "host name",
                     "--ca", str(self.ca))
        collector.kill()
        collector = self.certified("IP:127.0.0.1")
        self.evening(collector, host)
        self.assertGreater(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)

    def test_clock_not_set(self) -> None:
        """In 1970 no certificate is valid yet: that is no reason to give up."""
        collector = self.certified("IP:127.0.0.1")
        host = self.host()
        clock = Clock(self.folder)
        clock.set(100 - int(time.time()))
        run = host.start(collector.url, "--echo", "--ca", self.ca, "--pace", 0.02, script=EVENING, env=clock.environment)
        until(lambda: len(run.reported()) > 20, "packages are reported")
        self.assertEqual(collector.count("packages"), 0)
        clock.set(0)
        self.assertGreater(self.ends_well(run).failed, 0)
        self.assertEqual(len(self.nothing_is_lost(collector, host).received), EVENING_EVENTS)
