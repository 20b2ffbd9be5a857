"""What goes into a document comes out of it, bit for bit, under the names people use."""

import os
import re
import struct
import unittest

from tool import INCOMPLETE, SAMPLES, SAMPLES_FOLDER, WRONG_USAGE, ToolTest, command_names, document_use, float_wav, \
    help_of


class RoundTrip(ToolTest):
    def test_samples_come_back(self):
        imported = self.tool("import", self.document, *SAMPLES).stderr
        self.assertIn("microphone.txt -> microphone: 264 x 2, calibration, sensitivity -12.34 dB, serial number 7000042\n", imported)
        self.assertIn(f"{len(SAMPLES)} of {len(SAMPLES)} files imported into {self.document}\n", imported)

        compared = self.tool("compare", "--statistics", self.document, *SAMPLES)
        self.assertEqual(compared.stdout.count(": the same, "), len(SAMPLES))
        self.assertRegex(compared.stderr, rf"(?m)^{len(SAMPLES) + 2} objects loaded, \d+ bytes read\n$")

        data = {name: (rate, shape) for name, rate, shape, _ in self.data()}
        self.assertEqual(set(data), {"microphone (header)", *(path.stem for path in SAMPLES)})
        self.assertEqual(data["impulse-stereo"], (44100, "8192 x 2"))
        self.assertEqual(data["woofer"], (0, "479 x 3"))
        self.assertEqual(self.tool("check", self.document).stdout, f"{self.document}: the structure is sound\n")

    def test_exported_files_hold_the_same_bits(self):
        self.import_samples()
        for name, rate, _, identifier in self.data():
            if name == "microphone (header)":
                continue
            for extension in [".wav", ".txt", ".csv"] if rate else [".frd", ".txt", ".csv"]:
                with self.subTest(name=name, extension=extension):
                    exported = self.folder / (name + extension)
                    self.tool("export", self.document, identifier, "-o", exported)
                    self.tool("compare", self.document, exported)

    def test_a_compacted_document_holds_the_same(self):
        self.import_samples()
        before = self.document.stat().st_size
        told = self.tool("compact", self.document).stderr
        now = self.document.stat().st_size
        self.assertEqual(told, f"{self.document}: {before} bytes before, {now} now\n")
        self.assertLessEqual(now, before)
        compared = self.tool("compare", self.document, *SAMPLES).stdout
        self.assertEqual(compared.count(": the same, "), len(SAMPLES))
        self.assertEqual(self.tool("check", self.document).stdout, f"{self.document}: the structure is sound\n")

    def test_comparing_loads_only_what_is_asked_for(self):
        self.import_samples()
        first = self.tool("compare", "--statistics", self.document, SAMPLES[0]).stderr
        self.assertRegex(first, r"(?m)^3 objects loaded, ")  # a header would be behind the datum

    def test_every_difference_is_found(self):
        one = self.file("one.txt", "20 80 1\n30 81 2\n40 82 3\n")
        self.tool("import", self.document, one)
        for content, words in [("20 80 1\n30 81.00001 2\n40 82 3\n", "row 2, column 2: 81 in the document, 81.0000076"),
                               ("20 80\n30 81\n40 82\n", "3 x 3 in the document, 3 x 2 in the file"),
                               ("20 80 1\n30 81 2\n", "3 x 3 in the document, 2 x 3 in the file"),
                               ("20 80 1\n30 81 2\n40 82 -0\n", "row 3, column 3: 3 in the document, -0 in the file")]:
            with self.subTest(words=words):
                self.file("one.txt", content)
                compared = self.tool("compare", self.document, one, status=INCOMPLETE).stdout
                self.assertIn("one: differs: " + words, compared)

    def test_names_of_any_script_and_form(self):
        names = ["Lautsprecher äöü", "динамик", "スピーカー", "مكبر", "e\u0301 é", "🔊", "[a,b]", "[x]", "{}", "-o", "--help",
                 "import", "a\nb", "x" * 251]
        files = [self.file(name + ".txt", f"20 {number}\n30 81\n") for number, name in enumerate(names)]
        # A shell's pattern gives names without a folder; after "--" none of them is taken for an option.
        self.tool("import", self.document, "--", *(path.name for path in files))
        self.assertEqual([name for name, *_ in self.data()], names)
        self.tool("compare", self.document, "--", *(path.name for path in files))
        for number, name in enumerate(names):
            with self.subTest(name=name):
                self.tool("export", self.document, "-o", "exported.csv", "--force", "--", name)
                self.assertIn(f"20,{number}\n", (self.folder / "exported.csv").read_text())

    def test_a_taken_name_needs_replace(self):
        self.tool("import", self.document, self.file("one.txt", "20 80\n30 81\n"))
        before, (_, _, _, identifier) = self.document.read_bytes(), self.data()[0]
        other = self.file("ONE.csv", "20,90\n30,91\n40,92\n")
        refused = self.tool("import", self.document, other, status=INCOMPLETE).stderr
        self.assertIn('the document has a datum named "ONE" already; --replace', refused)
        self.assertEqual(self.document.read_bytes(), before)
        self.tool("import", "--replace", self.document, other)
        self.assertEqual(self.data(), [("one", 0, "3 x 2", identifier)])
        # Two files of one import cannot both be the datum, whether it was there or not.
        twice = self.tool("import", "--replace", self.document, "one.txt", "ONE.csv", status=INCOMPLETE)
        self.assertIn('ONE.csv: the name "ONE" is that of another file', twice.stderr)
        self.assertEqual(self.data(), [("one", 0, "2 x 2", identifier)])

    def test_arrays_of_unusual_shapes(self):
        shapes = [(1, 1), (2, 1), (1, 2), (64, 3), (1, 300_000)]
        files = [self.file(f"{rows} x {columns}.wav", float_wav(columns, [i / 1000 for i in range(rows * columns)]))
                 for columns, rows in shapes]
        self.tool("import", self.document, *files)
        self.tool("compare", self.document, *files)
        self.assertEqual([(name, shape) for name, _, shape, _ in self.data()],
                         [(f"{rows} x {columns}",) * 2 for columns, rows in shapes])

    def test_the_datum_is_dated_as_the_file(self):
        path = self.file("one.txt", "20 80\n30 81\n")
        os.utime(path, (1_000_000_000, 1_000_000_000))
        self.tool("import", self.document, path, env={**os.environ, "TZ": "LOCAL-5:30"})
        days, seconds = divmod(1_000_000_000 + 5 * 3600 + 30 * 60, 86400)
        since_1899 = 25569 + days + seconds / 86400
        self.assertIn(struct.pack("<d", since_1899), self.document.read_bytes())

    def test_info_counts_what_is_there(self):
        self.import_samples()
        facts = dict(line.strip().split(maxsplit=1) for line in self.tool("info", self.document).stdout.splitlines()
                     if not line.startswith(("root class", "version support")))
        self.assertEqual(facts["CDatum"], str(len(SAMPLES) + 1))
        self.assertEqual(facts["objects"], str(len(SAMPLES) + 3))
        self.assertEqual(facts["file"], f"{self.document.stat().st_size} bytes in sectors of 512")
        self.assertIn(facts["ID"], self.tool("tree", "--ids", self.document).stdout.splitlines()[0])
        self.assertIn("version support          0, can be read and written", self.tool("info", self.document).stdout)


class Usage(ToolTest):
    def test_help_of_every_command_tells_the_exit_statuses(self):
        for command in command_names():
            last = r".*\n  3 " if document_use(command) != "none" else ""
            self.assertRegex(help_of(command), r"(?s)Exit status:\n  0 .*\n  1 .*\n  2 " + last)

    def test_readme_lists_every_command(self):
        readme = (SAMPLES_FOLDER.parent / "README.md").read_text(encoding="utf-8")
        table = readme.partition("| command | what it does |\n")[2].partition("\n\n")[0]
        self.assertEqual(re.findall(r"^\| `(\w+)` ", table, re.MULTILINE), command_names())

    def test_wrong_usage_does_nothing(self):
        sample = SAMPLES[0]
        for arguments in [[], ["--wrong"], ["nothing", "x"], ["help", "--as", "x"], ["import"], ["import", "new.lvp"],
                          ["import", "--wrong", "new.lvp", sample], ["tree"], ["tree", "a", "b", "c"], ["info"], ["check"],
                          ["export", "new.lvp", "x"], ["export", "new.lvp", "x", "-o"], ["compare", "new.lvp"],
                          ["import", "new.lvp", "--room", "R", "--position", "P", "--channel", "", sample]]:
            with self.subTest(arguments=arguments):
                refused = self.tool(*arguments, status=WRONG_USAGE)
                self.assertEqual(refused.stdout, "")
                self.assertIn("lumvex help", refused.stderr)
        self.assertEqual(list(self.folder.iterdir()), [])


if __name__ == "__main__":
    unittest.main()
