"""Measurement files and outputs that fail: each is named with its reason, and nothing else suffers."""

import os
import pty
import subprocess
import unittest

from tool import INCOMPLETE, SAMPLES, TOOL, ToolTest


class BadFiles(ToolTest):
    def test_the_others_are_imported(self):
        bad = {
            self.file("words.txt", "nothing but words\n"): "words.txt: ",
            self.file("broken.txt", "20 80\n30 81\n40 x\n"): "broken.txt:3: expected 2 numbers",
            self.file("empty.csv", ""): "empty.csv: the file is empty",
            self.file("cut.wav", SAMPLES[0].read_bytes()[:200]): "cut.wav: ",
            self.folder: f"{self.folder}: Is a directory",
            self.folder / "missing.frd": "missing.frd: No such file or directory",
        }
        good = SAMPLES[:2]
        done = self.tool("import", self.document, good[0], *bad, good[1], status=INCOMPLETE)
        said = [good[0].stem, *bad.values(), good[1].stem, f"{self.document}: created",
                f"2 of {len(bad) + 2} files imported"]
        for line, words in zip(done.stderr.splitlines(), said, strict=True):  # in the order of the files
            self.assertIn(words, line)
        self.assertEqual([name for name, *_ in self.data()], [path.stem for path in good])
        self.tool("compare", self.document, *good)

    def test_nothing_readable_changes_nothing(self):
        broken = self.file("broken.txt", "20 x\n")
        refused = self.tool("import", self.document, broken, status=INCOMPLETE)
        self.assertIn("nothing was imported; the document was not created", refused.stderr)
        self.assertFalse(self.document.exists())
        self.import_samples()
        before = self.document.read_bytes()
        self.tool("import", self.document, broken, status=INCOMPLETE)
        self.assertEqual(self.document.read_bytes(), before)

    def test_exports_that_cannot_be(self):
        self.import_samples()
        there = self.file("there.csv", "precious")
        for name, output, words in [("woofer", "there.csv", "there.csv: the file exists already; --force"),
                                    ("woofer", "woofer.wav", "expected a sample rate above 0"),
                                    ("woofer", "woofer.xyz", "expected the extension .frd, .txt, .csv, .wav or .flac"),
                                    ("woofer", "missing/woofer.csv", "No such file or directory"),
                                    ("nobody", "nobody.csv", 'there is no "nobody" in /'),
                                    ("{00000000-0000-0000-0000-000000000000}", "nobody.csv", "no object of this ID"),
                                    ("", "nobody.csv", '"" has no array "Data"; there is WorkspaceData')]:
            with self.subTest(output=output, name=name):
                self.assertIn(words, self.tool("export", self.document, name, "-o", output, status=INCOMPLETE).stderr)
        self.assertEqual(sorted(self.folder.iterdir()), sorted([self.document, there]))
        self.assertEqual(there.read_text(), "precious")

    def test_comparing_goes_on(self):
        self.tool("import", self.document, SAMPLES[0])
        done = self.tool("compare", self.document, "missing.txt", SAMPLES[1], SAMPLES[0], status=INCOMPLETE)
        self.assertIn("missing.txt: No such file or directory", done.stderr)
        self.assertIn(f'{SAMPLES[1]}: the document has nothing named "{SAMPLES[1].stem}"', done.stderr)
        self.assertIn("1 of 3 files are the same bit for bit\n", done.stderr)


class Outputs(ToolTest):
    def run_into(self, stdout, *arguments):
        return subprocess.run([TOOL, *map(os.fspath, arguments)], stdout=stdout, stderr=subprocess.PIPE, timeout=300)

    def test_a_reader_that_leaves_stops_no_work(self):
        read, write = os.pipe()
        os.close(read)
        self.import_samples()
        for command in ["tree", "compare"]:
            done = self.run_into(write, command, "--quiet", self.document, *(SAMPLES if command == "compare" else []))
            self.assertEqual((done.returncode, done.stderr), (0, b""))
        os.close(write)

    def test_output_that_gets_lost_is_reported(self):
        self.import_samples()
        with open("/dev/full", "wb") as full:
            done = self.run_into(full, "tree", "--quiet", self.document)
        self.assertEqual((done.returncode, done.stderr), (1, b"lumvex: the output could not be written completely\n"))

    def test_progress_is_for_terminals(self):
        self.assertEqual(self.tool("import", "--quiet", self.document, *SAMPLES).stderr, "")
        ours, theirs = pty.openpty()
        subprocess.run([TOOL, "compare", self.document, *SAMPLES], stdout=subprocess.DEVNULL, stderr=theirs, check=True)
        os.close(theirs)
        shown = os.read(ours, 100_000).decode()
        os.close(ours)
        self.assertIn(f"comparing file 1 of {len(SAMPLES)}", shown)
        self.assertRegex(shown, r"\r\x1b\[K\d+ of \d+ files are the same bit for bit\r\n$")


if __name__ == "__main__":
    unittest.main()
