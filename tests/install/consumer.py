"""What a program needs that uses the library: the README's program and CMake lines, in a folder outside the tree."""

import os
import pathlib
import re
import shutil
import subprocess
import tarfile
import tempfile
import unittest

SOURCE = pathlib.Path(os.environ["LUMVEX_SOURCE"])
README = (SOURCE / "README.md").read_text()
SAYS = "woofer: 3 x 2, first level 84.5 dB\n"
WARNINGS = "-Wall -Wextra -Wpedantic -Wconversion -Wsign-conversion -Wshadow -Werror".split()


def block(language, containing=""):
    """The README's one block of the language that contains the text."""
    found = [each for each in re.findall(rf"^```{language}\n(.*?)^```$", README, re.M | re.S) if containing in each]
    if len(found) != 1:
        raise AssertionError(f"README.md has {len(found)} blocks of {language} with {containing!r}")
    return found[0]


def run(command, **options):
    """What the command prints; it has to succeed."""
    command = list(map(os.fspath, command))
    done = subprocess.run(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
                          errors="replace", check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{' '.join(command)} ended with {done.returncode}:\n{done.stdout[-6000:]}")
    return done.stdout


def pack_sources(archive):
    """All files of the tree that are under version control or could be."""
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"], cwd=SOURCE, check=False,
                            stdout=subprocess.PIPE, stderr=subprocess.DEVNULL, text=True)
    names = set(filter(None, listed.stdout.split("\0"))) if listed.returncode == 0 else {
        os.fspath(each.relative_to(SOURCE)) for each in SOURCE.rglob("*") if each.relative_to(SOURCE).parts[0] != "build"}
    with tarfile.open(archive, "w") as tar:
        for name in sorted(names):
            if (SOURCE / name).is_file():
                tar.add(SOURCE / name, pathlib.Path("lumvex-5.1") / name)


class ConsumerTest(unittest.TestCase):
    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="lumvex-consumer-"))
        self.addCleanup(shutil.rmtree, self.folder)
        (self.folder / "main.cpp").write_text(block("cpp", "int main"))
        # So that a compiler cache knows the files again in another folder.
        self.environment = dict(os.environ, CCACHE_BASEDIR=os.fspath(self.folder), CCACHE_NOHASHDIR="1")

    def prepare(self, lines, *options):
        """Configures the project of these lines."""
        (self.folder / "CMakeLists.txt").write_text(
            "cmake_minimum_required(VERSION 3.25)\nproject(program CXX)\n" + lines)
        said = run(["cmake", "-G", "Ninja", "-S", self.folder, "-B", self.folder / "build",
                    "-DCMAKE_EXPORT_COMPILE_COMMANDS=ON", *options], env=self.environment)
        self.assertNotIn("Warning", said)

    def make(self, target):
        run(["cmake", "--build", self.folder / "build", "--target", target], env=self.environment)

    def build(self, lines, *options):
        """Configures and builds the project of these lines, and answers the path of its program."""
        self.prepare(lines, *options)
        self.make("program")
        return self.folder / "build/program"

    def assert_runs(self, command, **options):
        self.assertEqual(run(command, cwd=self.folder, **options).replace("\r\n", "\n"), SAYS)
