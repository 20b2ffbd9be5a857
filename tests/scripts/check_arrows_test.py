"""scripts/check-arrows finds what it promises to find, in trees that are made for it."""

import pathlib
import subprocess
import sys
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/check-arrows"

SOUND = {
    "src/arrows": "# Lowest.\nsrc/low:\nmade low/made.hpp: src/low\nsrc/middle: src/low\nsrc/high (30): src/middle\n"
                  "tests/*: src/\n",
    "src/low/a.hpp": "#pragma once\n#include <vector>\n",
    "src/middle/b.hpp": '#include "low/a.hpp"\n#include "low/made.hpp"\n',
    "src/high/c.cpp": '#include "middle/b.hpp"\n#  include "low/a.hpp"\n',
    "src/high/inner/d.cpp": '#include "low/a.hpp"\n',
    "tests/high/c_test.cpp": '#include "low/a.hpp"\n',
}

# What is changed in the sound tree, and what has to be said of it; None takes a file away.
BROKEN = {
    "an include that goes back": ({"src/low/a.hpp": '\n#include "middle/b.hpp"\n'},
                                  "src/low/a.hpp:2: src/low -> src/middle is no arrow of src/arrows"),
    "an include of a room that is not reached": ({"src/arrows": "src/low:\nsrc/middle:\nmade low/made.hpp: src/middle\n"
                                                                "src/high: src/low src/middle\ntests/*: src/\n"},
                                                 "src/middle/b.hpp:1: src/middle -> src/low"),
    "an include of what the build makes": ({"src/arrows": "src/low:\nmade low/made.hpp: src/high\nsrc/middle: src/low\n"
                                                          "src/high: src/middle\ntests/*: src/\n"},
                                           "src/middle/b.hpp:2: src/middle -> src/high"),
    "an include that leads nowhere": ({"src/low/a.hpp": '#include "low/gone.hpp"\n'}, "there is no low/gone.hpp"),
    "a file in no room": ({"src/new/e.cpp": ""}, "src/new/e.cpp: is in no room"),
    "a room without files": ({"src/middle/b.hpp": None, "src/high/c.cpp": ""}, "src/middle has no source files"),
    "a cycle between rooms": ({"src/arrows": SOUND["src/arrows"].replace("src/low:", "src/low: src/high")},
                              "src/arrows:2: src/low may not include src/high, which is not above it"),
    "a row that is none": ({"src/arrows": SOUND["src/arrows"] + "src/low src/high\n"}, "src/arrows:7: 'src/low src/high'"),
    "too many files": ({f"src/middle/{number}.hpp": "" for number in range(25)}, "src/middle: holds 26 files"),
}


def run(changes):
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for path, text in {**SOUND, **changes}.items():
            if text is not None:
                (root / path).parent.mkdir(parents=True, exist_ok=True)
                (root / path).write_text(text, encoding="utf-8")
        return subprocess.run([sys.executable, SCRIPT, "--root", folder], stdout=subprocess.PIPE, text=True, check=False)


class CheckArrows(unittest.TestCase):
    def test_a_sound_tree_is_sound(self):
        for changes in ({}, {f"src/high/{number}.hpp": "" for number in range(28)}):  # 30 files are allowed there
            result = run(changes)
            self.assertEqual(result.returncode, 0, result.stdout)

    def test_each_breach_is_found_alone(self):
        for what, (changes, said) in BROKEN.items():
            with self.subTest(what):
                result = run(changes)
                self.assertIn(said, result.stdout)
                self.assertIn(" 1 findings", result.stdout)
                self.assertEqual(result.returncode, 1)

    def test_this_repository_is_sound(self):
        result = subprocess.run([sys.executable, SCRIPT], stdout=subprocess.PIPE, text=True, check=False)
        self.assertEqual(result.returncode, 0, result.stdout)


if __name__ == "__main__":
    unittest.main()
