"""Names, places and formats of what goes in and comes out; what is refused, told or kept besides the numbers."""

import json
import os
import struct
import subprocess
import unittest

from tool import DOCUMENT_FAILED, DONE, INCOMPLETE, SAMPLES, SAMPLES_FOLDER, TOOL, WRONG_USAGE, ToolTest, float_wav

RESPONSE = "20 80 1\n30 81 2\n40 82 3\n"
SAMPLED = ("* Impulse response\n4 // Response length\n2.0833333333333333E-5 // Sample interval (seconds)\n"
           "-0.1250104166666667 // Start time (seconds)\n* Data start\n0\n1.5\n-0.25\n1e-9\n")


class ImportExport(ToolTest):
    def names(self):
        return [name for name, *_ in self.data()]

    def test_names_are_chosen(self):
        for folder in ["one", "two"]:
            (self.folder / folder).mkdir()
            self.file(f"{folder}/L.csv", RESPONSE.replace(" ", ",").replace("80", "80" if folder == "one" else "70"))
        files = ["one/L.csv", "two/L.csv"]
        done = self.tool("import", self.document, *files, status=INCOMPLETE)
        self.assertIn('two/L.csv: the name "L" is that of another file of this import already; --name', done.stderr)
        self.assertIn("one/L.csv -> L: 3 x 3\n", done.stderr)
        self.tool("import", self.document, *files, "--name", "{folder} {name}.{extension}", "--prefix", "2020 ")
        self.tool("import", self.document, files[0], "--name", "L left")
        self.assertEqual(self.names(), ["L", "2020 one L.csv", "2020 two L.csv", "L left"])
        # What is replaced is what is named, and nothing else.
        before = {name: identifier for name, *_, identifier in self.data()}
        self.tool("import", self.document, files[1], "--replace", "--name", "L left")
        self.assertEqual({name: identifier for name, *_, identifier in self.data()}, before)
        self.tool("compare", self.document, *files, "--name", "2020 {folder} L.csv")
        self.tool("compare", self.document, files[0])
        self.tool("compare", self.document, files[1], "--with", "L left")
        self.assertIn("row 1, column 2: 70 in the document, 80 in the file",
                      self.tool("compare", self.document, files[0], "--name", "L left", status=INCOMPLETE).stdout)
        told = self.tool("compare", "--json", self.document, files[0], "none.csv", "--with", "L left", status=INCOMPLETE)
        found = [(each.get("address"), each.get("same")) for each in json.loads(told.stdout)]
        self.assertEqual(found, [("Data/L left", False), (None, None)])
        for arguments in [["--name", "same", *files], ["--name", "", files[0]], ["--as", "wish", files[0]],
                          ["--columns", "1,0", files[0]], ["--columns", "", files[0]], ["--rate", "0", files[0]],
                          ["--to-impulse", "fast", files[0]], ["--decimal", ",", files[0]]]:
            with self.subTest(arguments=arguments):
                self.tool("import", self.document, *arguments, status=WRONG_USAGE)

    def test_what_a_file_does_not_say_is_said(self):
        four = self.file("four.csv", "f,a,g,b\n20,1,5,-9\n30,2,6,-8\n")
        self.assertIn('four.csv:2: expected 2 or 3 numbers (frequency, level, phase); --columns 1,2,3 says which these '
                      'are, --as data keeps all, found "20,1,5,-9" below "f,a,g,b"',
                      self.tool("import", self.document, four, status=INCOMPLETE).stderr)
        self.tool("import", self.document, four, "--columns", "1,4", "--name", "right")
        self.tool("import", self.document, four, "--as", "data", "--header", "--name", "all")
        self.tool("export", self.document, "right", "-o", "right.txt")
        self.assertEqual((self.folder / "right.txt").read_text(), "* Frequency (Hz)\tLevel (dB)\n20\t-9\n30\t-8\n")
        self.tool("export", self.document, "all", "-o", "all.csv")
        self.assertEqual((self.folder / "all.csv").read_text(), four.read_text())
        falling = self.file("falling.txt", "30 1\n20 2\n")
        self.assertIn("falling.txt:2: expected a frequency above the 30 Hz before it (--force",
                      self.tool("import", self.document, falling, status=INCOMPLETE).stderr)
        self.tool("import", self.document, falling, "--force")
        german = self.file("german.txt", "1.000 70\n2.000 71\n")
        self.assertIn("--decimal", self.tool("import", self.document, german, status=INCOMPLETE).stderr)
        self.tool("import", self.document, german, "--decimal", "comma")
        self.tool("export", self.document, "german", "-o", "-")
        named = self.file("named.txt", "* Sensitivity: -12.3 dBFS\n20 1\n30 2\n")
        self.tool("import", self.document, named, "--as", "response")
        self.tool("import", self.document, self.file("plain.txt", "1\n2\n3\n"), "--as", "impulse", "--rate", "48000")
        data = {name: (rate, shape) for name, rate, shape, _ in self.data()}
        self.assertEqual(data, {"right": (0, "2 x 2"), "all": (0, "2 x 4"), "all (header)": (0, "8 x 1"),
                                "falling": (0, "2 x 2"), "german": (0, "2 x 2"), "named": (0, "2 x 2"),
                                "plain": (48000, "3 x 1")})

    def test_memory_is_that_of_the_largest_file(self):
        """20 files of 16 MB, which are holes in the disk, in the memory of one and what the tool keeps back."""
        megabytes = 1 << 20
        for number in range(20):
            path = self.file(f"{number}.wav", float_wav(1, []))
            with path.open("r+b") as file:
                file.truncate(path.stat().st_size + 16 * megabytes)
                for at in [4, 40]:  # the lengths
                    file.seek(at)
                    file.write(struct.pack("<I", 16 * megabytes + (36 if at == 4 else 0)))
        files = [f"{number}.wav" for number in range(20)]
        environment = {**os.environ, "ASAN_OPTIONS": "quarantine_size_mb=1:" + os.environ.get("ASAN_OPTIONS", "")}
        tool = subprocess.Popen([TOOL, "import", "--quiet", self.document, *files], cwd=self.folder, env=environment)
        _, status, usage = os.wait4(tool.pid, 0)
        self.assertEqual(os.waitstatus_to_exitcode(status), 0)
        self.assertLess(usage.ru_maxrss * 1024, 200 * megabytes)
        self.tool("compare", self.document, *files)
        self.assertEqual(sorted(os.listdir(self.folder)), sorted([self.document.name, *files]))

    def test_a_start_time_is_kept(self):
        text = self.file("ir.txt", SAMPLED)
        library = self.folder / "library.lvs"
        self.tool("catalogue", library, self.file("table.csv", "Acme,Alpha,Single amp\n"))
        self.assertIn("ir.txt -> ir: 4 x 1, 48000 Hz, starts at -0.12501 s\n",
                      self.tool("import", self.document, text).stderr)
        self.tool("import", self.document, text, "--room", "R", "--position", "P", "--channel", "0")
        self.tool("import", self.document, text, "--library", library, "--model", "Acme/Alpha", "--speaker", "S",
                  "--config", "single-amp", "--experiment", "E")
        for address in ["ir", "Rooms/R/Positions/P/Measurements/ir", "S/Single amp/Measurements/ir"]:
            with self.subTest(address=address):
                self.tool("compare", self.document, text, "--with", address)
                self.tool("export", self.document, address, "-o", "again.txt", "--force")
                self.tool("compare", self.document, "again.txt", "--with", "ir")
                told = self.tool("export", self.document, address, "-o", "again.wav", "--force").stderr
                self.assertIn("again.wav: the start time is left out; .txt and .csv keep it", told)
                differs = self.tool("compare", self.document, "again.wav", "--with", address, status=INCOMPLETE).stdout
                self.assertIn("start time: -0.125010", differs)
        piped = subprocess.run([TOOL, "export", self.document, "ir", "-o", "-"], check=True, capture_output=True)
        self.assertIn(b"standard output: the start time is left out", piped.stderr)
        # What takes its place and has none does not keep it.
        for place in [["--room", "R", "--position", "P", "--channel", "0"],
                      ["--speaker", "S", "--config", "single-amp", "--experiment", "E"]]:
            self.tool("import", "replaced.lvp", text, *place, "--library", library, "--model", "Acme/Alpha") \
                if "--speaker" in place else self.tool("import", "replaced.lvp", text, *place)
            self.tool("import", "replaced.lvp", "again.wav", "--name", "ir", "--replace", *place)
        self.tool("compare", "replaced.lvp", "again.wav", "--with", "R/P/ir")
        self.tool("compare", "replaced.lvp", "again.wav", "--with", "S/Single amp/Measurements/ir")
        self.tool("export", self.document, "Rooms/R", "--all", "-o", "room")
        self.assertEqual(sorted(os.listdir(self.folder / "room")), ["ir.ConfigData.csv", "ir.wav"])
        # A header that comes with the numbers goes out with them, and says nothing twice.
        self.tool("export", self.document, "ir", "-o", "again.txt", "--force")
        self.assertEqual((self.folder / "again.txt").read_text(), SAMPLED.replace("1e-9", "1e-09"))
        # A first column that does not step as the rate says is no time.
        self.tool("import", self.document, self.file("three.txt", "1 2 3\n4 5 6\n"), "--as", "impulse", "--rate", "48000")
        self.assertEqual(self.data()[-1][:3], ("three", 48000, "2 x 3"))

    def test_folders(self):
        names = ["a/b", "A:b", "con", "x" * 240, "tail.", "ok"]
        for number, name in enumerate(names):
            self.tool("import", self.document, self.file("one.txt", f"20 {number}\n30 81\n"), "--name", name)
        self.tool("import", self.document, SAMPLES_FOLDER / "impulse-left.wav", "--room", "R", "--position", "P",
                  "--channel", "0")
        self.file("empty.json", json.dumps({"format": "lumvex objects", "version": 1, "root": "CProject", "objects": [
            {"address": "Data/empty", "class": "CDatum", "collection": "Data", "Name": "empty",
             "Data": {"rows": 0, "columns": 3, "type": "float", "values": [[], [], []]}}]}))
        self.tool("import", self.document, "empty.json")
        done = self.tool("export", self.document, "--all", "-o", "out")
        self.assertIn("7 of 7 arrays written to out\n", done.stderr)
        files = sorted(str(path.relative_to(self.folder / "out")) for path in (self.folder / "out").rglob("*.*"))
        self.assertEqual(files, sorted(["Data/a_b.txt", "Data/A_b (2).txt", "Data/_con.txt", f"Data/{'x' * 199}.txt",
                                        "Data/tail_.txt", "Data/ok.txt", "Rooms/R/Positions/P/impulse-left.wav"]))
        self.tool("export", self.document, "ok", "con", "-o", "some/", "--format", "csv")
        self.assertEqual(sorted(os.listdir(self.folder / "some")), ["_con.csv", "ok.csv"])
        refused = self.tool("export", self.document, "ok", "con", "-o", "some/", "--format", "csv", status=INCOMPLETE)
        self.assertIn("ok.csv: the file exists already; --force replaces it", refused.stderr)
        self.tool("export", self.document, "R", "--all", "-o", "room", "--format", "flac", "--bits", "16")
        self.assertEqual((self.folder / "room/impulse-left.flac").read_bytes()[:4], b"fLaC")
        self.assertIn("which array goes into the file",
                      self.tool("export", self.document, "-o", "none.csv", status=INCOMPLETE).stderr)

    def test_pipes(self):
        sample = SAMPLES_FOLDER / "woofer.frd"
        with open(sample, "rb") as opened:
            subprocess.run([TOOL, "import", self.document, "-", "--name", "piped"], stdin=opened, check=True,
                           capture_output=True, timeout=300)
        self.tool("compare", self.document, sample, "--name", "piped")
        stereo = SAMPLES_FOLDER / "impulse-stereo.wav"
        self.tool("import", self.document, stereo)
        for name, format_ in [("piped", "csv"), ("impulse-stereo", "wav"), ("impulse-stereo", "flac")]:
            out = subprocess.run([TOOL, "export", self.document, name, "-o", "-", "--format", format_], check=True,
                                 capture_output=True, timeout=300)
            self.assertIn(f"{name}: ".encode(), out.stderr)
            subprocess.run([TOOL, "compare", self.document, "-", "--name", name], input=out.stdout, check=True,
                           stdout=subprocess.DEVNULL, timeout=300)
        self.assertIn("take one item alone",
                      self.tool("export", self.document, "piped", "impulse-stereo", "-o", "-", status=INCOMPLETE).stderr)
        # Devices and pipes that are named are written to; so is what a shell has made of standard output.
        pipe = self.folder / "pipe"
        os.mkfifo(pipe)
        for name, options in [("piped", []), ("impulse-stereo", []), ("piped", ["--format", "json"])]:
            expected = subprocess.run([TOOL, "export", self.document, name, "-o", "-", *options], check=True,
                                      capture_output=True, timeout=300).stdout
            with subprocess.Popen(["cat", pipe], stdout=subprocess.PIPE) as reader:
                self.tool("export", self.document, name, "-o", pipe, *options)
                self.assertEqual(reader.communicate(timeout=300)[0], expected)
            with open(self.folder / "redirected", "wb") as out:
                subprocess.run([TOOL, "export", self.document, name, "-o", "/dev/stdout", *options], stdout=out,
                               stderr=subprocess.DEVNULL, check=True, timeout=300)
            self.assertEqual((self.folder / "redirected").read_bytes(), expected)
            self.assertIn("/dev/full: No space left", self.tool("export", self.document, name, "-o", "/dev/full",
                                                                *options, status=INCOMPLETE).stderr)
        self.assertTrue(pipe.is_fifo())

    def test_formats_of_files(self):
        """A file is called as it was named; its extension may say nothing, but nothing else than --format."""
        self.tool("import", self.document, SAMPLES_FOLDER / "woofer.frd", SAMPLES_FOLDER / "impulse-left.wav")
        for name, format_, output, same in [("woofer", "csv", "bare", "woofer.csv"), ("woofer", "txt", "a.frd", "w.txt"),
                                            ("impulse-left", "wav", "other.ext", "i.wav"),
                                            ("woofer", "json", "objects", "w.json")]:
            self.tool("export", self.document, name, "-o", output, "--format", format_)
            self.tool("export", self.document, name, "-o", same)
            self.assertEqual((self.folder / output).read_bytes(), (self.folder / same).read_bytes())
        for format_, output in [("csv", "x.txt"), ("json", "x.csv"), ("csv", "x.json")]:
            self.assertIn("its extension says another format than --format", self.tool(
                "export", self.document, "woofer", "-o", output, "--format", format_, status=INCOMPLETE).stderr)
            self.assertFalse((self.folder / output).exists())
        self.tool("export", self.document, "--format", "json", "-o", "folder/")
        self.tool("import", "again.lvp", "folder/project.json")
        self.assertEqual(self.tool("diff", self.document, "again.lvp").stdout, "")

    def test_dates_go_in_and_out(self):
        path = self.file("one.txt", RESPONSE)
        os.utime(path, (1_000_000_000, 1_000_000_000))
        self.tool("import", self.document, path)
        self.tool("export", self.document, "one", "-o", "again.txt")
        self.assertEqual((self.folder / "again.txt").stat().st_mtime, 1_000_000_000)

    def test_losses_are_told(self):
        doubles = struct.pack("<3d", 0.5, 0.1, 1 / 3)
        wide = self.file("wide.wav", struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(doubles), b"WAVE", b"fmt ", 16,
                                                 3, 1, 48000, 48000 * 8, 8, 64, b"data", len(doubles)) + doubles)
        self.assertIn("wide.wav: 2 of 3 samples are rounded to 32-bit floats\n",
                      self.tool("import", self.document, wide).stderr)
        self.assertIn("2 of the file's samples are no 32-bit floats",
                      self.tool("compare", self.document, wide, status=INCOMPLETE).stdout)
        told = self.tool("export", self.document, "wide", "-o", "wide.flac").stderr
        self.assertIn("wide.flac: 2 of 3 samples are rounded\n", told)
        self.assertIn("differs", self.tool("compare", self.document, "wide.flac", status=INCOMPLETE).stdout)
        # What the eight channels are for comes back from named data, and is told where there is no place for it.
        mask = struct.pack("<HHI", 22, 24, 0x63F) + bytes.fromhex("0100000000001000800000aa00389b71")
        fmt = struct.pack("<HHIIHH", 0xFFFE, 8, 48000, 48000 * 24, 24, 24) + mask
        surround = self.file("surround.wav", struct.pack("<4sI4s4sI", b"RIFF", 68 + 48, b"WAVE", b"fmt ", 40) + fmt +
                             struct.pack("<4sI", b"data", 48) + bytes(range(48)))
        self.tool("import", self.document, surround)
        self.tool("export", self.document, "surround", "-o", "out.wav", "--bits", "24")
        self.assertEqual((self.folder / "out.wav").read_bytes()[20:60], fmt)
        self.tool("compare", self.document, surround)
        self.assertIn("the loudspeakers of its channels are left out",
                      self.tool("export", self.document, "surround", "-o", "out.flac").stderr)
        room = ["import", self.document, surround, "--room", "R", "--position", "P", "--channel", "0"]
        self.assertIn("the loudspeakers of its channels are not kept", self.tool(*room).stderr)
        self.assertIn("loudspeakers: none in the document", self.tool("compare", self.document, surround, "--with",
                                                                      "R/P/surround", status=INCOMPLETE).stdout)
        loud = self.file("loud.wav", float_wav(1, [1.5, 0]))
        self.tool("import", self.document, loud)
        self.assertIn("samples from -1 to 1", self.tool("export", self.document, "loud", "-o", "l.wav", "--bits", "24",
                                                        status=INCOMPLETE).stderr)

    def test_tables_of_a_design(self):
        limits = SAMPLES_FOLDER / "design/limits.csv"
        self.tool("import", self.document, SAMPLES_FOLDER / "woofer.frd")
        before = self.document.read_bytes()
        design = ["crossover", self.document, "--config", "Bi amp", "--name", "LR"]
        for crossover in ["-5:24", "0:0", "2000:0"]:
            self.assertIn("above 0", self.tool(*design, "--crossover", crossover, status=WRONG_USAGE).stderr)
        for crossover in ["2,200:24", "2200:24,5"]:
            self.assertIn("decimal point", self.tool(*design, "--crossover", crossover, status=WRONG_USAGE).stderr)
        header = "frequency,alpha,maximum,minimum,type\n"
        for rows, words in [("20,1,6,-6,0\n20,1,6,-6,0\n", "limits.csv:3: expected a frequency above the one before"),
                            ("-20,1,6,-6,0\n", "limits.csv:2: expected a frequency above 0"),
                            ("20,1,-6,6,0\n", "limits.csv:2: expected a maximum above the minimum"),
                            ("20,1,6,-6,0.5\n", "limits.csv:2: expected a type that is a whole number")]:
            bad = self.file("limits.csv", header + rows)
            self.assertIn(words, self.tool(*design, "--limits", bad, status=INCOMPLETE).stderr)
        self.assertEqual(self.document.read_bytes(), before)
        self.tool(*design, "--limits", limits, "--crossover", "2200:24", "--crossover", "3000:12")
        address = "CrossoverConfigs/Bi amp/LR"
        self.tool("export", self.document, address, "--array", "limitdata", "-o", "again.csv")
        self.assertEqual((self.folder / "again.csv").read_text(), limits.read_text())
        self.tool("export", self.document, address, "--all", "-o", "tables")
        self.assertEqual((self.folder / "tables/LR.CrossoverData.csv").read_text(),
                         "frequency,slope\n2200,24\n3000,12\n")
        self.tool("crossover", self.document, "--config", "Bi amp", "--name", "Again", "--limits", "again.csv")

    def test_what_is_damaged_blocks_nothing(self):
        self.tool("import", self.document, self.file("first.txt", "21 80 1\n31 81 2\n41 82 3\n"), SAMPLES_FOLDER / "impulse-stereo.wav",
                  self.file("third.txt", RESPONSE))
        self.tool("import", self.document, SAMPLES_FOLDER / "impulse-left.wav", "--room", "R", "--position", "P",
                  "--channel", "0")
        stereo, left = self.data()[1][3], "R/P/impulse-left"
        array = struct.pack("<4i3f", 0, 2, 0, 2, 21, 31, 41)  # the first datum's, 3 x 3, and copies in free sectors
        whole, unknown = (struct.pack("<HIH", 2, 2, kind) + array for kind in [4, 99])
        self.document.write_bytes(self.document.read_bytes().replace(whole, unknown))
        self.tool("check", self.document, status=INCOMPLETE)
        self.tool("compare", self.document, SAMPLES_FOLDER / "impulse-stereo.wav", "third.txt",
                  SAMPLES_FOLDER / "impulse-left.wav")
        for address in ["impulse-stereo", stereo, left]:
            self.tool("export", self.document, address, "-o", "one.wav", "--force")
        done = self.tool("export", self.document, "--all", "-o", "all", status=INCOMPLETE)
        self.assertIn("item 1 of Data cannot be read".lower(), done.stderr.lower())
        self.assertIn("3 of 3 arrays written to all", done.stderr)
        self.tool("import", self.document, self.file("fourth.txt", RESPONSE))
        self.tool("import", "--replace", self.document, "third.txt")
        self.tool("compare", self.document, "third.txt", "fourth.txt")
        unreadable = "member 1 of Data cannot be read"
        for line, status in [(["find", "third", self.document], DOCUMENT_FAILED),
                             (["diff", self.document, self.document], DOCUMENT_FAILED),
                             (["plot", self.document, "Data", "-o", "data.svg"], DONE),
                             (["export", self.document, "--all", "-o", "all.json"], INCOMPLETE),
                             (["remove", self.document, "third"], DONE)]:
            self.assertIn(unreadable, self.tool(*line, status=status).stderr, line)
        self.assertEqual(len(json.loads((self.folder / "all.json").read_text())["objects"][0]["Data"]), 3)
        self.tool("rename", self.document, "fourth", "third")
        self.tool("copy", self.document, "impulse-stereo", "--into", "other.lvp")
        merged = self.tool("merge", "other.lvp", self.document, status=INCOMPLETE)
        self.assertIn(unreadable, merged.stderr)
        self.assertEqual([each[0] for each in self.data("other.lvp")], ["impulse-stereo", "third"])


if __name__ == "__main__":
    unittest.main()
