"""Several processes on one document: a writer keeps other writers out, readers keep what they opened."""

import os
import subprocess
import unittest

from tool import DOCUMENT_FAILED, SAMPLES, TOOL, ToolTest

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

        writer.communicate(timeout=300)
        self.assertIn("added", [name for name, *_ in self.data()])

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
