"""Corrections, crossover designs and processor configurations hold what they were made from."""

import re
import struct
import unittest

from tool import DOCUMENT_FAILED, INCOMPLETE, SAMPLES, WRONG_USAGE, ToolTest, float_wav

FOLDER = SAMPLES[0].parent
STEREO, FILTER, LIMITS = FOLDER / "impulse-stereo.wav", FOLDER / "design/correction.wav", FOLDER / "design/limits.csv"
MEASURED = "SpeakerEQs/Right/Bi amp/Measurements/impulse-stereo"
FLAT = "SpeakerEQs/Right/Bi amp/Corrections/Flat"


class Designs(ToolTest):
    def setUp(self):
        """Two speakers named Left, of two models, and one named Right, measured in Bi amp."""
        super().setUp()
        library = self.folder / "library.lvs"
        self.tool("catalogue", library, self.file("table.csv", "Acme,Alpha,Bi amp\nAcme,Alpha,Single amp\n"
                                                               "Acme,Beta,Bi amp\n"))
        mono = self.file("mono.wav", float_wav(1, [1, 2]))
        for speaker, model, config, experiment, file in [
                ("Left", "Acme/Alpha", "Bi amp", "Near", STEREO), ("Left", "Acme/Beta", "Bi amp", "Near", STEREO),
                ("Right", "Acme/Alpha", "Bi amp", "Near", STEREO), ("Right", "Acme/Alpha", "Single amp", "Far", mono)]:
            self.tool("import", self.document, "--library", library, "--speaker", speaker, "--model", model, "--config",
                      config, "--experiment", experiment, file)

    def correct(self, *arguments, speaker="Right", config="Bi amp", name="Flat", **options):
        return self.tool("correct", self.document, "--speaker", speaker, "--config", config, "--name", name, *arguments,
                         **options)

    def design(self, *arguments, config="Bi amp", name="LR", **options):
        return self.tool("crossover", self.document, "--config", config, "--name", name, *arguments, **options)

    def processor(self, table, *arguments, **options):
        return self.tool("processor", self.document, "--name", "Rack", self.file("positions.csv", table), *arguments,
                         **options)

    def lines(self, first):
        """The part of the tree that begins with this line: the line and all that is indented below it."""
        self.assertEqual(self.tool("check", self.document).stdout, f"{self.document}: the structure is sound\n")
        tree = self.tool("tree", self.document).stdout.splitlines()
        start = next(number for number, line in enumerate(tree) if line.lstrip().startswith(first))
        indent = len(tree[start]) - len(tree[start].lstrip())
        found = [tree[start]]
        for line in tree[start + 1:]:
            if len(line) - len(line.lstrip()) <= indent:
                break
            found.append(line)
        return [line.strip() for line in found]

    def identifier(self, line):
        tree = self.tool("tree", "--ids", self.document).stdout
        return re.search(rf"^ *{line}.*(\{{[-0-9A-F]{{36}}\}})$", tree, re.MULTILINE).group(1)

    def assert_kept(self, file, *array, item="Flat  "):
        """The array holds the file's bits."""
        other, exported = self.folder / "other.lvp", self.folder / file.name
        self.tool("export", self.document, self.identifier(item), *array, "--force", "-o", exported)
        self.tool("import", "--replace", other, file)
        self.tool("compare", other, exported)

    def assert_refused(self, words, run, *arguments, status=INCOMPLETE, **options):
        """The document is as it was before."""
        before = self.document.read_bytes()
        with self.subTest(words=words):
            done = run(*arguments, status=status, **options)
            self.assertIn(words, done.stderr)
            self.assertEqual(done.stdout, "")
            self.assertEqual(self.document.read_bytes(), before)

    def test_a_correction_keeps_its_filter_and_what_constrained_it(self):
        self.correct("--experiment", "near", "--smoothed", STEREO, "--limits", LIMITS, "--crossover", "2200:24", "--set",
                     "OptMethod=min-error", "--set", "filtchandelayms(6)=0.5", "--set", "MinphaseSmooth=-3", FILTER)
        self.assertEqual(self.lines("Corrections (1)")[1:], [
            "Flat  1024 x 2  44100 Hz  LimitData 5 x 4  CrossoverData 2 x 1  Data2 8192 x 2  MinphaseSmooth=-3"
            f"  FiltChanDelayMs(6)=0.5  OptMethod=min-error  Measurement -> {MEASURED}"])
        self.assert_kept(FILTER)
        self.assert_kept(STEREO, "--array", "Data2")
        self.assert_kept(STEREO, item="impulse-stereo  8192 x 2  44100 Hz  Experiment")
        # The values of one limit are neighbours in the array.
        rows = [[float(field) for field in line.split(",")] for line in LIMITS.read_text().splitlines()[1:]]
        self.assertIn(struct.pack("<20f", *sum(rows, [])), self.document.read_bytes())

    def test_a_second_run_needs_replace_and_leaves_the_rest(self):
        self.correct("--measurement", "impulse-stereo", "--set", "MagTol=0.5", FILTER)
        identifier = self.identifier("Flat")
        self.design("--speaker", "Right", "--experiment", "Near", "--correction", "Flat", "--set", "GDTol=2")
        self.processor("profile,position,speaker,correction,amplification\n"
                       "Profile 1,Right,Right,Flat,bi-amp-mono\n")
        self.assert_refused('has a correction "FLAT" already; --replace', self.correct, "--experiment", "Near",
                            name="FLAT")
        self.assert_refused('a design "lr" for "Bi amp" already; --replace', self.design, name="lr")
        self.assert_refused('a processor configuration "Rack" already; --replace', self.processor,
                            "profile,position\nBypass,Left\n")

        low, high = (self.file(f"{name}.wav", float_wav(1, [value, 0, 1])) for name, value in [("low", 1), ("high", 2)])
        self.correct("--replace", "--set", "GDTol=7", low, high)
        self.assertEqual(self.lines("Corrections (1)")[1:],
                         [f"Flat  3 x 2  96000 Hz  GDTol=7  MagTol=0.5  Measurement -> {MEASURED}"])
        self.assertEqual(self.identifier("Flat  3 x 2"), identifier)
        self.assert_kept(self.file("both.wav", float_wav(2, [1, 2, 0, 0, 1, 1])))

        self.design("--replace", "--speaker", "Right", "--experiment", "Near", "--scale", "0.25")
        self.assertEqual(self.lines("LR"), [
            "LR  GDTol=2", "SpkrMeasureLinks (1)", f"impulse-stereo  Scale=0.25  Measurement -> {MEASURED}",
            "SpkrCorrectionGroups (1)", "Flat", "SpkrCorrectionLinks (1)", f"Flat  Correction -> {FLAT}"])
        self.processor("Position;PROFILE;GaindB;;\nright;profile 1;-1,5;;\n", "--replace")
        self.assertEqual(self.lines("Profile 1")[-1], "Right  Mode=correction  ConfigID=bi-amp  CorrectionName=Flat"
                                                      "  SpeakerName=Right  GaindB=-1.5"
                                                      f"  Speaker -> SpeakerEQs/Right  Correction -> {FLAT}")

    def test_a_design_draws_on_several_speakers(self):
        for speaker in ["Acme/Alpha/Left", "acme/beta/left"]:
            for name in ["Flat", "[House]"]:
                self.correct("--experiment", "Near", speaker=speaker, name=name)
        both = ["--speaker", "Acme/Alpha/Left", "--speaker", "Acme/Beta/Left"]
        self.design(*both, "--measurement", "impulse-stereo", "--correction", "Flat", "--correction", "[House]",
                    "--crossover", "300:12", "--crossover", "2200.5:24", "--set", "CrossoverMethod=butterworth")
        lefts = [f"SpeakerEQs/Left[{place}]/Bi amp/" for place in [1, 2]]
        groups = [[name, "SpkrCorrectionLinks (2)", *(f"{name}  Correction -> {left}Corrections/{step}" for left in lefts)]
                  for name, step in [("Flat", "Flat"), ("[House]", "'[House]'")]]
        self.assertEqual(self.lines("CrossoverConfigs")[1:-2], [
            "Single amp", "Bi amp", "SpkrEQDesigns (1)", "LR  CrossoverData 2 x 2  CrossoverMethod=butterworth",
            "SpkrMeasureLinks (2)",
            *(f"impulse-stereo  Measurement -> {left}Measurements/impulse-stereo" for left in lefts),
            "SpkrCorrectionGroups (2)", *groups[0], *groups[1]])

    def test_the_help_names_what_a_new_configuration_has(self):
        self.tool("processor", self.document, "--name", "Rack")
        banks = self.tree_of(self.document, "BoxCfgs/Rack/Banks")["members"]
        profiles = [each["Name"] for each in banks]
        positions = [each["Name"] for each in banks[0]["Spkrs"]["members"]]
        said = self.tool("processor", "--help").stdout.split("A new configuration")[1].split("TABLE")[0]
        self.assertEqual(re.findall('"(.*?)"', said), [profiles[0], profiles[1], profiles[-1], *positions])

    def test_a_processor_plays_speakers_and_corrections(self):
        self.correct("--experiment", "Near", FILTER)
        self.processor("position,correction,speaker,profile,amplification,DelayMs,filterqhi(6),Mode\n"
                       "Left,Flat,Right,Profile 2,bi-amp-stereo,0.1,0.707,\n"
                       "Right,Flat,Acme/Alpha/Right,Profile 2,,,,bypass\n"
                       "Left,,Right,Profile 3,full-range-mono,,,\n",
                       "--text", "Studio", "--set", "XdA_Mute(16,6)=1", "--set", "XdA_DelayTweak(1,2)=-4")
        rack = self.lines("Rack")
        self.assertEqual(rack[0], "Rack  XdA_DelayTweak(1,2)=-4  XdA_Mute(16,6)=1  XdA_CustomText=Studio")
        start = rack.index("Profile 2  Config=bi-amp-stereo")
        played = f"Speaker -> SpeakerEQs/Right  Correction -> {FLAT}"
        names = "CorrectionName=Flat  SpeakerName=Right"
        self.assertEqual(rack[start + 2:start + 9], [
            f"Left  DelayMs=0.1  Mode=correction  ConfigID=bi-amp  {names}  FilterQHi(6)=0.707  {played}",
            "Left subwoofer  ConfigID=subwoofer", "Right subwoofer  ConfigID=subwoofer",
            f"Right  Mode=bypass  ConfigID=bi-amp  {names}  {played}", "Profile 3  Config=full-range-mono", "Spkrs (4)",
            "Left  SpeakerName=Right  Speaker -> SpeakerEQs/Right"])
        self.assert_refused("the position Left plays the correction \"Flat\", which is for another amplification",
                            self.processor, "profile,position,amplification\nProfile 2,Right,full-range-stereo\n",
                            "--replace")

    def test_refused(self):
        self.correct("--experiment", "Near", "--smoothed", STEREO, FILTER)
        mono, text = self.folder / "mono.wav", self.file("response.frd", "20 80 1\n30 81 2\n")
        fast = self.file("fast.wav", float_wav(2, [1, 2]))
        other = self.file("other.wav", float_wav(1, [1, 2]).replace(struct.pack("<I", 96000), struct.pack("<I", 48000)))
        bad_limits = self.file("limits.csv", "frequency;alpha;maximum;minimum;type\n20;1;6,5;-6;0\n30;1;x;-6;0\n")
        near, right = ["--experiment", "Near"], ["--speaker", "Right"]
        for words, run, arguments, options in [
                ('no speaker "Center"; there is Left, Left, Right', self.correct, near, {"speaker": "Center"}),
                ("say which: Acme/Alpha/Left, Acme/Beta/Left", self.correct, near, {"speaker": "left"}),
                ('no speaker "Acme/Gamma/Left"', self.correct, near, {"speaker": "Acme/Gamma/Left"}),
                ('no configuration "Quad amp", only Single', self.correct, near, {"config": "Quad amp"}),
                ('Acme/Alpha/Right has no configuration "Subwoofer"; there is', self.correct, near,
                 {"config": "Subwoofer"}),
                ('no experiment "Nowhere"; there is Near, Far', self.correct, ["--experiment", "Nowhere"],
                 {"name": "B"}),
                ('was taken with "Far"', self.correct, ["--experiment", "Far"], {"name": "B"}),
                ('no measurement "mono"', self.correct, ["--measurement", "mono"], {"name": "B"}),
                ("needs its --measurement or --experiment", self.correct, [FILTER], {"name": "B"}),
                ('it has 1 channel; a correction of "Bi amp" has 2', self.correct, [*near, mono], {"name": "B"}),
                ("and cannot be a channel beside", self.correct, [*near, FILTER, mono], {"name": "B"}),
                ("it is a frequency response", self.correct, [*near, text], {"name": "B"}),
                ("none.wav: No such file", self.correct, [*near, self.folder / "none.wav"], {"name": "B"}),
                ("its sample rate is 96000 Hz, and that of the correction 44100", self.correct,
                 [*near, "--verified", fast], {"name": "B"}),
                ("Hz, and the correction's other arrays are at 44100", self.correct, ["--replace", fast], {}),
                ("its sample rate is 48000 Hz, not 96000", self.correct, [*near, mono, other], {"name": "B"}),
                ("limits.csv:3: expected 5 numbers", self.correct, [*near, "--limits", bad_limits], {"name": "B"}),
                ('no correction "Bent"; there is Flat', self.design, [*right, "--correction", "Bent"], {}),
                ('no measurement "x"', self.design, [*right, "--measurement", "x"], {}),
                ('"right" is named twice', self.design, [*right, "--speaker", "right", *near], {}),
                ('"FLAT" is named twice', self.design, [*right, "--correction", "Flat", "--correction", "FLAT"], {}),
                ('has no configuration "Tri amp"', self.design, [*right, *near], {"config": "Tri amp"})]:
            self.assert_refused(words, run, *arguments, **options)

        header = "profile,position,speaker,correction,amplification,GaindB\n"
        for words, table in [
                ('csv:1: the header names no column "position"', "profile,speaker\n"),
                ('csv:1: there is no column "Loud"', "profile,position,Loud\n"),
                ('csv:1: the header names the column "GAINDB" twice', "profile,position,GaindB,GAINDB\n"),
                ("there are no rows below the header", header), ("the file is empty", ""),
                ("csv:2: expected 6 fields, found 2", header + "Profile 1,Left\n"),
                ("csv:2: a quotation mark is not closed", header + '"Profile 1,Left,,,,\n'),
                ('csv:2: there is no profile "Profile 4"; there is Bypass', header + "Profile 4,Left,,,,\n"),
                ('csv:3: there is no position "Middle"; there is Left', header + "Bypass,Left,,,,\nBypass,Middle,,,,\n"),
                ("csv:3: a line above has the same position", header + "Bypass,Left,,,,\nBYPASS,left,,,,\n"),
                ("csv:2: amplification: Config takes one of tri-amp,", header + "Bypass,Left,,,stereo,\n"),
                ("csv:3: the profile has another amplification",
                 header + "Bypass,Left,,,tri-amp,\nBypass,Right,,,bi-amp-mono,\n"),
                ("csv:2: GaindB takes a number (dB), found", header + "Bypass,Left,,,,loud\n"),
                ("csv:2: a correction needs its speaker", header + "Bypass,Left,,Flat,,\n"),
                ('has no configuration "Tri amp"', header + "Bypass,Left,Right,,,\n"),
                ('has in "Single amp" no correction "Flat"; there is none',
                 header + "Bypass,Left,Right,Flat,full-range-mono,\n")]:
            self.assert_refused(words, self.processor, table)
        for words, value in [
                ("LimitData takes in column 2 a frequency above the one before", "LimitData=[[20,1,2,1,4],[20,1,2,1,4]]"),
                ("LimitData takes in column 1 a maximum above the minimum", "LimitData=[[20,1,1,1,4]]"),
                ("CrossoverData takes in column 1 a slope above 0", "CrossoverData=[[20,0]]"),
                ("CrossoverData takes a column of 2 numbers for each entry (frequency, slope)", "CrossoverData=[20]")]:
            self.assert_refused(words, self.tool, "set", self.document, "Right/Bi amp/Corrections/Flat", value)
        self.assert_refused("it is a library; speakers", self.tool, "processor", "library.lvs", "--name", "Rack")
        self.assert_refused("there is no such file", self.tool, "correct", "none.lvp", *right, "--config", "Bi amp",
                            "--name", "Flat", status=DOCUMENT_FAILED)
        self.assertFalse((self.folder / "none.lvp").exists())

    def test_wrong_usage(self):
        for words, run, arguments in [
                ('Correction has no setting "Loudness"; there is ActMagError', self.correct, ["--set", "Loudness=1"]),
                ("expected NAME=VALUE", self.correct, ["--set", "MagTol"]),
                ("MinphaseSmooth takes a whole number", self.correct, ["--set", "MinphaseSmooth=0.5"]),
                ("OptMethod takes one of min-delay, min-error", self.design, ["--set", "OptMethod=2"]),
                ("MagTol takes a number of at least 0 (dB), found", self.correct, ["--set", "MagTol=-1"]),
                ("MagTol takes a number of at least 0 (dB) with a decimal point: 3.5, not", self.correct,
                 ["--set", "MagTol=3,5"]),
                ("a number with a decimal point, such as 0.5", self.design,
                 ["--speaker", "Right", "--experiment", "Near", "--scale", "0,5"]),
                ("XdA_FIR takes a whole number from 0 to 32767", self.processor, ["", "--set", "XdA_FIR(1)=32768"]),
                ('there is no "XdA_Mute(17,1)", only XdA_Mute(1..16,1..6)', self.processor,
                 ["", "--set", "XdA_Mute(17,1)=1"]),
                ("such as 2200:24", self.design, ["--crossover", "2200"]),
                ("--speaker", self.design, ["--experiment", "Near"]),
                ("--speaker requires", self.design, ["--speaker", "Right"]),
                ("--scale requires", self.design, ["--speaker", "Right", "--correction", "Flat", "--scale", "2"]),
                ("a name is empty", self.design, ["--speaker", ""]),
                ("excludes", self.correct, ["--experiment", "Near", "--measurement", "impulse-stereo"])]:
            self.assert_refused(words, run, *arguments, status=WRONG_USAGE)


if __name__ == "__main__":
    unittest.main()
