"""The page, in a browser."""

import json
import os
import unittest
from typing import Any

from selenium import webdriver
from selenium.webdriver.common.by import By

from support import CollectorTest, envelope, zap


class Page(CollectorTest):
    """What people see of the collector."""

    browser: webdriver.Chrome

    @classmethod
    def setUpClass(cls) -> None:
        options = webdriver.ChromeOptions()
        for option in ["headless=new", "disable-gpu", "disable-dev-shm-usage", "window-size=1200,900"]:
            options.add_argument(f"--{option}")
        if os.getuid() == 0:
            options.add_argument("--no-sandbox")
        options.set_capability("goog:loggingPrefs", {"browser": "ALL", "performance": "ALL"})
        cls.browser = webdriver.Chrome(options=options)
        cls.addClassCleanup(cls.browser.quit)

    def open(self) -> None:
        """Shows the page of this test's collector."""
        self.browser.get_log("performance")
        self.browser.get_log("browser")
        self.browser.get(f"http://127.0.0.1:{self.port}/")
        self.becomes("listening", lambda: self.text("#state"))

    def text(self, selector: str) -> str:
        return self.browser.find_element(By.CSS_SELECTOR, selector).text

    def counts(self) -> dict[str, str]:
        return {name: self.text(f"#{name}") for name in ("events", "packages", "repeated", "refused", "bytes")}

    def bars(self, chart: str) -> list[list[Any]]:
        """Of each bar its name, its number, and its length in parts of the longest possible one."""
        return self.browser.execute_script("""
            return Array.from(document.querySelectorAll(arguments[0] + " g"), group => {
                const [name, number] = group.querySelectorAll("text");
                const [track, bar] = group.querySelectorAll("rect");
                const width = rectangle => rectangle.getBoundingClientRect().width;
                return [name.textContent, number.textContent, Math.round(100 * width(bar) / width(track)) / 100];
            })""", chart)

    def requested(self) -> set[str]:
        """What the browser has asked the collector for; the addresses of others are whole."""
        messages = [json.loads(entry["message"])["message"] for entry in self.browser.get_log("performance")]
        return {message["params"]["request"]["url"].removeprefix(f"http://127.0.0.1:{self.port}")
                for message in messages if message["method"] == "Network.requestWillBeSent"}

    def test_counts_change(self) -> None:
        self.open()
        self.assertEqual(self.counts(),
                         {"events": "0", "packages": "0", "repeated": "0", "refused": "0", "bytes": "0"})
        self.assertEqual(self.text("#types .more"), "Nothing yet.")
        self.assertEqual(self.text("#requests"), "Answers since the start: none")
        stop = '{"events":[{"event_id":"playback_stop/1"},{"event_id":"playback_stop/2"}]}'
        self.post(envelope(zap("a"), zap("b"), zap("c", "box-2"), zap("d"), ("e", stop)))
        self.post(envelope(zap("a")))
        self.post(b"{")
        self.becomes({"events": "6", "packages": "5", "repeated": "1", "refused": "1", "bytes": "358"}, self.counts)
        self.assertEqual(self.bars("#types"), [["playback_zap", "4", 1], ["playback_stop", "2", 0.5]])
        self.assertEqual(self.bars("#boxes"), [["box-1", "3", 1], ["unknown", "2", 0.67], ["box-2", "1", 0.33]])
        self.assertEqual(self.text("#requests"), "Answers since the start: 200: 2, 400: 1")
        self.post(envelope(*(zap(f"more-{number}") for number in range(1200))))
        self.becomes("1,206", lambda: self.text("#events"))
        self.assertEqual(self.bars("#types")[0], ["playback_zap", "1,204", 1])

    def test_rate(self) -> None:
        self.open()
        shown = self.browser.execute_script("""
            let now = 0;
            performance.now = () => now;
            earlier = [];
            const totals = {packages: 0, repeated: 0, refused: 0, bytes: 0, by_type: {}, by_box: {}, requests: {}};
            return [500, 501, 501, 700, 700, 700, 700, 12700, 12700].map(events => {
                show({...totals, events});
                now += 1000;
                return document.getElementById("rate").textContent;
            })""")
        # The mean of five seconds, or of as many as have been seen.
        self.assertEqual(shown, ["0", "1", "0.5", "67", "50", "40", "40", "2,440", "2,400"])

    def test_more_than_the_charts_hold(self) -> None:
        self.post(envelope(*(zap(f"{box}-{number}", f"box-{box:02}") for box in range(1, 26) for number in range(box))))
        self.open()
        self.assertEqual(len(self.bars("#boxes")), 20)
        self.assertEqual(self.bars("#boxes")[0], ["box-25", "25", 1])
        self.assertEqual(self.bars("#boxes")[19], ["box-06", "6", 0.24])
        self.assertEqual(self.text("#boxes .more"), "and 5 more with 15")

    def test_markup_is_text(self) -> None:
        markup = "<img src=x onerror=document.title='bad'></svg><script>document.title='bad'</script>"
        names = [markup.replace("/", "-"), "__proto__", "&lt;b&gt;"]
        events = ",".join(f'{{"event_id":"{name}/1","uid":"{name}"}}' for name in names)
        self.assertEqual(self.post(envelope(("a", f'{{"events":[{events}]}}')))[0], 200)
        self.fault(kind="status", status=503, retry_after=markup)
        self.open()
        for chart in ("#types", "#boxes"):
            self.assertEqual([name[:28] for name, _, _ in self.bars(chart)],
                             ["&lt;b&gt;", "<img src=x onerror=document.", "__proto__"])
            titles = [title.get_attribute("textContent")
                      for title in self.browser.find_elements(By.CSS_SELECTOR, f"{chart} title")]
            self.assertEqual(titles, ["&lt;b&gt;", names[0], "__proto__"])
        self.assertEqual(self.text("#fault"), f"Fault that is set: status, status 503, retry_after {markup}")
        self.assertEqual(self.browser.find_elements(By.CSS_SELECTOR, "img, svg script, main script, b"), [])
        self.assertEqual(self.browser.title, "Collector")
        self.assertEqual(self.browser.get_log("browser"), [])
        self.assertEqual(self.requested(), {"/", "/totals"})

    def test_fault(self) -> None:
        self.open()
        self.assertEqual(self.text("#fault"), "")
        self.fault(kind="status", status=503, count=2)
        self.becomes("Fault that is set: status, count 2, status 503", lambda: self.text("#fault"))
        self.post(envelope(zap("a")))
        self.becomes("Fault that is set: status, count 1, status 503", lambda: self.text("#fault"))
        self.post(envelope(zap("a")))
        self.becomes("", lambda: self.text("#fault"))
        self.assertEqual(self.text("#requests"), "Answers since the start: 503: 2")

    def test_goes_and_comes_back(self) -> None:
        self.post(envelope(zap("a")))
        self.open()
        self.stop()
        self.becomes("the collector is gone; these are its last figures", lambda: self.text("#state"))
        self.assertEqual((self.text("#events"), self.text("#rate")), ("1", "–"))
        self.start()
        self.post(envelope(zap("b")))
        self.becomes("2", lambda: self.text("#events"))
        self.assertEqual(self.text("#state"), "listening")

    def test_narrow_and_dark(self) -> None:
        self.post(envelope(zap("a", "a-box-with-a-name-that-is-" + "long-" * 20)))
        self.fault(kind="status", status=503, retry_after="x" * 200)
        for scheme, ground in (("light", "rgb(245, 246, 248)"), ("dark", "rgb(16, 20, 27)")):
            self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride",
                                         {"width": 400, "height": 800, "deviceScaleFactor": 1, "mobile": False})
            self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.clearDeviceMetricsOverride", {})
            self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia",
                                         {"features": [{"name": "prefers-color-scheme", "value": scheme}]})
            self.addCleanup(self.browser.execute_cdp_cmd, "Emulation.setEmulatedMedia", {"features": []})
            self.open()
            self.becomes(1, lambda: len(self.bars("#boxes")))
            with self.subTest(scheme):
                self.assertEqual(self.browser.execute_script(
                    "return getComputedStyle(document.body).backgroundColor"), ground)
                self.assertEqual(self.browser.execute_script(
                    "return [innerWidth, document.documentElement.scrollWidth - document.documentElement.clientWidth]"),
                    [400, 0])
                name, number = self.browser.execute_script(
                    "return Array.from(document.querySelectorAll('#boxes text'), text => text.getBBox())")
                self.assertLess(name["x"] + name["width"], number["x"])
                self.assertGreater(name["width"], 100)


if __name__ == "__main__":
    unittest.main()
