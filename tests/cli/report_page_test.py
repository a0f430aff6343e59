#!/usr/bin/python3
"""The page of tavik_report in a headless Chromium. Debian's own Python runs this: its selenium drives the browser.

TAVIK_REPORT_PICTURE in the environment names a PNG file: the page of the example is kept there as a picture."""

import math
import os
import shutil
import tempfile
import unittest

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

from aligner_run import READS
from report_figures import figures, read_rows
from report_run import ReportTest, row

FLAGS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
         "--disable-component-update", "--disable-sync", "--hide-scrollbars", "--window-size=1200,900")
CHARTS = {"accuracy", "identity", "lengths", "identity-by-length", "indels", "depth", "reads-per-reference"}
# Pixels that are not see-through and of some colour: neither text nor grid.
DRAWN = """
    return Object.fromEntries([...document.querySelectorAll("canvas")].filter((canvas) => canvas.offsetParent !== null).map((canvas) => {
      const pixels = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
      let count = 0;
      for (let i = 0; i < pixels.length; i += 4) {
        const colours = pixels.slice(i, i + 3);
        count += pixels[i + 3] > 60 && Math.max(...colours) - Math.min(...colours) > 60;
      }
      return [canvas.closest("figure").id, count];
    }));"""


class Page(ReportTest):
    @classmethod
    def setUpClass(cls):
        cls.profile = tempfile.mkdtemp(prefix="tavik_report_profile_")
        cls.addClassCleanup(shutil.rmtree, cls.profile, ignore_errors=True)
        options = Options()
        options.binary_location = "/usr/bin/chromium"
        for flag in (*FLAGS, f"--user-data-dir={cls.profile}"):
            options.add_argument(flag)
        options.set_capability("goog:loggingPrefs", {"browser": "ALL"})
        cls.browser = webdriver.Chrome(service=Service("/usr/bin/chromedriver", env={**os.environ, "HOME": cls.profile}), options=options)
        cls.addClassCleanup(cls.browser.quit)

    def open(self, folder):
        self.browser.get(f"file://{self.folder}/{folder}/alignment_report.html")
        self.assertEqual(self.browser.get_log("browser"), [])

    def element(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def column(self, number):
        return self.browser.execute_script("return [...document.querySelectorAll('#references tbody tr')]"
                                           f".map((row) => row.cells[{number}].textContent)")

    def test_page_of_the_example_draws_sorts_and_chooses(self):
        out = self.align_examples()
        self.run_report(out)
        expected = figures(out / "alignment_summary.txt")
        self.open("out")
        drawn = self.browser.execute_script(DRAWN)
        self.assertEqual({name for name, pixels in drawn.items() if pixels > 500}, CHARTS, drawn)
        totals = self.element("#totals").text.replace(",", "")
        for figure in (expected["totals"]["reads"], f"{100 * expected['totals']['median_identity']:.2f} %",
                       f"{expected['totals']['mean_depth']:.2f}", f"{expected['totals']['n50'] / 1000:.2f} kb"):
            self.assertIn(str(figure), totals)
        bars = self.browser.execute_script("return Object.fromEntries([...drawn].map(([id, chart]) => [id, chart.data.datasets.map((set) =>"
                                           " set.data.map((point) => point.y ?? point))]))")
        for chart in ("identity", "lengths"):
            self.assertEqual(sum(bars[chart][0]), expected["totals"]["aligned"])
        self.assertEqual(bars["reads-per-reference"], [[13, 2], [19, 4]])

        hits = [row for row in read_rows(out / "alignment_summary.txt") if row["genome"] != "*"]
        self.check_cells("indels", [(100 * row["num_insertions"] / row["num_aligned"], 100 * row["num_deletions"] / row["num_aligned"])
                                    for row in hits])
        self.check_cells("identity-by-length", [(math.log10(row["num_aligned"]), 100 * row["num_correct"] / row["num_aligned"])
                                                for row in hits])

        before = self.canvas("identity")
        self.element("#identity button[data-scale=quality]").send_keys(Keys.ENTER)
        self.assertNotEqual(self.canvas("identity"), before)
        self.assertEqual(self.element("#identity button[data-scale=quality]").get_attribute("aria-pressed"), "true")

        before = self.canvas("depth")
        Select(self.element("#sequence")).select_by_visible_text("chr_small (15 kb)")
        self.assertNotEqual(self.canvas("depth"), before)
        self.assertIn("chr_small", self.element("#depth figcaption").text)

        self.assertEqual(self.column(2), ["32", "6"])
        for order in (["60,000", "15,000"], ["15,000", "60,000"]):  # Numbers begin with the largest.
            self.element("#references th:nth-child(2) button").send_keys(Keys.ENTER)
            self.assertEqual(self.column(1), order)
        self.assertEqual(self.element("#references th:nth-child(2)").get_attribute("aria-sort"), "ascending")
        self.assertEqual(self.browser.get_log("browser"), [])
        self.keep_picture()

    def check_cells(self, chart, points):
        """Each read lies in a cell of the heat map, or beyond it in the direction of an axis' end, and no cell is without."""
        bars, *ends = self.browser.execute_script(f"const chart = drawn.get('{chart}'); const {{x, y}} = chart.scales;"
                                                  "return [chart.data.datasets[0].data, [x.min, x.max], [y.min, y.max]]")
        columns = sorted({bar["x"] for bar in bars})
        half = min(b - a for a, b in zip(columns, columns[1:])) / 2
        cells = {(bar["x"] - half, bar["x"] + half, *bar["y"]) for bar in bars if bar["y"]}
        met = set()
        for point in points:
            x, y = (min(max(value, low), high - 1e-6) for value, (low, high) in zip(point, ends))
            met |= {cell for cell in cells if cell[0] - 1e-6 <= x < cell[1] and cell[2] - 1e-6 <= y < cell[3]}
            self.assertEqual(any(cell[0] - 1e-6 <= x < cell[1] and cell[2] - 1e-6 <= y < cell[3] for cell in met), True, point)
        self.assertEqual(met, cells)

    def canvas(self, chart):
        return self.browser.execute_script(f"return document.querySelector('#{chart} canvas').toDataURL()")

    def keep_picture(self):
        if "TAVIK_REPORT_PICTURE" in os.environ:
            self.open("out")
            height = self.browser.execute_script("return document.querySelector('#depth').getBoundingClientRect().bottom + 14"
                                                 " + outerHeight - innerHeight")
            self.browser.set_window_size(1200, round(height))
            self.browser.save_screenshot(os.environ["TAVIK_REPORT_PICTURE"])

    def test_what_went_wrong_stands_above_all_and_nothing_where_all_is_well(self):
        self.run_report(self.align_examples())
        self.open("out")
        self.assertEqual(self.element("#findings").is_displayed(), False)
        for name, end, count in (("faulty", "[warning] <i>w</i>", 7), ("unfinished", "[info] Starting input file a", 1)):
            self.write_run(name, [row(b"c")], {b"c": 1000})
            done = "[message] Done in 1 ms." if name == "faulty" else "[info] x"
            self.write(f"{name}/read_processor_log-2026-01-02_03-04-05.log",
                       "".join(f"2026-01-02 03:04:05.0 {text}\n" for text in
                               (*[end] * count, "[info] Successfully finished input file b (1 reads)"[:(name == "faulty") * 99], done)))
        self.run_report("out", "faulty", "unfinished", "-o", "all")
        self.open("all")
        boxes = self.browser.find_elements(By.CSS_SELECTOR, "#findings article")
        self.assertEqual([(box.get_attribute("class"), box.text) for box in boxes], [
            ("warning", "faulty: finished with warnings\n7 warnings\n" + "<i>w</i>\n" * 5 + "and 2 more"),
            ("error", "unfinished: parts of the run are missing here\nRun not finished\nthe log file ends at 2026-01-02 03:04:05, "
                      "within input file a: the run was interrupted or is still going on")])
        self.assertLess(boxes[0].rect["y"], self.element("#totals").rect["y"])

    def test_names_and_titles_are_text_whatever_they_are(self):
        names = ["</script><script>document.title = 'run'</script>", "<img src=x onerror=\"document.title='run'\">", "\"'`&amp;${1}\\",
                 "@SCRIPT@", "__proto__"]
        raw = [name.encode() for name in names] + [b"\xff\xfe<\xc3(", b"n" * 10_000]
        shown = names + ["\ufffd\ufffd<\ufffd(", "n" * 53 + "\u2026" + "n" * 26]
        title = "</title></script><script>document.title = 'run'</script>@DATA@&amp;"
        out = self.write_run("out", [row(name) for name in raw for _ in range(2)] + [row(raw[0] + b"_rc")], dict.fromkeys(raw, 500))
        self.write_run("b<i>", [], {})
        self.run_report(out, "b<i>", "--title", title)
        self.open("out")
        self.assertEqual(self.browser.title, title)
        self.assertEqual(self.element("#title").text, title)
        self.assertEqual(sorted(self.column(0)), sorted(shown))
        self.assertEqual(len(self.browser.find_elements(By.TAG_NAME, "script")), 3)
        self.assertEqual(sorted(self.browser.execute_script("return [...document.querySelectorAll('#sequence option')].map((o) => o.textContent)")),
                         sorted(f"{name} (500 b)" for name in shown))
        # The second sample has no reads: no chart is left, and nothing fails.
        Select(self.element("#sample")).select_by_visible_text("b<i>")
        self.assertEqual([name for name in self.browser.execute_script(DRAWN) if name in CHARTS], [])
        self.assertEqual(self.element("#verdict").text, "0 of 0 reads are aligned.")
        self.assertEqual(self.browser.get_log("browser"), [])

    def test_dark_and_light_are_readable_and_print_is_light(self):
        self.run_report(self.align_examples())
        self.open("out")
        themes = []
        for _ in range(2):
            self.element("#theme").click()
            themes.append(self.browser.execute_script("const style = getComputedStyle(document.body);"
                                                      "return [style.color, style.backgroundColor, drawn.get('identity').options.scales.y.title.color]"))
        self.assertEqual(len({str(theme) for theme in themes}), 2)
        for ink, paper, axis in themes:
            self.assertGreater(contrast(ink, paper), 7)
            self.assertGreater(contrast(axis, paper), 7)
        self.element("#theme").click()
        self.browser.execute_script("dispatchEvent(new Event('beforeprint'))")
        self.assertEqual(self.browser.execute_script("return document.documentElement.dataset.theme"), "light")
        self.browser.execute_script("dispatchEvent(new Event('afterprint'))")
        self.assertEqual(self.browser.execute_script("return document.documentElement.dataset.theme"), "dark")
        self.assertEqual(self.browser.get_log("browser"), [])


def contrast(one, other):
    """The contrast ratio of two colours as the Web Content Accessibility Guidelines define it."""
    def luminance(text):
        values = [int(text[i : i + 2], 16) for i in (1, 3, 5)] if text[0] == "#" else [int(v) for v in text[text.index("(") + 1 : -1].split(",")[:3]]
        linear = [v / 255 / 12.92 if v / 255 <= 0.04045 else ((v / 255 + 0.055) / 1.055) ** 2.4 for v in values]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    low, high = sorted((luminance(one), luminance(other)))
    return (high + 0.05) / (low + 0.05)


if __name__ == "__main__":
    unittest.main(verbosity=2)
