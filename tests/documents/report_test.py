"""The report's page in a browser: curves at the right places, all controls, names that mean harm, no requests."""

import cmath
import json
import math
import os
import pathlib
import random
import re
import struct
import subprocess
import time
import unittest
import urllib.parse
import xml.etree.ElementTree
import zlib

import browser
from tool import INCOMPLETE, IS_SLOW, SAMPLES, TOOL, ToolTest, float_wav

RATE = 96000  # of float_wav
STEREO = SAMPLES[0].parent / "impulse-stereo.wav"
FILTER = SAMPLES[0].parent / "design/correction.wav"


class Resonance:
    """Samples r^n sin(w n) from `delay` on, and their spectrum."""

    def __init__(self, frequency, quality, gain, delay=0):
        self.w = 2 * math.pi * frequency / RATE
        self.r = math.exp(-self.w / (2 * quality))
        self.gain, self.delay = gain, delay

    def samples(self, count):
        return [0.0] * self.delay + [self.gain * self.r ** n * math.sin(self.w * n) for n in range(count - self.delay)]

    def at(self, frequency):
        z = cmath.exp(-2j * math.pi * frequency / RATE)
        return self.gain * self.r * math.sin(self.w) * z / (1 - 2 * self.r * math.cos(self.w) * z + self.r ** 2 * z * z)

    def level(self, frequency):
        return 20 * math.log10(abs(self.at(frequency)))

    def smoothed(self, frequency, smoothing):
        """The level of the mean power over a part of an octave."""
        low, high = frequency * 2 ** (-0.5 / smoothing), frequency * 2 ** (0.5 / smoothing)
        powers = [abs(self.at(low + (high - low) * (k + 0.5) / 400)) ** 2 for k in range(400)]
        return 10 * math.log10(sum(powers) / len(powers))


class Page(ToolTest):
    @classmethod
    def setUpClass(cls):
        if not browser.is_there():
            raise unittest.SkipTest("there is no chromium with its driver here (apt-get install chromium chromium-driver)")
        cls.browser = browser.Browser()
        cls.addClassCleanup(cls.browser.close)

    def report(self, *documents):
        page = self.folder / "report.html"
        self.tool("report", *(documents or [self.document]), "--force", "-o", page)
        return page

    def show(self, page, address="", state=""):
        """Opens the page at an object and waits until it has drawn."""
        self.browser.open(f"file://{page}#" + urllib.parse.quote(address) + ("?" + state if state else ""))
        self.drawn()

    def drawn(self):
        self.browser.wait_for("return document.documentElement.dataset.drawn == drawing || document.getElementById('drawing').hidden")

    def saved(self, extension):
        """The file that the page gave to take away, under the name that it had."""
        end, found = time.monotonic() + 30, []
        while not found and time.monotonic() < end:
            found = [path for path in pathlib.Path(self.browser.profile).glob("*." + extension) if path.stat().st_size]
        self.assertEqual(len(found), 1, found)
        return found[0].rename(self.folder / found[0].name)

    def tearDown(self):
        if self.browser:
            console, asked = self.browser.problems()
            self.assertEqual(console, [])
            self.assertEqual([url for url in asked if not re.fullmatch(r"file://[^?]*/report\.html(#.*)?", url)], [])

    def assert_drawn_at(self, x, y):
        """A line passes within a pixel of the point."""
        distance = self.browser.run("""
            const {left, top} = chart.pixelOf(arguments[0], arguments[1]);
            const canvas = chart.element.querySelector("canvas"), scale = canvas.width / canvas.clientWidth;
            const context = canvas.getContext("2d"), wanted = drawnCurves[0].colour;
            const [r, g, b] = [1, 3, 5].map(at => parseInt(wanted.slice(at, at + 2), 16));
            let nearest = 99;
            for (let dy = -30; dy <= 30; ++dy)
              for (let dx = -1; dx <= 1; ++dx) {
                const pixel = context.getImageData(Math.round((left + dx) * scale), Math.round((top + dy) * scale), 1, 1).data;
                if (pixel[3] > 60 && Math.abs(pixel[0] - r) + Math.abs(pixel[1] - g) + Math.abs(pixel[2] - b) < 60)
                  nearest = Math.min(nearest, Math.hypot(dx, dy));
              }
            return nearest;""", x, y)
        self.assertLessEqual(distance, 1.5, f"{x} Hz, {y}")

    def at_cursor(self, x, curve=0):
        """What the page says of a curve at a frequency or time."""
        return self.browser.run("""
            const box = chart.element.getBoundingClientRect();
            chart.follow(box.left + chart.pixelOf(arguments[0], 0).left);
            return valueAt(drawnCurves[arguments[1]], chart.cursor, chartKinds[chart.spec.kind].isFrequency);""", x, curve)

    def test_a_resonance_appears_at_its_frequency_with_its_level_and_quality(self):
        resonance = Resonance(1000, 10, 0.05)
        self.tool("import", self.document, self.file("resonance.wav", float_wav(1, resonance.samples(16384))))
        page = self.report()
        for smoothing in ["0", "48"]:
            self.show(page, "Data/resonance", "smoothing=" + smoothing)
            for frequency in [200, 500, 950, 1000, 1050, 2000, 5000]:
                self.assert_drawn_at(frequency, resonance.level(frequency))
                self.assertAlmostEqual(self.at_cursor(frequency), resonance.level(frequency), delta=0.1)
        greatest = self.browser.run("return series[0].row.cells[4].textContent")
        for smoothing in [24, 12, 6, 3]:
            self.show(page, "Data/resonance", f"smoothing={smoothing}")
            for frequency in [200, 900, 1000, 1300, 5000]:
                self.assertAlmostEqual(self.at_cursor(frequency), resonance.smoothed(frequency, smoothing), delta=0.1)
        self.assertRegex(greatest, r"dB at (1 kHz|99\d(\.\d)? Hz|1\.00\d kHz)$")
        # The labels of the axes are where the values are.
        places = self.browser.run("""
            return [...chart.element.querySelectorAll(".dygraph-axis-label-x")].filter(each => each.textContent).map(each => {
              const box = each.getBoundingClientRect(), frame = chart.element.getBoundingClientRect();
              return [each.textContent, (box.left + box.right) / 2 - frame.left]; })""")
        labels = [label for label, _ in places]
        self.assertEqual(labels, ["20", "50", "100", "200", "500", "1k", "2k", "5k", "10k", "20k"])
        for label, left in places:
            frequency = float(label.replace("k", "000"))
            self.assertAlmostEqual(left, self.browser.run("return chart.pixelOf(arguments[0], 0).left", frequency), delta=1)
        self.assertIn("2.93 Hz apart", self.browser.run("return document.getElementById('method').textContent"))

    def test_a_delay_has_its_phase_and_group_delay(self):
        samples = [0.0] * 4096
        samples[96] = 0.5  # 1 ms
        self.tool("import", self.document, self.file("delay.wav", float_wav(1, samples)))
        page = self.report()
        self.show(page, "Data/delay", "chart=phase&arrivalOut=false")
        for frequency, phase in [(100, -36), (400, -144), (700, 108), (1250, -90)]:
            self.assert_drawn_at(frequency, phase)
            self.assertAlmostEqual(self.at_cursor(frequency), phase, delta=2)
        self.show(page, "Data/delay", "chart=phase")
        self.assertAlmostEqual(self.at_cursor(5000), 0, delta=0.2)
        self.show(page, "Data/delay", "chart=delay&arrivalOut=false")
        self.assertAlmostEqual(self.at_cursor(5000), 1, delta=0.01)
        self.show(page, "Data/delay", "chart=impulse")
        self.assertAlmostEqual(self.at_cursor(1.0), 0.5, delta=0.2)  # a line of one sample's width
        self.show(page, "Data/delay", "chart=impulse&zoom=0.9,1.1,-1,1")
        self.assert_drawn_at(1.0, 0.5)
        self.show(page, "Data/delay", "chart=impulse&impulse=log")
        self.assertAlmostEqual(self.browser.run("return Math.max(...drawnCurves[0].y)"), 0, delta=1e-6)
        self.assertEqual(self.browser.run("return document.querySelector('.dygraph-ylabel').textContent"), "Level relative to the greatest sample (dB)")
        # All samples of the step, where the chart begins and where it is zoomed.
        self.show(page, "Data/delay", "chart=step&zoom=0.9,1.1,0,2")
        self.assertAlmostEqual(self.at_cursor(0.985), 0, delta=1e-3)
        self.assertAlmostEqual(self.at_cursor(1.005), 1, delta=1e-3)

    def test_a_gated_level_is_that_of_its_window(self):
        """The window leaves out a reflection that would make a comb; SPLScale moves the level."""
        samples = [0.0] * 4096
        samples[96], samples[960] = 0.5, 0.25
        library = self.folder / "library.lvs"
        self.tool("catalogue", library, self.file("table.csv", "Acme,Alpha,Single amp\n"))
        self.tool("import", self.document, "--library", library, "--speaker", "Left", "--model", "Acme/Alpha", "--config",
                  "Single amp", "--experiment", "Near", self.file("gated.wav", float_wav(1, samples)))
        address = "Left/Single amp/Measurements/gated"
        self.tool("set", self.document, address, "MeasureStart=0.5", "MeasureEnd=8", "SPLScale=2")
        self.show(self.report(), address, "smoothing=0")
        expected = 20 * math.log10(0.5 * 2 / 20e-6)
        for frequency in [500, 1000, 1055, 5000]:
            self.assertAlmostEqual(self.at_cursor(frequency), expected, delta=0.05)
        self.assertIn("Below 133.3 Hz", self.browser.run("return document.getElementById('summary').textContent"))
        self.assertEqual(self.browser.run("return document.querySelector('.dygraph-ylabel').textContent"), "Level (dB SPL)")

    def test_views_without_extent_end(self):
        """Labels of axes are counted, whatever the view; a loop that does not end takes the browser's tab with it. Of the
        page alone: the page of a tool with sanitizers is the same."""
        self.tool("import", self.document, self.file("flat.wav", float_wav(1, [1.0] * 5000)))
        page = self.report()
        for chart in ["level", "phase", "delay", "impulse", "step", "decay"]:
            if IS_SLOW:
                self.show(page, "Data/flat", f"chart={chart}")
                continue
            for view in ["", "zoom=0,100,0,1", "zoom=5,5,1,1", "zoom=1e-300,1e300,-1e300,1e300", "zoom=1000,1000.0000000000002,1,1.0000000000000002"]:
                self.show(page, "Data/flat", f"chart={chart}&{view}")
                self.assertEqual(self.browser.run("return document.querySelectorAll('.dygraph-axis-label').length < 700"), True)

    def test_names_that_mean_harm_are_shown(self):
        names = ["</script><img src=x onerror=alert(1)>", "<!--<script>", "a\"b'c&amp;d", "\u202egnp.exe", "{{1}}${2}\\"]
        wav = float_wav(1, [1.0, 0.5, 0.25, 0.125] * 16)
        for number, name in enumerate(names):
            self.tool("import", self.document, "--room", name, "--position", name, "--channel", "0",
                      self.file(f"r{number}.wav", wav))
        page = self.report()
        self.show(page)
        self.assertEqual(self.browser.run("return document.querySelectorAll('img, iframe, object').length"), 0)
        rooms = self.browser.run("return objects.filter(each => each.type !== undefined && typeOf(each).name === 'RoomEQ').map(each => each.name)")
        self.assertEqual(rooms, names)
        for name in names:
            place = self.browser.run("""
                const place = objects.findIndex(each => each.name === arguments[0]);
                location.hash = toHash(addressOf(place));
                return place;""", name)
            self.browser.wait_for("return chosen === arguments[0]", place)
            self.drawn()
            self.assertEqual(self.browser.run("return document.getElementById('name').textContent"), name)
            self.assertEqual(self.browser.run("return document.querySelectorAll('img, iframe, object').length"), 0)
            svg = self.browser.run("return new DOMParser().parseFromString(svgText(), 'image/svg+xml').querySelectorAll('parsererror, img, script').length")
            self.assertEqual(svg, 0)

    def test_all_controls(self):
        self.tool("import", self.document, *SAMPLES)
        self.tool("import", self.document, "--room", "Studio", "--position", "Listener", "--channel", "0", SAMPLES[0].parent / "impulse-left.wav")
        self.tool("import", self.document, "--room", "Studio", "--position", "Sofa", "--channel", "0", SAMPLES[0].parent / "impulse-right.wav")
        page = self.report()
        run, click = self.browser.run, self.browser.click

        # Every chart of a measurement draws something, and its state is in the address.
        self.show(page, "Data/impulse-left")
        kinds = run("return [...document.querySelectorAll('#charts button')].map(each => each.id)")
        self.assertEqual(kinds, [f"tab-{kind}" for kind in ["level", "phase", "delay", "impulse", "step", "decay",
                                                            "reverberation", "cumulative"]])
        for kind in kinds:
            click("#" + kind)
            self.browser.wait_for("return document.getElementById(arguments[0]).getAttribute('aria-selected') === 'true'", kind)
            self.drawn()
            painted = run("""const canvas = document.querySelector(arguments[0] === "tab-cumulative" ? "#map" : "#chart canvas");
                const data = canvas.getContext("2d").getImageData(0, 0, canvas.width, canvas.height).data;
                let count = 0;
                for (let at = 3; at < data.length; at += 4) count += data[at] > 200;
                return count;""", kind)
            self.assertGreater(painted, 500, kind)
        click("#tab-decay")
        self.drawn()
        self.assertRegex(run("return document.getElementById('results-of').textContent"), r"T20\s*0\.\d+ s")
        self.assertRegex(run("return document.querySelector('.bands tbody').innerText"), r"T20(\t[\d.]+|\t\u2013){7}")
        run("""const box = document.getElementById("band");
            box.value = "1000";
            box.dispatchEvent(new Event("change"));""")
        self.drawn()
        self.assertIn("band=1000", run("return location.hash"))
        self.assertLess(run("return drawnCurves[0].y.length"), 151)

        # The map is read by keys, and taken away as numbers.
        click("#tab-cumulative")
        self.drawn()
        run("document.getElementById('map').focus()")
        self.browser.press("\ue014", "\ue015")  # right, down
        self.assertRegex(run("return document.getElementById('readout').textContent"), r"^[\d.]+ k?Hz, [\d.]+ ms: \u2212?[\d.]+ dB$")
        click("#save-csv")
        table = self.saved("csv").read_text().splitlines()
        self.assertEqual(len(table), 1 + run("return document.getElementById('map').map.f.length"))
        self.assertRegex(table[0], r'^"Frequency \(Hz\)","0 ms \(dB\)"')

        # Zooming by dragging, moving with Shift, by keys and buttons, and back by a double click.
        self.show(page, "Data/impulse-left")
        area = run("const box = chart.element.getBoundingClientRect(), area = chart.graph.getArea(); return [box.left + area.x, box.top + area.y, area.w, area.h]")
        left, top, width, height = area
        self.browser.drag((left + width * 0.4, top + height / 2), (left + width * 0.6, top + height / 2 + 3))
        whole, zoomed = [20, 20000], self.browser.wait_for("return settings.zoom && settings.zoom.x")
        self.assertAlmostEqual(zoomed[0], 20 * 1000 ** 0.4, delta=zoomed[0] * 0.02)
        self.assertAlmostEqual(zoomed[1], 20 * 1000 ** 0.6, delta=zoomed[1] * 0.02)
        self.assertIn("zoom=", run("return location.hash"))
        address = run("return location.hash")
        self.browser.drag((left + width * 0.5, top + height / 2), (left + width * 0.25, top + height / 2), shift=True)
        moved = self.browser.wait_for("return settings.zoom.x[0] > arguments[0] * 1.2 && settings.zoom.x", zoomed[0])
        self.assertAlmostEqual(math.log(moved[1] / moved[0]), math.log(zoomed[1] / zoomed[0]), delta=0.02)
        click("#zoom-all")
        self.browser.wait_for("return settings.zoom === null")
        self.drawn()
        self.assertEqual([round(each) for each in run("return chart.ranges().x")], whole)
        click("#zoom-in")
        self.assertLess(self.browser.wait_for("return settings.zoom && settings.zoom.x[1]"), 20000)
        run("chart.element.focus()")
        self.browser.press("0")
        self.browser.wait_for("return settings.zoom === null")
        self.drawn()
        self.browser.press("\ue014", "\ue014")  # right
        self.assertRegex(run("return document.getElementById('readout').textContent"), r"^[\d.]+ k?Hz: .* dB$")
        self.browser.press("\ue014", shift=True)
        self.browser.wait_for("return settings.zoom !== null")
        run("location.hash = arguments[0]", address)
        self.browser.wait_for("return settings.zoom && Math.abs(settings.zoom.x[0] - arguments[0]) < 1", zoomed[0])

        # A cursor over the chart reads all curves; hidden ones are not read.
        self.show(page, "Data/impulse-stereo")
        self.browser.move(left + width / 2, top + height / 2)
        cells = "return series.map(each => each.row.cells[3].textContent)"
        self.assertEqual([bool(re.fullmatch(r"\u2212?[\d.]+ dB", text)) for text in run(cells)], [True, True])
        click("#series tbody tr:nth-child(2) input")
        self.browser.wait_for("return drawnCurves.length === 1")
        self.assertIn("toggled=1", run("return location.hash"))
        self.browser.open(run("return location.href"))
        self.drawn()
        self.assertEqual(run("return drawnCurves.length"), 1)

        # Positions of a room with mean and spread; the tree, by search and keys.
        self.browser.type("#search", "studio roomeq")
        self.assertEqual(run("return [...document.querySelectorAll('#results a')].map(each => each.firstChild.data)"), ["Studio"])
        run("document.getElementById('smoothing').value = '6'; document.getElementById('smoothing').dispatchEvent(new Event('change'))")
        click("#results a")
        self.browser.wait_for("return objects[chosen].name === 'Studio'")
        self.assertIn("smoothing=6", run("return location.hash"))
        self.drawn()
        self.assertEqual(run("return drawnCurves.map(each => each.id)"), ["curve0", "curve1", "mean"])
        one, two, mean = (self.at_cursor(1000, curve) for curve in range(3))
        self.assertAlmostEqual(mean, 10 * math.log10((10 ** (one / 10) + 10 ** (two / 10)) / 2), delta=0.1)
        click("#spread")
        self.browser.wait_for("return drawnCurves.length === 2")
        run("document.getElementById('search').value = ''; search(); rows.get(chosen).focus()")
        self.browser.press("\ue014", "\ue014", "\ue007")  # right twice: its first collection; Enter
        self.browser.wait_for("return objects[chosen].path === 'Rooms/Studio/Positions'")

        # Comparison, themes, and what can be taken away.
        self.drawn()
        click("#pin")
        run("choose(placeOf('Data/woofer'), true)")
        self.browser.wait_for("return drawnCurves.length === 3")
        click("#unpin")
        self.browser.wait_for("return drawnCurves.length === 1")
        before = run("return document.documentElement.dataset.theme")
        click("#theme")
        self.assertNotEqual(run("return document.documentElement.dataset.theme"), before)
        self.drawn()
        for event, theme, is_open in [("beforeprint", "light", True), ("afterprint", run("return document.documentElement.dataset.theme"), False)]:
            run("dispatchEvent(new Event(arguments[0]))", event)
            self.assertEqual(run("return [document.documentElement.dataset.theme, document.getElementById('method').open]"), [theme, is_open])
        for name, start in [("svg", b"<svg "), ("png", b"\x89PNG"), ("csv", b'"Frequency (Hz)","woofer"')]:
            click("#save-" + name)
            found = self.saved(name)
            self.assertEqual(found.name, f"woofer-level.{name}")
            data = found.read_bytes()
            self.assertTrue(data.startswith(start))
        rows = data.decode().splitlines()[1:]
        self.assertEqual(len(rows), 479)
        self.assertEqual([float(each) for each in rows[0].split(",")], [20, float(rows[0].split(",")[1])])

        # A phone: nothing is wider than the screen.
        self.browser.become_a_phone(375, 800)
        try:
            for chart in ["level", "reverberation", "cumulative"]:
                self.show(page, "Data/impulse-left", "chart=" + chart)
                self.assertEqual(run("return [innerWidth, document.documentElement.scrollWidth]"), [375, 375])
        finally:
            self.browser.become_a_phone(None, None)

    def test_equalisers_and_stages_of_rooms_and_profiles(self):
        for position in ["A", "B"]:
            self.tool("import", self.document, "--room", "Studio", "--position", position, "--channel", "0",
                      self.file("one.wav", float_wav(1, [0.5] + [0.0] * 2047)))
        table = "EqualiserData=[[500,0.5,6],[5000,0.25,-4]]"
        self.tool("set", self.document, "Rooms/Studio", table)
        self.tool("processor", self.document, "--name", "Rack", self.file("positions.csv", "profile,position,GaindB,FilterEnable(1),"
                  "FilterMode(1),FilterFrequencyLo(1),FilterSlopeLo(1),FilterMethodLo(1)\nProfile 1,Left,-3,1,high-pass,500,24,linkwitz-riley\n"))
        profile = self.tool("find", "Profile 1", self.document).stdout.strip()
        self.tool("set", self.document, profile, table)
        self.tool("set", self.document, profile + "/Left", "Mode=crossover")
        page = self.report()
        self.show(page, "Rooms/Studio")
        labels = self.browser.run("return drawnCurves.map(each => each.label)")
        self.assertEqual(labels[:3], ["equaliser", "equaliser band, 500 Hz, 6 dB", "equaliser band, 5000 Hz, -4 dB"])
        self.assertEqual(len(labels), 6)  # two positions and their mean
        self.assertAlmostEqual(self.at_cursor(500, 1), 6, delta=0.02)
        self.assertAlmostEqual(self.at_cursor(5000, 2), -4, delta=0.02)
        both = self.at_cursor(2000, 1) + self.at_cursor(2000, 2)
        self.assertAlmostEqual(self.at_cursor(2000, 0), both, delta=0.02)
        self.assertAlmostEqual(self.at_cursor(1000, 3), 0, delta=0.05)  # measured levels are aligned with the gains
        self.show(page, profile)
        stage = self.browser.run("return drawnCurves.findIndex(each => each.label === 'Left, all stages, with the profile\\'s equaliser')")
        self.assertAlmostEqual(self.at_cursor(500, stage), -3 - 6.02 + 6, delta=0.1)
        tables = self.browser.run("return [...document.querySelectorAll('#tables caption')].map(each => each.textContent)")
        self.assertEqual(tables, ["Filter stages of Left", "Equaliser"])

    def test_a_correction_predicts_what_it_does(self):
        """A filter that is a gain of a half and a delay lowers the sum by 6 dB."""
        library = self.folder / "library.lvs"
        self.tool("catalogue", library, self.file("table.csv", "Acme,Alpha,Bi amp\n"))
        samples = [0.0] * 2 * 1024
        samples[20], samples[21] = 0.5, 0.25  # both outputs at once
        half = [0.0] * 2 * 64
        half[10], half[11] = 0.5, 0.5
        speaker = ["--speaker", "Left", "--config", "Bi amp", "--experiment", "Near"]
        self.tool("import", self.document, "--library", library, "--model", "Acme/Alpha", *speaker,
                  self.file("both.wav", float_wav(2, samples)))
        self.tool("correct", self.document, *speaker, "--name", "Half", "--crossover", "1000:24", "--set",
                  "CrossoverMethod=linkwitz-riley", "--limits", self.file("limits.csv", "20,1,3,-9,0\n20000,1,3,-9,0\n"),
                  self.file("half.wav", float_wav(2, half)))
        self.tool("crossover", self.document, "--config", "Bi amp", "--name", "Ways", *speaker[:2], *speaker[4:], "--crossover",
                  "1000:24", "--set", "CrossoverMethod=linkwitz-riley")
        page = self.report()
        self.show(page, "Bi amp/Ways")
        labels = self.browser.run("return drawnCurves.map(each => each.label)")
        ways = labels.index("both through the ways, predicted sum")
        for frequency, low, high in [(100, 1, 0), (1000, 0.5, 0.5), (10000, 0, 1)]:
            self.assertAlmostEqual(self.at_cursor(frequency, ways), 20 * math.log10(0.5 * low + 0.25 * high), delta=0.05)
        self.show(page, "Left/Bi amp/Corrections/Half")
        labels = self.browser.run("return drawnCurves.map(each => each.label)")
        before, after = labels.index("before correction"), labels.index("after correction, predicted")
        for frequency in [100, 1000, 10000]:
            self.assertAlmostEqual(self.at_cursor(frequency, before), 20 * math.log10(0.75), delta=0.02)
            self.assertAlmostEqual(self.at_cursor(frequency, after), 20 * math.log10(0.375), delta=0.02)
            self.assertEqual(self.at_cursor(frequency, labels.index("upper limit")), 3)
            self.assertEqual(self.at_cursor(frequency, labels.index("lower limit")), -9)
        self.browser.run("series.forEach(each => { if (!each.isShown) toggle(each); })")
        self.browser.wait_for("return drawnCurves.length === series.length")
        labels = self.browser.run("return drawnCurves.map(each => each.label)")
        self.assertAlmostEqual(self.at_cursor(1000, labels.index("crossover, way 1")), -6.02, delta=0.02)
        self.assertAlmostEqual(self.at_cursor(300, labels.index("sum of the crossover's ways")), 0, delta=0.01)

    def test_several_documents_and_many_measurements(self):
        other = self.folder / "other.lvp"
        for document, gain in [(self.document, 1.0), (other, 0.5)]:
            self.tool("import", document, self.file("same.wav", float_wav(1, [gain] + [0.0] * 255)))
        files = []
        for number in range(500):
            files.append(self.file(f"m{number:03}.wav", float_wav(1, [0.0] * (number % 50) + [0.5] + [0.0] * 999)))
        self.tool("import", self.document, "--room", "Hall", "--position", "Seat", "--channel", "0", *files)
        page = self.report(self.document, other)
        before = page.read_bytes()
        self.assertEqual(self.report(self.document, other).read_bytes(), before)
        self.show(page, "2:Data/same", "others=true")
        self.assertEqual(self.browser.run("return drawnCurves.map(each => each.label)"), ["same", "project.lvp: same"])
        self.assertAlmostEqual(self.at_cursor(1000, 1) - self.at_cursor(1000, 0), 6.02, delta=0.02)
        self.show(page, "1:Hall")
        self.assertEqual(self.browser.run("return [series.length, drawnCurves.length]"), [500, 13])
        self.show(page, "1:Hall/Seat/m499")
        self.assertAlmostEqual(self.at_cursor(1000), -6.02, delta=0.02)


class WithoutABrowser(ToolTest):
    def test_a_page_replaces_nothing_unasked(self):
        self.import_samples()
        page = self.file("page.html", "mine")
        self.assertIn("--force replaces it", self.tool("report", self.document, "-o", page, status=INCOMPLETE).stderr)
        self.assertEqual(page.read_text(), "mine")
        done = self.tool("report", self.document, "--force", "-o", page)
        self.assertEqual(done.stdout, "")
        self.assertRegex(done.stderr, r"page\.html: \d+ objects, \d+ traces, ")
        text = page.read_text()
        self.assertEqual(re.findall(r"\b(?:src|href)\s*=\s*[\"']?(?!#)\w+:", text.split('id="licence"')[0]), [])

    def test_calibrations_move_the_levels(self):
        library = self.folder / "library.lvs"
        self.tool("catalogue", library, self.file("table.csv", "Acme,Alpha,Single amp\n"))
        self.tool("import", self.document, "--library", library, "--speaker", "Left", "--model", "Acme/Alpha", "--config",
                  "Single amp", "--experiment", "Near", self.file("one.wav", float_wav(1, [1.0] + [0.0] * 1023)))
        curve = self.file("curve.txt", "20 6\n20000 6\n")
        page = self.folder / "page.html"
        self.tool("import", self.document, "--room", "R", "--position", "P", "--channel", "0", self.folder / "one.wav")
        self.tool("report", self.document, "--calibration", curve, "-o", page)
        for number in range(2):
            facts, arrays = unpacked(page.read_text(), number)
            self.assertIn("curve.txt", " ".join(facts["method"]))
            self.assertEqual({round(level, 2) for level in arrays["parts.levels"]}, {-6})
        # The microphone's curve in the library is added or, inverse, taken out.
        self.tool("import", library, self.file("mic.txt", "Sens Factor =-12dB, SERNO: 4711\n20 3\n200 6\n20000 6\n"))
        self.tool("set", self.document, "Experiments/Near", "MicSerialNo=4711")
        for method, level, words in [("forward", 6, "4711 is added"), ("inverse", -6, "4711 is taken out")]:
            self.tool("set", library, "Microphones/4711", f"CalibrationMethod={method}")
            self.tool("report", self.document, library, "--force", "-o", page)
            facts, arrays = unpacked(page.read_text(), 0)
            self.assertIn(words, " ".join(facts["method"]))
            self.assertAlmostEqual(arrays["parts.levels"][-1], level, delta=0.01)
            self.assertEqual(unpacked(page.read_text(), 2)[1]["response.y"], [3, 6, 6])
        self.assertIn("holds no frequencies", self.tool("report", self.document, "--calibration", self.folder / "one.wav",
                                                        "--force", "-o", page, status=INCOMPLETE).stderr)


    def test_samples_are_exact_where_they_are_coarse_and_else_as_fine_as_is_said(self):
        page = self.folder / "page.html"
        chance = random.Random(5)
        whole = [round(20000 * 0.99 ** n) / 32768 for n in range(2000)]
        noisy = [0.7 * 0.99 ** n + chance.gauss(0, 0.0003) for n in range(2000)]
        falling = [0.7 * 0.999 ** n for n in range(2000)]
        noisy, falling = (list(struct.unpack("<2000f", struct.pack("<2000f", *each))) for each in (noisy, falling))
        for name, samples in [("whole", whole), ("noisy", noisy), ("falling", falling)]:
            self.tool("import", self.document, self.file(name + ".wav", float_wav(1, samples)))
        self.tool("report", self.document, "-o", page)
        for number, (samples, words, expected) in enumerate([(whole, "are exact", None), (noisy, "the noise that they end in", 0.0003),
                                                             (falling, "1/32767 of the greatest", 0.7 / 32767)]):
            facts, arrays = unpacked(page.read_text(), number)
            self.assertIn(words, " ".join(facts["method"]))
            step = next(each[2] for each in facts["arrays"] if each[0] == "samples")
            found = arrays["samples"]
            if number == 0:
                self.assertEqual(found, samples)
                continue
            self.assertAlmostEqual(step, expected, delta=expected / 4)
            self.assertIn(f"rounded to {step:.3g},", " ".join(facts["method"]))
            carried = 0
            for ours, theirs in zip(found, samples):
                self.assertLessEqual(abs(ours - theirs), step * 1.001)
                carried += ours - theirs
                self.assertLessEqual(abs(carried), step / 2 * 1.001)


class Pictures(ToolTest):
    def plot(self, *arguments, file="picture.svg", **options):
        """The finished process; the picture's bytes."""
        done = self.tool("plot", self.document, *arguments, "--force", "-o", self.folder / file, **options)
        return (self.folder / file).read_bytes()

    def elements(self, svg, name):
        return [each for each in xml.etree.ElementTree.fromstring(svg).iter() if each.tag.endswith("}" + name)]

    def test_a_resonance_is_where_it_belongs(self):
        resonance = Resonance(1000, 10, 0.05)
        self.tool("import", self.document, self.file("resonance.wav", float_wav(1, resonance.samples(16384))))
        svg = self.plot("Data/resonance", "--smoothing", "none")
        self.assertEqual(self.plot("Data/resonance", "--smoothing", "none"), svg)
        labels = {"right": {}, "down": {}}  # what is written below and beside the axes, and where
        for text in self.elements(svg, "text"):
            if re.fullmatch(r"-?[\d.]+k?", text.text):
                along = "down" if text.get("text-anchor") == "end" else "right"
                labels[along][float(text.text.replace("k", "e3"))] = float(text.get("x" if along == "right" else "y"))
        low, high = min(labels["down"]), max(labels["down"])
        slope = (labels["down"][high] - labels["down"][low]) / (high - low)
        curve = max((each.get("d") for each in self.elements(svg, "path")), key=len)
        places = [tuple(map(float, each.split())) for each in re.split("[ML]", curve)[1:]]
        for frequency in [100, 1000, 2000, 5000]:
            x = labels["right"][frequency]
            y = labels["down"][low] - 4 + slope * (resonance.level(frequency) - low)
            near = min(math.hypot(px - x, py - y) for px, py in places)
            self.assertLess(near, 3 if frequency == 100 else 1.5, frequency)

    def test_every_chart_of_many_kinds_of_objects(self):
        self.tool("import", self.document, *SAMPLES)
        self.tool("import", self.document, "--room", "</text><script>", "--position", "P", "--channel", "0", SAMPLES[0].parent / "impulse-left.wav")
        for chart in ["level", "phase", "group-delay", "impulse", "step", "decay", "reverberation"]:
            svg = self.plot("Rooms", "--chart", chart)
            self.assertEqual(self.elements(svg, "script"), [])
            self.assertIn("</text><script>", " ".join(text.text for text in self.elements(svg, "text")))
        curves = [each for each in self.elements(self.plot("Data/*"), "text") if each.text.startswith("Data/")]
        self.assertEqual(len(curves), len(SAMPLES) + 1)  # one of two channels

    def test_png_and_terminals(self):
        self.import_samples()
        leaks = dict(os.environ, LSAN_OPTIONS="detect_leaks=0")  # what the fonts' library keeps until the end is not ours
        png = self.plot("Data/woofer", file="picture.png", env=leaks)
        self.assertEqual((png[:8], struct.unpack(">II", png[16:24])), (b"\x89PNG\r\n\x1a\n", (1920, 1060)))
        for protocol, start in [("kitty", b"\x1b_Ga=T,f=100,m=1;iVBOR"), ("iterm", b"\x1b]1337;File=inline=1;size=")]:
            done = subprocess.run([TOOL, "plot", self.document, "Data/woofer", "--terminal", protocol], capture_output=True,
                                  check=True, env=leaks)
            self.assertTrue(done.stdout.startswith(start), done.stdout[:40])

    def test_what_cannot_be_drawn_is_told(self):
        self.import_samples()
        for words, *arguments in [("pictures are written as .svg or .png", "woofer", "-o", "picture.gif"),
                                  ("there is no impulse to draw", "Data/woofer", "--chart", "impulse", "-o", "p.svg"),
                                  ("there is no", "Nowhere", "-o", "p.svg")]:
            self.assertIn(words, self.tool("plot", self.document, *arguments, status=INCOMPLETE).stderr)
        mine = self.file("mine.svg", "mine")
        self.assertIn("--force", self.tool("plot", self.document, "Data/woofer", "-o", mine, status=INCOMPLETE).stderr)
        self.assertEqual(mine.read_text(), "mine")


def unpacked(text, number):
    """The facts and arrays of a block, read without the page."""
    length, characters = re.search(rf'id="block{number}">(\d+) ([^<]*)<', text).groups()
    digits = {chr(code): place for place, code in enumerate(each for each in range(33, 127) if chr(each) not in "&<>")}
    bits = sum((digits[low] + 91 * digits[high]) << 13 * place
               for place, (low, high) in enumerate(zip(characters[::2], characters[1::2])))
    raw = zlib.decompress(bits.to_bytes(int(length) + 1, "little")[:int(length)])
    length = struct.unpack("<I", raw[:4])[0]
    facts, at, arrays = json.loads(raw[4:4 + length]), 4 + length, {}

    def next_number():
        nonlocal at
        number, shift = 0, 0
        while True:
            number |= (raw[at] & 127) << shift
            shift += 7
            at += 1
            if raw[at - 1] < 128:
                return -(number + 1) // 2 if number & 1 else number // 2

    for name, count, step, form, *more in facts["arrays"]:
        values, before = [], 0
        for place in range(count):
            if form == "exact":
                values.append(struct.unpack_from("<f", raw, at)[0])
                at += 4
            elif form == "even":
                values.append(more[0] + place * step)
            else:
                number = next_number()
                before = before + number if form == "curve" else number
                values.append(before * step)
        arrays[name] = values
    assert at == len(raw)
    return facts, arrays


if __name__ == "__main__":
    unittest.main()
