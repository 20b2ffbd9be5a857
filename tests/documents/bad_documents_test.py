"""Documents that cannot be opened or written: one line that says why, status 3, and nothing is changed."""

import os
import resource
import shutil
import signal
import subprocess
import sys
import unittest

from tool import DOCUMENT_FAILED, INCOMPLETE, SAMPLES, TOOL, ToolTest, command_names, document_use


class BadDocuments(ToolTest):
    def assert_refused(self, document, reason, commands=None, **options):
        for arguments in commands or self.every_command(document):
            with self.subTest(command=arguments[0], document=os.path.basename(document)):
                done = self.tool(*arguments, status=DOCUMENT_FAILED, **options)
                self.assertEqual(done.stdout, "")
                name = os.path.basename(document)
                self.assertRegex(done.stderr, rf"\A[^\n]*{name}: cannot be [^\n]*{reason}[^\n]*\n\Z")

    def test_missing(self):
        makers = [name for name in command_names() if document_use(name) == "makes"]
        self.assertIn("import", makers)
        for document in [self.folder / "missing.lvp", self.folder / "missing" / "project.lvp"]:
            self.assert_refused(document, "there is no such (file|folder) .status 0x8003000[23]",
                                self.every_command(document, but=makers))
        for name in makers:
            document = self.folder / "missing" / ("library.lvs" if name == "catalogue" else "project.lvp")
            self.assert_refused(document, "there is no such folder .status 0x80030003",
                                [(name, *self.required_arguments(name, document))])
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_no_regular_file(self):
        self.assert_refused(self.folder, "it is a directory .status 0x80030005",
                            self.every_command(self.folder, but=["find", "info", "check"]))  # which search folders
        self.assert_refused(self.folder, "there is no document .* in it",
                            [(name, self.folder) for name in ("info", "check")])
        pipe = self.folder / "pipe.lvp"
        os.mkfifo(pipe)
        self.assert_refused(pipe, "it is a device or pipe .status 0x80030005")
        below = self.file("file", "x") / "project.lvp"
        self.assert_refused(below, "there is no such folder .status 0x80030003",
                            self.every_command(below, but=["catalogue"]))

    def test_no_compound_file(self):
        for name, content in [("empty.lvp", b""), ("short.lvp", b"\xd0\xcf\x11\xe0"), ("zeros.lvp", bytes(100_000)),
                              ("text.lvp", "Frequency\tLevel\n" * 100), ("sample.lvp", SAMPLES[0].read_bytes())]:
            document = self.file(name, content)
            before = document.read_bytes()
            self.assert_refused(document, r"it is no compound file \(status 0x80030050\)",
                                self.every_command(document, but=["check"]))
            found = self.tool("check", document, status=INCOMPLETE).stdout
            self.assertRegex(found, rf"{name}: .*\n.*{name}: 1 problem\n")
            self.assertEqual(document.read_bytes(), before)

    def test_compound_file_without_a_project(self):
        # A header, one FAT sector and one directory sector with nothing but the root entry.
        header = bytes.fromhex("d0cf11e0a1b11ae1") + bytes(16) + bytes.fromhex("3e000300feff09000600") + bytes(10)
        header += b"".join(number.to_bytes(4, "little") for number in [1, 1, 0, 4096, 0xFFFFFFFE, 0, 0xFFFFFFFE, 0, 0])
        header += b"\xff" * (512 - len(header))
        fat = bytes.fromhex("fdfffffffeffffff") + b"\xff" * 504
        root = "Root Entry".encode("utf-16-le").ljust(64, b"\0") + bytes.fromhex("16000501") + b"\xff" * 12
        root += bytes(36) + bytes.fromhex("feffffff") + bytes(8)
        unused = bytes(68) + b"\xff" * 12 + bytes(48)
        document = self.file("other.lvp", header + fat + root + unused * 3)
        commands = self.every_command(document, but=["info", "check"])  # these take any compound file
        self.assert_refused(document, "it is a compound file, but no document .status 0x80030002", commands)
        told = self.tool("info", document, status=DOCUMENT_FAILED)
        self.assertIn("root class               none is listed\n", told.stdout)
        self.assertIn("cannot be opened as a project: it is a compound file, but no document", told.stderr)
        self.tool("check", document, status=INCOMPLETE)

    def test_truncated_at_any_length(self):
        self.import_samples()
        whole = self.document.read_bytes()
        last = len(whole) - 512  # what fills up the last sector may be missing
        lengths = {1, 511, 512, 513, 1023, 1024, len(whole) // 3, last - 512, last - 1, last}
        for length in sorted(lengths | set(range(0, last, last // 20))):
            with self.subTest(length=length):
                document = self.file("truncated.lvp", whole[:length])
                self.assert_refused(document, "status 0x8003", [("import", document, SAMPLES[0]), ("tree", document)])
                self.assertEqual(document.read_bytes(), whole[:length])
                checked = subprocess.run([TOOL, "check", document], capture_output=True, timeout=300)
                if length == 0:  # no document at all
                    self.assertIn(checked.returncode, (INCOMPLETE, DOCUMENT_FAILED))
                    continue
                self.assertEqual(checked.returncode, INCOMPLETE, checked.stderr)
                self.assertRegex(checked.stdout.decode(), r"truncated.lvp: file: it (was cut short: it ends after|has) \d")

    def test_name_that_is_no_text(self):
        document = os.fsencode(self.folder) + b"/\xff.lvp"
        shutil.copy(SAMPLES[0], document)
        done = subprocess.run([TOOL, "tree", document], capture_output=True, timeout=300)
        self.assertEqual(done.returncode, DOCUMENT_FAILED)
        self.assertTrue(done.stderr.endswith(b"cannot be opened: its name is no valid UTF-8\n"), done.stderr)


class Permissions(ToolTest):
    """The super-user may do everything: there the tool runs as nobody, from a copy that nobody can reach."""

    def setUp(self):
        super().setUp()
        self.import_samples()
        self.folder.chmod(0o777)
        self.copied = self.folder / "lumvex"
        shutil.copy(TOOL, self.copied)
        self.user = {"user": 65534, "group": 65534, "extra_groups": []} if os.geteuid() == 0 else {}
        self.sample = self.file("sample.txt", "20 80\n30 81\n")

    def refused(self, *arguments):
        done = subprocess.run([self.copied, *arguments], cwd=self.folder, capture_output=True, timeout=300, text=True,
                              **self.user)
        self.assertEqual(done.returncode, DOCUMENT_FAILED, done)
        self.assertRegex(done.stderr, r"project.lvp: cannot be .*: permission denied \(status 0x80030005\)\n\Z")

    def test_unreadable(self):
        before = self.document.read_bytes()
        self.document.chmod(0)
        for command in [["tree"], ["info"], ["check"]]:
            self.refused(*command, "project.lvp")
        self.refused("import", "project.lvp", "sample.txt")
        self.document.chmod(0o600)
        self.assertEqual(self.document.read_bytes(), before)

    def test_read_only(self):
        before = self.document.read_bytes()
        self.document.chmod(0o444)
        self.refused("import", "project.lvp", "sample.txt")
        self.assertEqual(self.document.read_bytes(), before)
        subprocess.run([self.copied, "tree", "project.lvp"], cwd=self.folder, stdout=subprocess.DEVNULL, check=True,
                       **self.user)

    def test_folder_that_takes_no_files(self):
        self.document.unlink()
        self.folder.chmod(0o555)
        self.refused("import", "project.lvp", "sample.txt")
        self.folder.chmod(0o777)
        self.assertFalse(self.document.exists())


class FullDisk(ToolTest):
    """A limit on the length of files stands in for the full disk; where we may mount one, a small disk does so too."""

    def full_disks(self):
        """Yields folders, each with the options of a process for which the samples do not fit into it."""
        def limit():
            signal.signal(signal.SIGXFSZ, signal.SIG_IGN)
            resource.setrlimit(resource.RLIMIT_FSIZE, (40_000, 40_000))

        yield self.folder, {"preexec_fn": limit}
        disk = self.folder / "disk"
        disk.mkdir()
        mount = ["mount", "-t", "tmpfs", "-o", "size=64k", "tmpfs", disk]
        if subprocess.run(mount, capture_output=True).returncode == 0:
            self.addCleanup(subprocess.run, ["umount", disk], check=True)
            yield disk, {}
        else:
            print("No disk can be mounted here: only the limit on the length of files was tried.", file=sys.stderr)

    def test_nothing_is_lost(self):
        small = self.file("small.txt", "20 80\n30 81\n")
        for folder, options in self.full_disks():
            with self.subTest(folder=folder):
                document = folder / "project.lvp"
                refused = self.tool("import", document, *SAMPLES, status=DOCUMENT_FAILED, **options)
                self.assertIn("cannot be saved, nothing was imported: the disk is full", refused.stderr)
                self.assertEqual(list(folder.glob("*.lvp")), [])
                self.tool("import", document, small, **options)
                self.tool("import", document, *SAMPLES, status=DOCUMENT_FAILED, **options)
                self.assertEqual([name for name, *_ in self.data(document)], ["small"])
                self.tool("compare", document, small)
                self.tool("check", document)


if __name__ == "__main__":
    unittest.main()
