"""Programs that use the library in each of the ways that the README shows: installed, and as a part of their project."""

import json
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from consumer import SOURCE, WARNINGS, ConsumerTest, block, pack_sources, run

BUILD = pathlib.Path(os.environ["LUMVEX_BUILD"])
COMPILER = os.environ["LUMVEX_CXX"]
INSTALLED = block("cmake", "find_package")
# Those that are there compile the headers.
COMPILERS = [["g++"], ["clang++-14"], ["clang++-19"], ["clang++-19", "-stdlib=libc++"]]

OTHERS = [["clang++-19"], ["clang++-19", "-stdlib=libc++"]]
NOT_THERE = 77  # what ctest takes for a test that was skipped
CATCHES = """
#include <iostream>
#include "lumvex/client.hpp"
#include "lumvex/maintenance.hpp"
int main() {
    try {
        lumvex::CompactDocument("nothing.lvp");
    } catch (const lumvex::Error& error) {
        if (error.Code() == std::errc::no_such_file_or_directory)
            std::cout << error.Code().category().name() << ": " << error.Code().message() << '\\n';
    } catch (...) {
        std::cout << "the error came as something else\\n";
    }
}
"""


def compiles(compiler):
    if not shutil.which(compiler[0]):
        return False
    return subprocess.run([*compiler, "-std=c++2b", "-fsyntax-only", "-x", "c++", "-"], input="#include <string>\n", text=True,
                          capture_output=True, check=False).returncode == 0


class HeadersTest(ConsumerTest):
    def assert_headers_compile(self, include, compiler, standard):
        """Each alone, and all with the example, without a warning."""
        command = [*compiler, f"-std={standard}", *WARNINGS, "-fsyntax-only", f"-I{include}"]
        for header in sorted(include.rglob("*.hpp")):
            with self.subTest(compiler=" ".join(compiler), standard=standard, header=header.name):
                (self.folder / "alone.cpp").write_text(f'#include "{header.relative_to(include)}"\n')
                run([*command, self.folder / "alone.cpp"])
        with self.subTest(compiler=" ".join(compiler), standard=standard):
            run([*command, self.folder / "main.cpp"])


class Installed(HeadersTest):
    @classmethod
    def setUpClass(cls):
        place = tempfile.mkdtemp(prefix="lumvex-installed-")
        cls.addClassCleanup(shutil.rmtree, place)
        cls.prefix = pathlib.Path(place) / "prefix"
        run(["cmake", "--install", BUILD, "--prefix", cls.prefix])
        cls.library = next(cls.prefix.rglob("liblumvex.so")).parent

    def configure(self, lines):
        return self.build(lines, f"-DCMAKE_PREFIX_PATH={self.prefix}", f"-DCMAKE_CXX_COMPILER={COMPILER}")

    def needed(self, program):
        return re.findall(r"NEEDED +(\S+)", run(["objdump", "-p", program]))

    def test_find_package(self):
        program = self.configure(INSTALLED)
        self.assert_runs([program])
        self.assertIn("liblumvex.so.5", self.needed(program))

    def test_components(self):
        program = self.configure(INSTALLED.replace("REQUIRED", "REQUIRED COMPONENTS static"))
        self.assert_runs([program])
        self.assertFalse([each for each in self.needed(program) if "lumvex" in each])

    def test_what_is_not_there_is_refused(self):
        for request, complaint in (("5.1 COMPONENTS arrays", "arrays"), ("5.2", "version: 5.1"), ("4", "version: 5.1"),
                                   ("6", "version: 5.1")):
            with self.subTest(request=request), self.assertRaisesRegex(AssertionError, complaint):
                self.configure(f"find_package(Lumvex {request} REQUIRED)\n")
            shutil.rmtree(self.folder / "build")

    def test_pkg_config(self):
        environment = dict(os.environ, PKG_CONFIG_PATH=os.fspath(self.library / "pkgconfig"))
        flags = run(["pkg-config", "--cflags", "--libs", "lumvex >= 5.1"], env=environment).split()
        run([COMPILER, "main.cpp", *flags, "-o", "program"], cwd=self.folder)
        self.assert_runs(["./program"], env=dict(os.environ, LD_LIBRARY_PATH=os.fspath(self.library)))

    def test_the_tool(self):
        self.assertEqual(run([self.prefix / "bin/lumvex", "--version"]).split()[-1], "5.1")
        for made in ("man/man1/lumvex.1", "bash-completion/completions/lumvex", "zsh/site-functions/_lumvex"):
            self.assertIn("compact", (self.prefix / "share" / made).read_text(), made)

    def test_the_shared_library_shows_what_the_headers_publish(self):
        published = set((BUILD / "published.txt").read_text().split())
        shown = set()
        for line in run(["nm", "-DC", "--defined-only", self.library / "liblumvex.so.5"]).splitlines():
            kind, name = re.sub(r"^[0-9a-f]+ ", "", line).split(" ", 1)
            if kind == "A":  # the version of the interface
                continue
            name = re.sub(r"^(typeinfo|typeinfo name|vtable) for (.*?)(@.*)?$", r"\2::(", name)
            name = re.match(r"[\w:]+", name)[0]
            of_class = name.rpartition("::")[0] + "::"
            shown.add(of_class if of_class in published else name)
        self.assertEqual(shown, published)

    def test_headers_alone(self):
        for compiler, standard in ((["g++"], "c++20"), (["clang++-14"], "c++2b")):  # Compilers has all others
            if compiles(compiler):
                self.assert_headers_compile(self.prefix / "include", compiler, standard)

    def test_a_misspelt_member_is_one_error(self):
        lines = ["datum.SampelRate();", "datum.SampelRate(1);", "project.Data().Fnid(\"a\");"]
        source = '#include "lumvex/lumvex.hpp"\n' + "".join(
            f"void f{number}(lumvex::Datum datum, lumvex::Project project) {{ {line} }}\n" for number, line in enumerate(lines))
        for compiler in filter(compiles, COMPILERS):
            with self.subTest(compiler=" ".join(compiler)):
                told = subprocess.run([*compiler, "-std=c++20", "-fsyntax-only", f"-I{self.prefix / 'include'}", "-x", "c++", "-"],
                                      input=source, capture_output=True, text=True, check=False).stderr
                errors = [each for each in told.splitlines() if "error:" in each]
                self.assertEqual(len(errors), len(lines), told)
                for number, (error, name) in enumerate(zip(errors, ("SampelRate", "SampelRate", "Fnid")), start=2):
                    self.assertRegex(error, rf"<stdin>:{number}:\d+: error: .*no member named .*{name}")


class Compilers(HeadersTest):
    """The library built whole by compilers and standard libraries that no other build here uses, and used."""

    def test_headers_alone(self):
        prefix = self.folder / "prefix"
        run(["cmake", "--install", BUILD, "--prefix", prefix])
        for compiler in filter(compiles, COMPILERS):
            for standard in ("c++20", "c++2b"):
                self.assert_headers_compile(prefix / "include", compiler, standard)

    def test_each(self):
        for number, (compiler, *options) in enumerate(filter(compiles, OTHERS)):
            with self.subTest(compiler=compiler, options=options):
                flags = [f"-DCMAKE_CXX_COMPILER={compiler}", f"-DCMAKE_CXX_FLAGS=-O0 {' '.join(options)}"]
                made, prefix = self.folder / f"library{number}", self.folder / f"prefix{number}"
                run(["cmake", "-G", "Ninja", "-S", SOURCE, "-B", made, *flags, "-DLUMVEX_WARNINGS_AS_ERRORS=ON",
                     "-DLUMVEX_COMPILE_TOGETHER=ON", "-DLUMVEX_BUILD_TESTS=OFF", "-DLUMVEX_BUILD_APPS=OFF"])
                run(["cmake", "--build", made])
                run(["cmake", "--install", made, "--prefix", prefix])
                for lines in (INSTALLED, INSTALLED.replace("REQUIRED", "REQUIRED COMPONENTS static")):
                    self.assert_runs([self.build(lines, *flags, f"-DCMAKE_PREFIX_PATH={prefix}")])
                    (self.folder / "example.lvp").unlink()
                    shutil.rmtree(self.folder / "build")
                self.assert_errors_arrive(flags, prefix)

    def assert_errors_arrive(self, flags, prefix):
        """The library's exceptions are its clients', too: some standard libraries compare types by their addresses."""
        example = (self.folder / "main.cpp").read_text()
        (self.folder / "main.cpp").write_text(CATCHES)
        program = self.build(INSTALLED, *flags, f"-DCMAKE_PREFIX_PATH={prefix}")
        self.assertEqual(run([program], cwd=self.folder), "lumvex: there is no such file\n")
        (self.folder / "main.cpp").write_text(example)
        shutil.rmtree(self.folder / "build")


class Within(ConsumerTest):
    """The library is built with the program's project, as a part of it."""

    def build_within(self, lines):
        self.assert_runs([self.build(*self.within(lines))])
        self.assert_nothing_leaks()

    def within(self, lines):
        return [lines + INSTALLED.partition("\n")[2], f"-DCMAKE_CXX_COMPILER={COMPILER}", "-DLUMVEX_COMPILE_TOGETHER=ON"]

    def assert_nothing_leaks(self):
        commands = json.loads((self.folder / "build/compile_commands.json").read_text())
        for each in commands:
            file = os.path.relpath(each["file"], self.folder)
            self.assertNotRegex(file, r"lumvex[^/]*/(apps|tests|bench|fuzz)/")
            self.assertNotIn("-Werror", each["command"])
            if file == "main.cpp":
                self.assertNotRegex(each["command"], "-W|-fvisibility|LUMVEX_BUILDING|/src( |$)")
        cache = (self.folder / "build/CMakeCache.txt").read_text()
        settings = [name for name in re.findall(r"^([\w-]+):\w+=", cache, re.M)
                    if not re.match("(?i)lumvex|cmake_|fetchcontent_|program_|_?cmake", name)]
        self.assertEqual(settings, [])
        self.assertIn("No tests were found", run(["ctest", "--test-dir", self.folder / "build"]))

    def test_add_subdirectory(self):
        pack_sources(self.folder / "sources.tar")
        shutil.unpack_archive(self.folder / "sources.tar", self.folder)
        (self.folder / "lumvex-5.1").rename(self.folder / "lumvex")
        self.build_within(block("cmake", "add_subdirectory"))

    def test_fetch_content(self):
        """The library comes into the project in the same way then, so that it is not built whole once more."""
        pack_sources(self.folder / "lumvex-5.1.tar.gz")
        self.prepare(*self.within(block("cmake", "FetchContent")))
        self.make("CMakeFiles/program.dir/main.cpp.o")
        self.assert_nothing_leaks()


if __name__ == "__main__":
    if "Compilers" in sys.argv and not any(map(compiles, OTHERS)):
        print("none of these compilers is installed")
        sys.exit(NOT_THERE)
    sys.exit(unittest.main())
