#!/usr/bin/python3
"""Tests the page of tavik_report in a headless Chromium. Needs Debian's own Python, whose selenium drives the browser.

If the environment variable TAVIK_REPORT_PICTURE names a PNG file, a picture of the example's page is written there."""

import base64
import json
import os
import random
import re
import shutil
import tempfile
import time
import unittest
import zlib
from pathlib import Path

from selenium import webdriver
from selenium.webdriver.chrome.options import Options
from selenium.webdriver.chrome.service import Service
from selenium.webdriver.common.by import By
from selenium.webdriver.common.keys import Keys
from selenium.webdriver.support.ui import Select

import report_shown as shown
from aligner_run import SOURCE
from page_judge import PageJudge
from report_figures import figures
from report_run import row

FLAGS = ("--headless", "--no-sandbox", "--disable-gpu", "--disable-quic", "--no-first-run", "--disable-background-networking",
         "--disable-component-update", "--disable-sync", "--hide-scrollbars", "--window-size=1200,900")
STATE = (Path(__file__).parent / "page_state.js").read_text()
# Returns the size of a picture and the number of its coloured pixels. Text and grid contain no coloured pixels.
DRAWN = """
    const [source, done] = arguments;
    const image = new Image();
    image.onload = () => {
      const canvas = Object.assign(document.createElement("canvas"), {width: image.width, height: image.height});
      const context = canvas.getContext("2d");
      context.drawImage(image, 0, 0);
      const pixels = context.getImageData(0, 0, canvas.width, canvas.height).data;
      let count = 0;
      for (let i = 0; i < pixels.length; i += 4) {
        const [red, green, blue] = [pixels[i], pixels[i + 1], pixels[i + 2]];
        count += pixels[i + 3] > 60 && Math.max(red, green, blue) - Math.min(red, green, blue) > 60;
      }
      done([image.width, image.height, count]);
    };
    image.onerror = () => done([0, 0, "no picture"]);
    image.src = source;"""
# The last chunk of a PNG file: its length, name and checksum.
PNG_END = b"\0\0\0\0IEND\xaeB\x60\x82"
# Unusual names of reference sequences, some of them meant to break the page.
HOSTILE = [b"</script><script>document.title = 'run'</script>", b"<img src=x onerror=\"document.title='run'\">", b"\"'`&amp;${1}\\", b"@SCRIPT@",
           b"__proto__", "\u67d3\u8272\u4f53 \u00e9 \U0001f9ec".encode(), b"\xff\xfe<\xc3(", b"n" * 10_000]


def style_colours():
    """Returns the colours of the style sheet for the light theme and for the dark theme."""
    sheet = (SOURCE / "reports" / "page" / "report.css").read_text()
    return [dict(re.findall(r"--([\w-]+): (#\w{6})", block)) for block in re.findall(r":root.*?\n}", sheet, re.DOTALL)[:2]]


class BrowserTest(PageJudge):
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
        cls.browser.set_script_timeout(250)
        cls.colours, cls.dark = style_colours()

    def open(self, folder):
        self.browser.get(f"file://{self.folder}/{folder}/alignment_report.html")
        self.addCleanup(lambda: self.assertEqual(self.browser.get_log("browser"), []))

    def element(self, selector):
        return self.browser.find_element(By.CSS_SELECTOR, selector)

    def script(self, text, *args):
        return self.browser.execute_script(text, *args)

    def state(self):
        return self.script(STATE)

    def figure(self, name):
        return self.script(STATE, name)["figures"][name]

    def make_sample(self, name, reads, references, identity=0.9):
        """Writes a run of random rows, which are always the same for a given name. Later references tend to have fewer rows."""
        chance = random.Random(name)
        rows = []
        for _ in range(reads):
            kind = chance.random()
            genome, length = chance.choices(list(references.items()), [1 / (i + 1) for i in range(len(references))])[0]
            aligned = min(int(chance.lognormvariate(6.5, 0.9)) + 1, length // 2)
            insertions, deletions, wrong = (min(int(aligned * part * chance.random() ** 3), length // 4) for part in (0.25, 0.35, 2 * (1 - identity)))
            rows.append(b"r\t*\t%d" % -(kind > 0.03) + b"\t-1" * 10 + b"\n" if kind < 0.1 else
                        row(genome + b"_rc" * (chance.random() < 0.4), chance.randint(1, length - aligned - deletions), aligned, aligned - wrong,
                            insertions, deletions))
        return self.write_run(name, rows, references)

    def figures_of(self, samples, depth_most=400):
        return {Path(name).name: figures(self.folder / name / "alignment_summary.txt", depth_most) for name in samples}

    def check_order(self, table, head, rows):
        """Clicks each heading twice. The first click must sort the table by that column, numbers in descending order;
        the second must reverse the order. Unknown values must stay last."""
        clicks = self.script("""
            return [...document.querySelectorAll("#" + arguments[0] + " th button")].map((button, column) => [0, 1].map(() => {
              button.click();
              return [[...document.querySelectorAll("#" + arguments[0] + " tbody tr")].map((line) => line.cells[column].textContent),
                      [...document.querySelectorAll("#" + arguments[0] + " th")].map((cell) => cell.getAttribute("aria-sort"))];
            }));""", table)
        by_name = "return [...arguments[0]].sort((a, b) => a.localeCompare(b, 'en', {numeric: true}))"
        for i, both in enumerate(clicks):
            for click, (cells, marks) in enumerate(both):
                is_falling = (i > 0) == (click == 0)
                self.assertEqual(marks, [("descending" if is_falling else "ascending") if k == i else "none" for k in range(len(head))])
                if i == 0:
                    names = self.script(by_name, [row[0][1] for row in rows])
                    self.assertEqual(cells, names[::-1] if is_falling else names)
                    continue
                known = sorted((row[i] for row in rows if row[i][0] is not None), key=lambda cell: cell[0], reverse=is_falling)
                self.assertEqual(cells, [text for _, text in known] + [shown.NONE] * (len(rows) - len(known)), (head[i], is_falling))


class Page(BrowserTest):
    def test_page_of_one_sample_shows_its_figures(self):
        out = self.align_examples()
        self.run_report(out)
        (f,) = self.figures_of(["out"]).values()
        self.open("out")
        self.assertLess((out / "alignment_report.html").stat().st_size, 310_000)
        state = self.state()
        self.check_sample(state, "out", f)
        self.assertEqual((state["title"], state["samples"]), ("Alignment report", None))
        self.assertEqual(state["run"], [text for fact in self.data()["samples"][0]["run"] for text in fact])
        self.keep_picture()

        for ratio in ("accuracy", "identity"):
            button = self.element(f"#{ratio} button[data-scale=quality]")
            button.send_keys(Keys.ENTER)
            self.assertEqual(button.get_attribute("aria-pressed"), "true")
            self.check_ratio(self.figure(ratio), ratio, f, is_quality=True)
        Select(self.element("#sequence")).select_by_visible_text("chr_small (15 kb)")
        self.check_depth(self.figure("depth"), "chr_small", f)
        self.check_pictures()

    def check_pictures(self):
        """Checks the pictures that the buttons save. Each shows a chart, with the title above it."""
        folder = self.folder / "pictures"
        self.browser.execute_cdp_cmd("Browser.setDownloadBehavior", {"behavior": "allow", "downloadPath": str(folder)})
        names = [figure.get_attribute("id") for figure in self.browser.find_elements(By.CSS_SELECTOR, "figure") if figure.is_displayed()]
        for name in names:
            self.element(f"#{name} .save").send_keys(Keys.ENTER)
            path, picture, end = folder / f"out_{name}.png", b"", time.monotonic() + 60
            # The browser may create the file before its content is complete.
            while not picture.endswith(PNG_END) and time.monotonic() < end:
                time.sleep(0.02)
                picture = path.read_bytes() if path.exists() else b""
            width, height, coloured = self.browser.execute_async_script(DRAWN, "data:image/png;base64," + base64.b64encode(picture).decode())
            size = self.script(f"const {{canvas}} = drawn.get('{name}'); return [canvas.width, canvas.height]")
            self.assertEqual(([width, height - 34], coloured > 500), (size, True), name)
        self.assertEqual({path.name for path in folder.iterdir()}, {f"out_{name}.png" for name in names})

    def keep_picture(self):
        if "TAVIK_REPORT_PICTURE" in os.environ:
            self.open("out")
            height = self.script("return document.querySelector('#indels').getBoundingClientRect().bottom + 14 + outerHeight - innerHeight")
            self.browser.set_window_size(1200, round(height))
            self.browser.save_screenshot(os.environ["TAVIK_REPORT_PICTURE"])

    def test_findings_are_shown_above_the_figures_only_if_there_are_any(self):
        self.run_report(self.align_examples())
        self.open("out")
        self.assertEqual(self.element("#findings").is_displayed(), False)
        for name, end, count in (("faulty", "[warning] <i>w</i>", 7), ("unfinished", "[info] Starting input file a", 1)):
            self.write_run(name, [row(b"c")], {b"c": 1000})
            done = "[message] Done in 1 ms." if name == "faulty" else "[warning] x"
            self.write(f"{name}/read_processor_log-2026-01-02_03-04-05.log",
                       "".join(f"2026-01-02 03:04:05.0 {text}\n" for text in
                               (*[end] * count, "[info] Successfully finished input file b (1 reads)"[:(name == "faulty") * 99], done)))
        self.run_report("out", "faulty", "unfinished", "-o", "all")
        self.open("all")
        boxes = self.browser.find_elements(By.CSS_SELECTOR, "#findings article")
        self.assertEqual([(box.get_attribute("class"), box.text) for box in boxes], [
            ("warning", "faulty: warnings\n7 warnings\n" + "<i>w</i>\n" * 5 + "and 2 more"),
            ("error", "unfinished: the report may lack parts of the run\nRun not finished\nthe log file ends at 2026-01-02 03:04:05, "
                      "within input file a: the run was interrupted or is still running\n1 warning\nx")])
        self.assertLess(boxes[0].rect["y"], self.element("#totals").rect["y"])
        self.run_report("faulty")
        self.open("faulty")
        self.assertEqual(self.element("#findings").is_displayed(), True)

    def test_page_of_1500_references_is_readable_in_both_themes(self):
        self.make_sample("many", 12_000, {b"contig_%d" % i: 6000 + 5 * (i * 37 % 1500) for i in range(1500)})
        self.run_report("many")
        (f,) = self.figures_of(["many"]).values()
        self.open("many")
        state = self.state()
        self.check_sample(state, "many", f)
        self.assertEqual(state["note"], "The 1,000 reference sequences with the most reads, out of 1,500. Identity and accuracy are computed "
                         "over all bases of a sequence's reads taken together. Covered: the share of the sequence that at least 1, 10 or "
                         "30 alignments cover. An alignment covers all positions from its start to its end, deletions included.")
        self.check_order("references", *shown.references_table(f, 1000))
        for colours in (self.dark, self.colours):
            self.element("#theme").send_keys(Keys.ENTER)
            self.colours = colours
            self.check_sample({**self.state(), "references": state["references"]}, "many", f)
            ink, paper, axis = self.script("const style = getComputedStyle(document.body);"
                                           "return [style.color, style.backgroundColor, drawn.get('identity').options.scales.y.title.color]")
            self.assertGreater(contrast(ink, paper), 7)
            self.assertGreater(contrast(axis, paper), 7)
            series = [colours[f"series-{i}"] for i in range(shown.SERIES)]
            self.assertEqual((len(set(series)), [one for one in series if contrast(one, colours["card"]) < 3]), (8, []))


class Samples(BrowserTest):
    def test_three_samples_with_hostile_names_are_shown_compared_and_printed(self):
        names = ["b<i> & \"c\" " + "long " * 20, "empty", "\u00e9a"]
        references = {name: 9000 - 1000 * i if i else 999_600 for i, name in enumerate(HOSTILE)}  # 999 600 is shown as 1 Mb.
        for name, reads in zip(names, (900, 0, 2600)):
            self.make_sample(name, reads, references, 0.85)
        title = "</title></script><script>document.title = 'run'</script>@DATA@&amp;"
        self.run_report(*names, "-o", "all", "--title", title)
        samples = self.figures_of(names)
        self.open("all")
        state = self.state()
        self.assertEqual((self.browser.title, state["title"]), (title, title))
        slots = [names[0], names[2], *[None] * 6]
        self.check_comparison(state, samples, slots, names[0])
        self.check_sample(state, names[0], samples[names[0]])
        for i, name in enumerate(names[1:], 1):
            self.script(f"document.querySelector('#samples [data-sample=\"{i}\"] .link').focus()")
            self.browser.switch_to.active_element.send_keys(Keys.ENTER)
            state = self.state()
            self.check_comparison(state, samples, slots, name)
            self.check_sample(state, name, samples[name])
        self.assertEqual(self.script("return document.activeElement.id"), "sample-name")
        self.assertEqual(len(self.browser.find_elements(By.TAG_NAME, "script")), 3)
        for i in range(1, len(references) + 1):
            Select(self.element("#sequence")).select_by_index(len(references) - i)
            self.check_depth(self.figure("depth"), os.fsdecode(HOSTILE[-i]), samples[names[2]])
        for ratio in ("accuracy", "identity"):
            self.element(f"#compare-{ratio} button[data-scale=quality]").send_keys(Keys.ENTER)
        self.check_comparison(self.state(), samples, slots, names[2], is_quality=True)
        self.check_order("samples", *shown.samples_table(samples))
        for name in (names[2], names[0]):  # The table is sorted differently now.
            self.element(f"#samples [data-sample='{names.index(name)}'] td:nth-child(2)").click()
            state = self.state()
            self.assertEqual((state["open"], state["verdict"]), ([shown.shown_name(name)], shown.verdict(samples[name])))
        self.check_paper(samples)

    def check_same(self, state, before):
        other = [name for name in before["figures"] if state["figures"].get(name) != before["figures"][name]]
        self.assertEqual(([name for name in before if state[name] != before[name]], other), ([], []))

    def check_paper(self, samples):
        """Checks that all samples are printed in light colours, and that the page is unchanged afterwards."""
        self.script("document.querySelector('#lengths details').open = true")
        self.element("#theme").send_keys(Keys.ENTER)
        self.assertEqual(self.script("const made = document.querySelector('#lengths details'); return [made.open, made.querySelectorAll('tr').length > 1]"),
                         [True, True])
        before = self.state()
        self.script("addEventListener('beforeprint', () => { window.pixels = [...document.querySelectorAll('#paper canvas')].filter((canvas) => "
                    "!canvas.closest('[hidden]')).map((canvas) => canvas.toDataURL()); })")
        size = {"width": 703, "height": 900, "deviceScaleFactor": 1, "mobile": False}  # The width of A4 without its margins.
        self.browser.execute_cdp_cmd("Emulation.setDeviceMetricsOverride", size)
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": "print"})
        self.script("dispatchEvent(new Event('beforeprint'))")
        paper = self.element("body").text
        self.assertEqual(self.script("return [...document.querySelectorAll('table')].filter((made) => made.offsetWidth > made.parentNode.clientWidth).length"), 0)
        self.assertEqual(self.script("return [document.documentElement.dataset.theme, getComputedStyle(document.body).printColorAdjust]"), ["light", "exact"])
        places = [paper.find(part) for name, f in samples.items() for part in (shown.shown_name(name).strip() + "\n", shown.verdict(f))]
        headings = [part.text for part in self.browser.find_elements(By.CSS_SELECTOR, "main article h2") if part.is_displayed()]
        self.assertEqual(headings, [shown.shown_name(name).strip() for name in samples])
        self.assertEqual((-1 in places, [paper.count(shown.verdict(f)) for f in samples.values()]), (False, [1] * len(samples)))
        pixels = [self.browser.execute_async_script(DRAWN, source)[2] > 300 for source in self.script("return pixels")]
        self.assertEqual(pixels, [True] * sum(7 if f["totals"]["aligned"] else 1 for f in samples.values() if f["depths"]))
        self.browser.execute_cdp_cmd("Emulation.setEmulatedMedia", {"media": ""})
        self.browser.execute_cdp_cmd("Emulation.clearDeviceMetricsOverride", {})
        self.script("dispatchEvent(new Event('afterprint'))")
        self.check_same(self.state(), before)
        pdf = base64.b64decode(self.browser.print_page())
        streams = [zlib.decompress(part) for part in re.findall(rb"FlateDecode.*?stream\r?\n(.*?)endstream", pdf, re.DOTALL) if part[:1] == b"x"]
        grey = " ".join(f"{int(self.colours['third'][i:i + 2], 16) / 255:.4f}"[1:6] for i in (1, 3, 5))
        self.assertGreaterEqual(len(re.findall(rb"/Type /Page\b", pdf)), 1 + len(samples))
        self.assertIn(grey.split()[0].encode(), b"".join(streams), "the share bars are not filled")
        self.check_same(self.state(), before)
        self.element("#theme").send_keys(Keys.ENTER)

    def test_twelve_samples_are_compared_eight_at_a_time(self):
        names = [f"s{i}" for i in range(12)]
        for i, name in enumerate(names):
            self.make_sample(f"in/{name}", 0 if i == 2 else 80 + 41 * i, {b"c%d" % k: 1000 * k + 37 * i for k in range(3, 6)}, 0.8 + i / 80)
        self.run_report(*(f"in/{name}" for name in names), "-o", "all")
        samples = self.figures_of([f"in/{name}" for name in names], 400 * 8 // 12)
        self.open("all")
        slots = ["s0", "s1", "s3", "s4", "s5", "s6", "s7", "s8"]
        state = self.state()
        self.check_comparison(state, samples, slots, "s0")
        self.check_sample(state, "s0", samples["s0"])
        Select(self.element("#sample")).select_by_visible_text("s11")  # Takes the place of s8.
        slots[-1] = "s11"
        state = self.state()
        self.check_comparison(state, samples, slots, "s11")
        self.check_sample(state, "s11", samples["s11"])
        for out, into in (("s3", "s9"), ("s0", None)):
            self.element(f"#compared [value='{out[1:]}']").send_keys(Keys.SPACE)
            self.assertEqual(self.script("return document.activeElement.value"), out[1:])
            if into:
                self.element(f"#compared [value='{into[1:]}']").send_keys(Keys.SPACE)
            slots[slots.index(out)] = into
            self.check_comparison(self.state(), samples, slots, "s11")


def contrast(one, other):
    """Returns the contrast ratio of two colours as the Web Content Accessibility Guidelines define it."""
    def luminance(text):
        values = [int(text[i : i + 2], 16) for i in (1, 3, 5)] if text[0] == "#" else [int(v) for v in text[text.index("(") + 1 : -1].split(",")[:3]]
        linear = [v / 255 / 12.92 if v / 255 <= 0.04045 else ((v / 255 + 0.055) / 1.055) ** 2.4 for v in values]
        return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]

    low, high = sorted((luminance(one), luminance(other)))
    return (high + 0.05) / (low + 0.05)


class Live(BrowserTest):
    """Tests the page of a run in progress: the page of a finished run, with the times that tavik_live would add."""

    def write_page(self, out, **note):
        page = out / "alignment_report.html"
        text = self.text.replace('"samples":[', f'"live":{json.dumps(note)},"samples":[', 1) if note else self.text
        page.with_name("part").write_text(text.replace("const reloadSeconds = 10;", "const reloadSeconds = 0.5;", 1))
        page.with_name("part").rename(page)

    def text_of(self, name):
        return self.script("return document.getElementById(arguments[0]).textContent", name)

    def test_page_reloads_keeps_the_choices_and_stops_at_the_end(self):
        out = self.align_examples()
        self.run_report(out)
        self.text = (out / "alignment_report.html").read_text()
        now = 1000 * time.time()
        self.write_page(out, made=now, until=now + 60_000)
        self.open("out")
        self.assertRegex(self.text_of("live"), r"^The run is in progress\. These figures are from [\d:]{8}\. New ones will replace them by [\d:]{8} at the latest\.")
        # The page may reload between two scripts, so one script makes all choices.
        self.script("""
            for (const place of ["#theme", "#identity [data-scale=quality]", "#lengths summary", "#references th:first-child button"]) document.querySelector(place).click();
            byId("sequence").value = 1;
            showDepth();
            scrollTo(0, 700);""")
        chosen = self.state()
        self.text = self.text.replace("N50", "N51")  # The next page.
        self.write_page(out, made=now - 120_000, until=now - 30_000)
        self.wait_for(lambda: "N51" in self.text_of("totals"))
        self.assertRegex(self.text_of("live"), r"A new page was due by [\d:]{8}: tavik_live has stopped, or this page is a copy")
        renewed = json.loads(json.dumps(self.state()).replace("N51", "N50"))
        self.assertEqual(renewed, json.loads(json.dumps(chosen).replace("N51", "N50")))
        self.assertEqual(self.script("return [scrollY, document.documentElement.dataset.theme, document.querySelector('#lengths details').open]"),
                         [700, "dark", True])
        self.write_page(out)
        self.wait_for(lambda: self.script("return byId('live').hidden"))
        self.text = self.text.replace("N51", "N52")
        self.write_page(out)
        time.sleep(1)
        self.assertNotIn("N52", self.text_of("totals"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
