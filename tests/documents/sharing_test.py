"""Several processes on one document: a writer keeps other writers out, readers keep what they opened."""

import os
import signal
import subprocess
import unittest

from tool import DOCUMENT_FAILED, INCOMPLETE, SAMPLES, TOOL, ToolTest

# More output than a pipe holds: when nobody reads it, the tool waits in the middle of its work with the document open.
MANY = 2000


class Sharing(ToolTest):
    def start(self, stream, *arguments):
        """A running tool that has the document open and waits because nobody reads more of `stream` than one byte."""
        streams = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, stream: subprocess.PIPE}
        process = subprocess.Popen([TOOL, *map(os.fspath, arguments)], cwd=self.folder, bufsize=0, **streams)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        return process, getattr(process, stream).read(1)

    def test_one_writer_and_readers_beside_it(self):
        self.import_samples()
        before = self.document.read_bytes()
        missing = [f"missing file with a rather long name, number {number}" for number in range(MANY)]
        added = self.file("added.txt", "20 80\n30 81\n")
        writer, _ = self.start("stderr", "import", self.document, *missing, added)

        refused = self.tool("import", self.document, added, status=DOCUMENT_FAILED)
        self.assertIn("cannot be opened: another program has the file open (status 0x80030020)", refused.stderr)
        self.assertEqual(self.document.read_bytes(), before)
        self.tool("compare", self.document, *SAMPLES)

        waiting = subprocess.Popen([TOOL, "import", self.document, self.file("last.txt", "20 80\n30 81\n"), "--wait", "200"],
                                   stderr=subprocess.PIPE)
        writer.communicate(timeout=300)
        self.assertIn(b"1 of 1 files imported", waiting.communicate(timeout=300)[1])
        self.assertEqual([name for name, *_ in self.data()][-2:], ["added", "last"])

    def test_a_new_document_replaces_nothing_that_came_meanwhile(self):
        missing = [f"missing file with a rather long name, number {number}" for number in range(MANY)]
        mine, theirs = (self.file(name, "20 80\n30 81\n") for name in ("mine.txt", "theirs.txt"))

        def race(comes, *options):
            writer, _ = self.start("stderr", "import", self.document, *missing, mine, *options)
            comes()
            said = writer.communicate(timeout=300)[1].decode()
            return writer.returncode, said

        status, said = race(lambda: self.document.write_text("my precious notes"))
        self.assertEqual(status, DOCUMENT_FAILED)
        self.assertIn("cannot be saved, nothing was imported: another program has made a file of this name meanwhile", said)
        self.assertEqual(self.document.read_text(), "my precious notes")
        self.document.unlink()

        self.assertEqual(race(lambda: self.tool("import", self.document, theirs))[0], DOCUMENT_FAILED)
        self.assertEqual([name for name, *_ in self.data()], ["theirs"])
        self.document.unlink()

        status, said = race(lambda: self.tool("import", self.document, theirs), "--wait", "200")
        self.assertEqual(status, INCOMPLETE)  # files are missing
        self.assertIn("starting again", said)
        self.assertEqual([name for name, *_ in self.data()], ["theirs", "mine"])
        self.assertEqual(sorted(self.folder.iterdir()), sorted([mine, theirs, self.document]))

    def test_imports_at_once_are_in_the_document_or_were_refused(self):
        files = [self.file(f"{number}.txt", "20 80\n30 81\n") for number in range(8)]
        for options in [[], ["--wait", "200"]]:
            document = self.folder / f"made{len(options)}.lvp"
            running = [subprocess.Popen([TOOL, "import", "-q", document, file, *options], stderr=subprocess.DEVNULL)
                       for file in files]
            done = [file.stem for file, process in zip(files, running) if process.wait(timeout=300) == 0]
            self.assertEqual(sorted(name for name, *_ in self.data(document)), done)
            self.assertGreaterEqual(len(done), 8 if options else 1)

    def test_an_interruption_says_what_became_of_the_document(self):
        missing = [f"missing file with a rather long name, number {number}" for number in range(MANY)]
        writer, _ = self.start("stderr", "import", self.document, *missing, SAMPLES[0])
        writer.send_signal(signal.SIGINT)
        said = writer.communicate(timeout=300)[1].decode()
        self.assertEqual(writer.returncode, -signal.SIGINT)
        self.assertTrue(said.endswith("lumvex: interrupted, nothing was changed\n"), said[-200:])
        self.assertEqual(list(self.folder.iterdir()), [])

    def test_a_reader_keeps_what_it_opened(self):
        names = [f"a measurement with a rather long name, number {number}" for number in range(MANY)]
        files = [self.file(name + ".txt", f"20 80\n30 {number}\n") for number, name in enumerate(names)]
        self.tool("import", self.document, *(path.name for path in files))
        reader, first = self.start("stdout", "tree", self.document)
        for path in files:
            path.write_text("20 80\n30 81\n40 82\n")
        for _ in range(3):
            self.tool("import", "--replace", self.document, *(path.name for path in files))
        tree = (first + reader.communicate(timeout=300)[0]).decode()
        self.assertEqual(reader.returncode, 0)
        self.assertEqual(tree.count("  2 x 2\n"), MANY)
        self.assertEqual({shape for _, _, shape, _ in self.data()}, {"3 x 2"})
        self.tool("check", self.document)


if __name__ == "__main__":
    unittest.main()
