"""Files land where an import says: microphones and catalogues of a library, speakers and rooms of a project."""

import json
import os
import unittest

from tool import DOCUMENT_FAILED, INCOMPLETE, WRONG_USAGE, ToolTest, float_wav

CALIBRATION = "Sens Factor =-1.5dB, SERNO: 42\n20 -1\n200 0\n2000 1\n"


class Places(ToolTest):
    def setUp(self):
        super().setUp()
        self.library = self.folder / "library.lvs"

    def tree(self, document):
        """The lines below the file's name, each without the blanks that indent it."""
        lines = self.tool("tree", document).stdout.splitlines()
        self.assertEqual(self.tool("check", document).stdout, f"{document}: the structure is sound\n")
        return [line.strip() for line in lines[1:]]

    def fill_library(self):
        table = self.file("table.csv", "Acme,Alpha,Bi amp\nAcme,Alpha,Subwoofer\nAcme/Sons,A/B,Single amp\n")
        self.tool("catalogue", self.library, table)


class Libraries(Places):
    def test_calibrations_become_microphones(self):
        named = self.file("lab.txt", CALIBRATION)
        nameless = self.file("spare.txt", "* Microphone calibration: spare\n20 0 0\n200 1 0\n")
        response = self.file("woofer.frd", "20 80 1\n200 81 2\n")
        refused = self.tool("import", self.library, named, response, nameless, status=INCOMPLETE)
        self.assertIn("woofer.frd: it is no microphone calibration", refused.stderr)
        self.assertIn("lab.txt -> 42: 3 x 2, calibration, sensitivity -1.5 dB", refused.stderr)
        expected = ["42  6 x 1  Scale=-1.5", "spare  6 x 1"]
        self.assertEqual(self.tree(self.library)[1:], expected)
        self.assertIn("CMicrophone", self.tool("info", self.library).stdout)

        before = self.library.read_bytes()
        taken = self.tool("import", self.library, named, status=INCOMPLETE).stderr
        self.assertIn('the library has a microphone named "42" already', taken)
        self.assertEqual(self.library.read_bytes(), before)
        self.file("lab.txt", CALIBRATION + "20000 2\n")
        self.tool("import", "--replace", self.library, named)
        self.assertIn("42  8 x 1  Scale=-1.5", self.tree(self.library))
        self.tool("compare", self.library, named, nameless)
        self.assertIn("lab.txt -> Lab 42: ",
                      self.tool("import", self.folder / "other.lvs", named, "--prefix", "Lab ").stderr)
        # What the library has of them makes the same files again.
        for name, original, header in [("42", named, '"Sens Factor =-1.5dB, SERNO: 42"'), ("spare", nameless, "* Mic")]:
            self.tool("export", self.library, f"Microphones/{name}", "-o", f"{name}.csv")
            exported = self.folder / f"{name}.csv"
            self.assertTrue(exported.read_text().startswith(header), exported.read_text())
            again = self.folder / f"again-{name}.lvs"
            self.tool("import", again, exported, "--name", name)
            self.tool("compare", again, original, "--name", name)
        one = self.file("one.txt", "Sens Factor =1dB, SERNO: 1\n20 -1\n30 -2\n")
        self.tool("import", self.library, one)
        self.tool("compare", self.library, one)
        self.file("one.txt", "Sens Factor =2dB, SERNO: 1\n20 -1\n30 -2\n")
        self.assertIn("1: differs: sensitivity: 1 dB in the document, 2 dB in the file",
                      self.tool("compare", self.library, one, status=INCOMPLETE).stdout)
        falling = self.file("falling.txt", "SERNO: 77\n30 -1\n20 -2\n")
        self.assertIn("a library knows frequencies by their rising",
                      self.tool("import", self.library, falling, "--force", status=INCOMPLETE).stderr)

    def test_a_catalogue_goes_in_but_for_bad_rows(self):
        table = self.file("table.csv", "\ufeffManufacturer; Model ;Configuration\r\n"
                                       'Acme;"A; ""x""";Bi amp\r\n'
                                       "\r\n"
                                       "ACME;a; TRI AMP ;;\r\n"
                                       'Acme;"open;Bi amp\r\n'
                                       "Acme;;Bi amp\r\n"
                                       "Acme;A\r\n"
                                       "Acme;A;Quad amp\r\n"
                                       'Acme;"A"B;Bi amp\r\n'
                                       "acme;A;Tri amp")
        done = self.tool("catalogue", self.library, table, status=INCOMPLETE)
        problems = [line.partition("table.csv:")[2] for line in done.stderr.splitlines()[:-2]]
        for problem, words in zip(problems, ["5: a quotation mark is not closed", "6: the model is empty",
                                             "7: expected 3 fields", '8: there is no configuration "Quad amp", only',
                                             "9: text follows a closing quotation mark"], strict=True):
            self.assertTrue(problem.startswith(words), problem)
        self.assertIn("3 of 8 rows are in", done.stderr)
        self.assertIn("added 1 manufacturer, 2 models, 2 configurations", done.stderr)
        self.assertEqual([line for line in self.tree(self.library) if "(" not in line],
                         ["Acme", 'A; "x"', "Bi amp", "a", "Tri amp"])

        before = self.library.read_bytes()
        self.file("table.csv", "Acme,a,tri amp\n")
        self.tool("catalogue", self.library, table)
        self.assertEqual(self.library.read_bytes(), before)
        self.file("table.csv", "configuration\tmodel\tManufacturer\nBi amp\tX\tYard\n")
        self.assertIn("added 1 manufacturer, 1 model, 1 configuration", self.tool("catalogue", self.library, table).stderr)
        self.assertIn("Yard", self.tree(self.library))

    def test_refused_catalogues_leave_no_trace(self):
        good, bad = self.file("good.csv", "A,B,Bi amp\n"), self.file("bad.csv", "A,B\n")
        self.tool("import", self.document, self.file("one.txt", "20 80\n30 81\n"))
        for document, table, words in [(self.library, bad, "bad.csv:1: expected 3 fields"),
                                       (self.library, self.file("empty.csv", ""), "the file is empty"),
                                       (self.library, self.folder / "none.csv", "No such file"),
                                       (self.library, self.folder, "directory"),
                                       (self.document, good, "it is a project, not a library"),
                                       (self.folder / "new.lvp", good, "a new library has to be called .lvs")]:
            with self.subTest(words=words):
                self.assertIn(words.lower(), self.tool("catalogue", document, table, status=INCOMPLETE).stderr.lower())
        self.assertFalse(self.library.exists() or (self.folder / "new.lvp").exists())


class Projects(Places):
    def speaker(self, *arguments, config="Bi amp", model="Acme/Alpha", **options):
        return self.tool("import", self.document, "--speaker", "Left", "--experiment", "Near", "--config", config,
                         *(["--model", model] if model else []), *arguments, **options)

    def test_measurements_of_a_speaker(self):
        self.fill_library()
        stereo = self.file("both.wav", float_wav(2, [0.5, 0.25, 0, 1]))
        low, high = (self.file(f"way-{name}.wav", float_wav(1, [1, value]))
                     for name, value in [("low", 0), ("high", 1)])
        self.speaker("--library", self.library, stereo)
        self.speaker(low, high)
        text = self.file("low.txt", "20 80 -5\n30 81 -6\n40 82 -7\n")
        refused = self.speaker(text, config="Subwoofer", status=INCOMPLETE).stderr
        self.assertIn("a speaker keeps impulse responses; without --speaker it becomes named data (--as data",
                      refused)
        self.speaker("--to-impulse", "48000", text, config="Subwoofer")
        self.tool("import", self.document, "--speaker", "Right", "--model", "acme/sons/a/b", "--config", "single AMP",
                  "--experiment", "near", low)
        tree = self.tree(self.document)
        near, models = "Experiment -> Experiments/Near", "Model -> Specifications/Manufacturers/"
        measured = "Measurement -> SpeakerEQs/Left/"
        for line in [f"Left  {models}Acme/Alpha", f"both  2 x 2  96000 Hz  {near}", f"way  2 x 2  96000 Hz  {near}",
                     f"low  65536 x 1  48000 Hz  MeasureStart=170.66667  {near}",
                     f"Right  {models}'Acme/Sons'/'A/B'", f"way-low  2 x 1  96000 Hz  {near}",
                     f"both  {measured}Bi amp/Measurements/both", f"way  {measured}Bi amp/Measurements/way",
                     f"low  {measured}Subwoofer/Measurements/low",
                     "way-low  Measurement -> SpeakerEQs/Right/Single amp/Measurements/way-low"]:
            self.assertEqual(tree.count(line), 1, f"{line} in {tree}")

    def test_what_leads_nowhere_is_told(self):
        self.fill_library()
        self.speaker("--library", self.library, self.file("both.wav", float_wav(2, [0.5, 0.25, 0, 1])))
        self.tree(self.document)  # all is well
        self.tool("remove", "--force", self.document, "Left/Bi amp/Measurements/both")
        found = self.tool("check", self.document, status=INCOMPLETE).stdout
        self.assertRegex(found, r"CExpMeasureLink \{[-0-9A-F]{36}\}: it (refers to|links to no) CMeasurement")
        self.assertIn(f"{self.document}: the structure is sound, but 1 reference leads nowhere\n", found)

        whole = self.library.read_bytes()
        self.tool("remove", self.library, "Manufacturers/*")
        found = self.tool("check", self.document, status=INCOMPLETE).stdout
        for owner, target in [("CSpeakerEQ", "CModel"), ("CSpkrEQConfig", "CModelConfig")]:
            self.assertRegex(found, rf"{owner} \{{.*\}}: it refers to {target} \{{.*\}}, which the library does not have")
        self.assertIn("but 3 references lead nowhere\n", found)
        self.library.write_bytes(whole)

        self.library.rename(self.folder / "elsewhere.lvs")
        found = self.tool("check", self.document, status=INCOMPLETE).stdout
        self.assertIn(f"{self.document}: the library that it is linked to was not found: {self.library}\n", found)
        self.assertIn(f"{self.library}, which was not found\n", self.tool("info", self.document).stdout)
        path, whole = str(self.library).encode("utf-16-le"), self.document.read_bytes()
        self.assertIn(path, whole)
        self.document.write_bytes(whole.replace(path, path[:-2] + b"\0\0"))  # damaged: a name with a zero is none
        found = self.tool("check", self.document, status=INCOMPLETE).stdout
        self.assertRegex(found, "the library that it is linked to was not found: .*library.lv\N{SYMBOL FOR NULL}\n")
        self.assertIn("which was not found", self.tool("info", self.document).stdout)
        self.document.write_bytes(whole)
        missing = self.folder / "missing.lvp"
        several = self.tool("check", "--json", missing, self.folder, status=DOCUMENT_FAILED)
        told = {os.path.basename(each["document"]): each for each in json.loads(several.stdout)}
        self.assertEqual(list(told), ["missing.lvp", "elsewhere.lvs", "project.lvp"])
        self.assertIn("there is no such file (status 0x80030002)", told["missing.lvp"]["error"])
        self.assertEqual(told["elsewhere.lvs"], {"document": str(self.folder / "elsewhere.lvs"), "sound": True,
                                                 "problems": [], "lost": []})
        self.assertEqual((told["project.lvp"]["sound"], len(told["project.lvp"]["lost"])), (True, 1))
        self.assertEqual(told["project.lvp"]["library"]["found"], False)
        (self.folder / "elsewhere.lvs").rename(self.library)
        facts = json.loads(self.tool("info", "--json", self.document, self.library).stdout)
        self.assertEqual([each["rootClass"] for each in facts], ["CProject", "CSpecifications"])
        self.assertEqual(facts[0]["library"], {"id": facts[1]["id"], "path": str(self.library), "found": True})
        self.assertEqual(facts[0]["units"], "metric")

    def test_refused_measurements_of_a_speaker(self):
        self.fill_library()
        mono, longer = self.file("mono.wav", float_wav(1, [1, 2])), self.file("longer.wav", float_wav(1, [1, 2, 3]))
        text, other = self.file("a.txt", "20 80 -5\n30 81 -6\n"), self.file("b.txt", "20 80 -5\n31 81 -6\n")
        self.tool("import", self.document, text)
        calibration = self.file("lab.txt", CALIBRATION)
        self.speaker("--library", self.library, self.file("both.wav", float_wav(2, [0.5, 0.25])))
        before = self.document.read_bytes()
        for arguments, options, words in [
                ([mono], {}, 'it has 1 channel; a measurement of "Bi amp" has 2'),
                (["both.wav"], {}, 'has a measurement named "both" already'),
                (["both.wav"], {"config": "Subwoofer"}, 'it has 2 channels; a measurement of "Subwoofer" has 1'),
                ([mono, longer], {}, "it has 3 rows, not 2"),
                ([text, other], {}, "b.txt: it is a frequency response"),
                ([calibration], {}, "it is the calibration"),
                ([mono, self.folder / "none.wav"], {}, "it has 1 channel"),
                ([mono], {"config": "Quad amp"}, 'no configuration "Quad amp", only Single amp'),
                ([mono], {"config": "Tri amp"}, 'the library has no configuration "Tri amp" of the model Alpha'),
                ([mono], {"model": "Acme/Omega"}, 'has no model "Acme/Omega"')]:
            with self.subTest(words=words):
                self.assertIn(words, self.speaker(*arguments, status=INCOMPLETE, **options).stderr)
                self.assertEqual(self.document.read_bytes(), before)
        self.assertIn("kept in projects", self.tool(
            "import", self.library, "--room", "R", "--position", "P", "--channel", "0", mono, status=INCOMPLETE).stderr)

    def test_a_speaker_needs_its_model_once(self):
        mono = self.file("mono.wav", float_wav(1, [1, 2]))
        for model, words in [(None, "its model has to be known"), ("Acme/Alpha", "--library LIB.lvs gives it one")]:
            refused = self.speaker(mono, config="Subwoofer", model=model, status=INCOMPLETE)
            self.assertIn(words, refused.stderr)
            self.assertFalse(self.document.exists())
        self.speaker("--library", self.library, mono, status=DOCUMENT_FAILED)
        self.fill_library()
        self.speaker("--library", self.library, mono, config="Subwoofer")
        self.library.unlink()
        again = self.file("again.wav", float_wav(1, [3, 4]))
        self.speaker(again, config="Subwoofer", model=None)
        self.assertIn("again  2 x 1  96000 Hz  Experiment -> Experiments/Near", self.tool("tree", self.document).stdout)

    def test_measurements_of_a_room(self):
        left, right = (self.file(f"{name}.wav", float_wav(1, [1, 0])) for name in ["left", "right"])
        for position, channel, files in [("Listener", 0, [left]), ("listener", 1, [right]), ("Sofa", 1, [left])]:
            self.tool("import", self.document, "--room", "Studio", "--position", position, "--channel", str(channel),
                      *files)
        self.assertIn("Listener/left: the same", self.tool("compare", self.document, left, right).stdout)
        self.assertEqual([line for line in self.tree(self.document) if "(" not in line],
                         ["Studio", "Listener", "left  2 x 1  96000 Hz", "right  2 x 1  96000 Hz  Channel=1",
                          "Sofa", "left  2 x 1  96000 Hz  Channel=1"])

    def test_incomplete_places_are_wrong_usage(self):
        mono = self.file("mono.wav", float_wav(1, [1, 2]))
        for arguments in [["--speaker", "S"], ["--speaker", "S", "--config", "Bi amp"], ["--config", "Bi amp"],
                          ["--room", "R"], ["--room", "R", "--position", "P"], ["--position", "P"], ["--channel", "1"],
                          ["--room", "R", "--position", "P", "--channel", "x"], ["--model", "A/B"], ["--library", "l"],
                          ["--room", "", "--position", "P", "--channel", "1"],
                          ["--room", "R", "--position", "P", "--channel", "1", "--speaker", "S", "--config", "Bi amp",
                           "--experiment", "E"]]:
            with self.subTest(arguments=arguments):
                self.tool("import", self.document, *arguments, mono, status=WRONG_USAGE)
        self.assertFalse(self.document.exists())


if __name__ == "__main__":
    unittest.main()
