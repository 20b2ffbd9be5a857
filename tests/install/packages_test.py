"""What scripts/package has made, each installed where nothing of Lumvex is, and used."""

import hashlib
import os
import pathlib
import shutil
import sys
import tempfile
import unittest
import zipfile

from consumer import SOURCE, ConsumerTest, block, pack_sources, run

PACKAGES = SOURCE / "build/packages"
INSTALLED = block("cmake", "find_package")
NOT_THERE = 77  # what ctest takes for a test that was skipped


def only(pattern):
    found = sorted(PACKAGES.glob(pattern))
    if len(found) != 1:
        raise AssertionError(f"{PACKAGES} has {len(found)} files {pattern}")
    return found[0]


class Debian(ConsumerTest):
    def setUp(self):
        super().setUp()
        self.root = self.folder / "root"
        for each in ("info", "updates", "triggers"):
            (self.root / "var/lib/dpkg" / each).mkdir(parents=True)
        (self.root / "var/lib/dpkg/status").touch()

    def install(self, *names):
        """Together, so that a file in two of them would be refused. What they depend on is this system's."""
        run(["dpkg", f"--root={self.root}", f"--log={os.devnull}", "--force-depends", "--force-not-root", "--install",
             *(only(f"{name}_*.deb") for name in names)])
        return self.root / "usr"

    def field(self, package, name):
        return run(["dpkg-deb", "--field", only(f"{package}_*.deb"), name])

    def test_a_program_is_built_with_the_development_package_and_runs_with_the_library(self):
        prefix = self.install("liblumvex5", "liblumvex-dev", "lumvex")
        program = self.build(INSTALLED, f"-DCMAKE_PREFIX_PATH={prefix}")
        run(["dpkg", f"--root={self.root}", f"--log={os.devnull}", "--force-not-root", "--purge", "liblumvex-dev", "lumvex"])
        self.assertFalse(list(prefix.rglob("*.hpp")))
        self.assert_runs([program])
        self.assertEqual(run(["dpkg", f"--root={self.root}", "--verify"]), "")

    def test_the_tool_needs_no_other_package_of_ours(self):
        tool = self.install("lumvex") / "bin/lumvex"
        run([tool, "import", "room.lvp", SOURCE / "samples/woofer.frd", SOURCE / "samples/impulse-stereo.wav"],
            cwd=self.folder)
        self.assertIn("the structure is sound", run([tool, "check", "room.lvp"], cwd=self.folder))

    def test_the_tools_manual_and_completion(self):
        share = self.install("lumvex") / "share"
        self.assertIn("compact", run(["man", "-l", share / "man/man1/lumvex.1.gz"]))
        for made in ("bash-completion/completions/lumvex", "zsh/vendor-completions/_lumvex"):
            self.assertIn("compact", (share / made).read_text())

    @unittest.skipUnless(list(PACKAGES.glob("python3-lumvex_*.deb")), "the Python package was left out")
    def test_the_python_package(self):
        place = self.install("python3-lumvex") / "lib/python3/dist-packages"
        said = run(["/usr/bin/python3", "-c", USES_PYTHON], cwd=self.folder, env=dict(os.environ, PYTHONPATH=os.fspath(place)))
        self.assertEqual(said, f"{place}/lumvex/__init__.py [84.5 86. ]\n")
        self.assertRegex(self.field("python3-lumvex", "Depends"), r"python3 \(>= 3\..*python3-numpy")

    def test_what_they_depend_on(self):
        for package in ("liblumvex5", "lumvex"):
            self.assertRegex(self.field(package, "Depends"), r"libc6 \(>= .*libstdc\+\+6 \(>= ")
        self.assertIn("libsndfile1", self.field("lumvex", "Depends"))
        self.assertRegex(self.field("liblumvex-dev", "Depends"), r"liblumvex5 \(= 5\.1-1\)")
        # What a package has to say that links the library.
        run(["dpkg-deb", "--control", only("liblumvex5_*.deb"), self.folder / "control"])
        self.assertIn("liblumvex 5 liblumvex5 (>= 5.1)", (self.folder / "control/shlibs").read_text())

    @unittest.skipUnless(shutil.which("lintian"), "lintian is not installed")
    def test_lintian_finds_no_errors(self):
        said = run(["lintian", "--fail-on", "error", "--tag-display-limit", "0", *sorted(PACKAGES.glob("*.deb"))])
        self.assertNotRegex(said, "(?m)^E: ")


# In a document of its own, so that reading and writing are tried.
USES_PYTHON = """
import lumvex
with lumvex.open("room.lvp", "x") as doc:
    doc.data.add("woofer", data=[[20, 84.5], [200, 86]], samplerate=0)
    doc.save()
with lumvex.open("room.lvp") as doc:
    print(lumvex.__file__, doc["woofer"].data[:, 1])
"""


class Wheel(ConsumerTest):
    def test_it_is_installed_and_used(self):
        run(["/usr/bin/python3", "-m", "pip", "install", "--no-index", "--no-deps", "--target", self.folder / "there",
             only("lumvex-*.whl")])
        said = run(["/usr/bin/python3", "-c", USES_PYTHON], cwd=self.folder,
                   env=dict(os.environ, PYTHONPATH=os.fspath(self.folder / "there")))
        self.assertEqual(said, f"{self.folder}/there/lumvex/__init__.py [84.5 86. ]\n")
        self.assertTrue((self.folder / "there/lumvex/_classes.pyi").stat().st_size > 50000)


class Windows(ConsumerTest):
    """In a Wine prefix of its own, which knows nothing of Lumvex before."""

    @classmethod
    def setUpClass(cls):
        place = tempfile.mkdtemp(prefix="lumvex-wine-")
        cls.addClassCleanup(shutil.rmtree, place)
        cls.wine_environment = dict(os.environ, LUMVEX_WINEPREFIX=os.path.join(place, "prefix"))
        cls.addClassCleanup(run, [SOURCE / "scripts/wine", "--stop"], env=cls.wine_environment)

    def setUp(self):
        super().setUp()
        with zipfile.ZipFile(only("*.zip")) as archive:
            archive.extractall(self.folder)
        (self.place,) = self.folder.glob("lumvex-*")

    def wine(self, *command):
        return run([SOURCE / "scripts/wine", *command], cwd=self.folder, env=self.wine_environment).replace("\r\n", "\n")

    def windows(self, path):
        return "Z:" + os.fspath(path).replace("/", "\\")

    def test_the_server_is_registered_used_and_taken_back(self):
        script = self.folder / "woofer.vbs"
        script.write_text(block("vbscript"))
        register = self.windows(self.place / "register.cmd")
        self.wine("cmd", "/c", register)
        self.assertEqual(self.wine("cscript", "//nologo", "woofer.vbs"), "woofer: 3 levels, the first 84.5 dB\n")
        self.wine("cmd", "/c", register, "/u")
        self.assertNotIn("woofer: 3", self.wine("cscript", "//nologo", "woofer.vbs"))

    def test_programs_are_built_and_run(self):
        for component, needs_server in (("static", False), ("client", True)):
            with self.subTest(component=component):
                lines = INSTALLED.replace("REQUIRED", f"REQUIRED COMPONENTS {component}")
                program = self.build(lines, f"-DCMAKE_TOOLCHAIN_FILE={SOURCE / 'cmake/mingw-w64-x86_64.cmake'}",
                                     f"-DLumvex_DIR={self.place / 'lib/cmake/Lumvex'}", "-DCMAKE_BUILD_TYPE=Release")
                program = program.with_suffix(".exe")
                if needs_server:
                    self.wine("cmd", "/c", self.windows(self.place / "register.cmd"))
                self.assertEqual(self.wine(program), "woofer: 3 x 2, first level 84.5 dB\n")
                shutil.rmtree(self.folder / "build")

    def test_the_tool(self):
        shutil.copy(SOURCE / "samples/woofer.frd", self.folder)
        tool = self.place / "bin/lumvex.exe"
        self.wine(tool, "import", "room.lvp", "woofer.frd")
        self.assertIn("the structure is sound", self.wine(tool, "check", "room.lvp"))

    def test_both_servers_are_there_for_their_own_programs(self):
        for folder, machine in (("bin", "x86-64"), ("bin32", "i386")):
            said = run(["objdump", "-f", self.place / folder / "Lumvex51.dll"])
            self.assertIn(f"pei-{machine}", said)
            self.assertGreater((self.place / folder / "Lumvex51.tlb").stat().st_size, 1000)


class Source(ConsumerTest):
    def test_a_project_builds_from_the_archive(self):
        shutil.copy(only("lumvex-*.tar.gz"), self.folder)
        self.assert_runs([self.build(block("cmake", "FetchContent") + INSTALLED.partition("\n")[2],
                                     "-DLUMVEX_COMPILE_TOGETHER=ON")])


class Reproducible(unittest.TestCase):
    """Packages made again from nothing: in another folder, time zone and language, without a compiler cache."""

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="lumvex-made-again-in-a-folder-of-another-length-"))
        self.addCleanup(shutil.rmtree, self.folder)
        time = run(["git", "-C", SOURCE, "log", "-1", "--format=%ct"]).strip()
        self.environment = dict(os.environ, SOURCE_DATE_EPOCH=time, TZ="Pacific/Auckland", LC_ALL="C", CCACHE_DISABLE="1")

    def assert_same(self, place, pattern):
        for each in PACKAGES.glob(pattern):
            again = place / "build/packages" / each.name
            with self.subTest(each.name):
                self.assertEqual(hashlib.sha256(again.read_bytes()).hexdigest(), hashlib.sha256(each.read_bytes()).hexdigest())

    def test_what_is_built(self):
        pack_sources(self.folder / "sources.tar")
        shutil.unpack_archive(self.folder / "sources.tar", self.folder)
        if (SOURCE / "build/sound-libraries").exists():  # fetched from elsewhere, and no work of ours
            (self.folder / "lumvex-5.1/build").mkdir()
            (self.folder / "lumvex-5.1/build/sound-libraries").symlink_to(SOURCE / "build/sound-libraries")
        run([self.folder / "lumvex-5.1/scripts/package", "debian", "wheel", "windows"], env=self.environment)
        self.assert_same(self.folder / "lumvex-5.1", "*.deb")
        self.assert_same(self.folder / "lumvex-5.1", "*.whl")
        self.assert_same(self.folder / "lumvex-5.1", "*.zip")

    def test_the_source_archive(self):
        run(["git", "clone", "--quiet", SOURCE, self.folder / "clone"])
        run([self.folder / "clone/scripts/package", "source"], env=self.environment)
        self.assert_same(self.folder / "clone", "*.tar.gz")


if __name__ == "__main__":
    if not PACKAGES.is_dir():
        print("scripts/package has not been run")
        sys.exit(NOT_THERE)
    sys.exit(unittest.main())
