"""Documents go from this system's tool to the server and the tool for Windows, and back."""

import os
import pathlib
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, os.fspath(pathlib.Path(__file__).resolve().parent.parent / "documents"))
from tool import DOCUMENT_FAILED, DONE, SAMPLES, TOOL, ToolTest  # noqa: E402

WINE = os.environ["LUMVEX_WINE"]
WINDOWS_TOOL = os.environ["LUMVEX_WINDOWS_TOOL"]
AGREED = 42  # what a script ends with when it came to its end; one that fails ends with 0

SUMS = """
Set project = CreateObject("Lumvex-Dev.Project")
project.AccessMode = 1
project.SafeArrayType = 12
project.OpenFile WScript.Arguments.Item(0)
For Each datum In project.Data
  values = datum.Data
  sum = 0
  For Each value In values
    sum = sum + value
  Next
  WScript.Echo datum.ID & " " & datum.SampleRate & " " & sum
Next
WScript.Quit 42
"""

ADD = """
Set project = CreateObject("Lumvex-Dev.Project")
project.OpenFile WScript.Arguments.Item(0)
Set datum = project.Data.Add(WScript.Arguments.Item(1))
datum.Data = Array(0.5, -1.25, 3.0)
datum.SampleRate = 44100
project.Data.Remove 1
project.SaveFile
WScript.Quit 42
"""


class Exchange(ToolTest):
    def wine(self, status, *arguments):
        done = subprocess.run([WINE, *map(windows_text, arguments)], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=300)
        self.assertEqual(done.returncode, status, done.stdout + done.stderr)
        return done.stdout.decode("utf-8").replace("\r\n", "\n"), done.stderr.decode("utf-8")

    def script(self, text, *arguments):
        return self.wine(AGREED, "cscript", "//nologo", self.file("script.vbs", text), *arguments)[0]

    def deep_folder(self):
        """One whose path is longer than the 260 characters that plain functions of Windows take."""
        folder = self.folder.joinpath(*["x" * 49 + "\u0416\u65e5\u00e9"] * 6)
        folder.mkdir(parents=True)
        return folder

    def test_the_server_reads_what_the_tool_wrote_and_changes_it(self):
        self.import_samples()
        # Exactly representable, so that sums are the same in every order.
        self.tool("import", self.document, self.file("\u00e9 exact.csv", "20,0.5\n30,-4.25\n40,8\n"))
        before = self.data()
        lines = [line.split(" ") for line in self.script(SUMS, self.document).splitlines()]
        self.assertEqual([(line[0], int(line[1])) for line in lines], [(each[3], each[1]) for each in before])
        self.assertEqual(float(lines[-1][2]), 20 + 30 + 40 + 0.5 - 4.25 + 8)

        self.script(ADD, self.document, "\u0416\u65e5 added")
        after = self.data()
        self.assertEqual(after[:-1], before[1:])
        self.assertEqual(after[-1][:3], ("\u0416\u65e5 added", 44100, "3 x 1"))
        self.tool("check", self.document)
        kept = [path for path in SAMPLES if path.stem in {name for name, *_ in after}]
        self.assertGreater(len(kept), 3)
        self.tool("compare", self.document, *kept)

    def test_the_tool_reads_what_the_server_made(self):
        made = self.deep_folder() / "\u0416\u65e5.lvp"
        self.script('Set project = CreateObject("Lumvex-Dev.Project")\n'
                    'Set datum = project.Data.Add("made there")\n'
                    'datum.Data = Array(0.5, -1.25, 3.0)\n'
                    'datum.SampleRate = 48000\n'
                    'project.SaveFileAs WScript.Arguments.Item(0)\n'
                    'WScript.Quit 42\n', made)
        self.assertEqual([each[:3] for each in self.data(made)], [("made there", 48000, "3 x 1")])
        self.tool("check", made)
        self.tool("export", made, "made there", "-o", self.folder / "made there.wav")
        self.tool("compare", made, self.folder / "made there.wav")

    def test_both_tools_read_and_write_the_same(self):
        document = self.deep_folder() / "\u0416\u65e5.lvp"
        files = [*SAMPLES, self.file("\u65e5 \u00e9.csv", "20,1\n30,2\n")]
        _, said = self.wine(DONE, WINDOWS_TOOL, "import", document, *files)
        self.assertIn(f"{len(files)} of {len(files)} files imported", said)
        self.tool("compare", document, *files)
        self.assertIn("\u65e5 \u00e9", [name for name, *_ in self.data(document)])
        shown, _ = self.wine(DONE, WINDOWS_TOOL, "tree", "--ids", document)
        # The last line counts bytes that were read, and the first names the document as it was given.
        self.assertEqual(shown.splitlines()[1:-1], self.tool("tree", "--ids", document).stdout.splitlines()[1:-1])
        self.wine(DONE, WINDOWS_TOOL, "check", document)
        for name in ["impulse-stereo.wav", "impulse-stereo.flac", "woofer.csv"]:
            self.wine(DONE, WINDOWS_TOOL, "export", document, pathlib.Path(name).stem, "-o", self.folder / name)
            self.tool("compare", document, self.folder / name)
            self.wine(DONE, WINDOWS_TOOL, "compare", document, self.folder / name)
        for device in ["NUL", "nul", r"C:\NUL"]:
            self.wine(DONE, WINDOWS_TOOL, "export", document, "woofer", "-o", device)
        self.wine(DONE, WINDOWS_TOOL, "report", document, "-o", "NUL")
        _, said = self.wine(DOCUMENT_FAILED, WINDOWS_TOOL, "repair", document, "NUL")
        self.assertIn("NUL: cannot be made: it is a device", said)
        self.assertEqual([path for path in self.folder.rglob("*") if path.name.lower() == "nul"], [])
        # Several documents are searched in as many processes as there are processors, each started with this line.
        (self.folder / "many").mkdir()
        (self.folder / "many/broken.lvp").write_bytes(b"no document")
        for number in range(5):
            shutil.copy(document, self.folder / f"many/\u65e5 {number}.lvp")
        found, said = self.wine(DOCUMENT_FAILED, WINDOWS_TOOL, "find", "*", ".")  # and the one that is so deep
        native = self.tool("find", "*", ".", status=DOCUMENT_FAILED)
        self.assertIn(f"{document.name}: Data/woofer\n", native.stdout)
        self.assertEqual(found.replace("\\", "/"), native.stdout)
        self.assertEqual(said.replace("\\", "/").replace("\r\n", "\n"), native.stderr)


def windows_text(argument):
    return "Z:" + os.fspath(argument).replace("/", "\\") if isinstance(argument, pathlib.Path) else argument


if __name__ == "__main__":
    if not os.access(TOOL, os.X_OK):
        sys.exit(f"{TOOL}, this system's own tool, is not there: scripts/build release lumvex_tool makes it")
    unittest.main()
