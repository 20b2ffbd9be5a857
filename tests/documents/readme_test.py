"""What the README shows of the tool: its commands are run in their order, in one folder, and have to print the same.

    readme_test.py --write    writes what they print into the README
"""

import difflib
import os
import re
import shutil
import subprocess
import sys
import unittest

from tool import SAMPLES_FOLDER, TOOL, ToolTest

README = SAMPLES_FOLDER.parent / "README.md"
# A command with its continued lines, and what it prints, up to the next command or the end of the block.
SHOWN = re.compile(r"^    \$ ((?:.*\\\n)*.*)\n((?:    (?!\$ ).*\n|\n(?=    (?!\$ )))*)", re.MULTILINE)


def comparable(text):
    """Without what differs from run to run, and from one way of keeping a document to a better one: IDs and sizes."""
    text = re.sub(r"\{[-0-9A-F]{36}\}", "{ID}", text)
    text = re.sub(r"\d{4}-\d\d-\d\dT[0-9:]{8}", "DATE", text)
    text = re.sub(r"\d{4}-\d\d-\d\dT[0-9:]{8}", "DATE", text)
    return re.sub(r"\d+(?= (?:bytes|still in memory|objects loaded))", "N", text)


class Readme(ToolTest):
    def setUp(self):
        super().setUp()
        for place in (SAMPLES_FOLDER, SAMPLES_FOLDER / "design"):
            for each in place.glob("*.*"):
                shutil.copy(each, self.folder)
        self.file("notes.txt", "Measured on a Sunday.\n")
        (self.folder / "bin").mkdir()
        (self.folder / "bin/lumvex").symlink_to(TOOL)
        self.environment = dict(os.environ, PATH=f"{self.folder}/bin:{os.environ['PATH']}", LC_ALL="C.UTF-8")
        self.ran = 0

    def print_what_is_shown(self, shown):
        """The README's piece with what the command prints now, where that says something else."""
        command = shown[1]
        expected = re.sub(r"^    ", "", shown[2], flags=re.MULTILINE)
        if command.startswith("scripts/wine "):  # run on the preset `windows`
            return shown[0]
        if command.startswith("cat "):  # the file that the next commands read
            self.file(command.split()[1], expected)
            return shown[0]
        done = subprocess.run(["bash", "-c", command], cwd=self.folder, env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=300, check=False)
        printed = done.stdout.decode()
        self.ran += 1
        if comparable(printed) == comparable(expected):
            return shown[0]
        return f"    $ {command}\n" + re.sub(r"^(?=.)", "    ", printed, flags=re.MULTILINE)

    def test_every_command_prints_what_is_shown(self):
        text = README.read_text(encoding="utf-8")
        printed = SHOWN.sub(self.print_what_is_shown, text)
        self.assertGreater(self.ran, 12)
        if WRITE:
            README.write_text(printed, encoding="utf-8")
        self.assertEqual("".join(difflib.unified_diff(text.splitlines(True), printed.splitlines(True), "README.md")), "")


WRITE = "--write" in sys.argv
if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
