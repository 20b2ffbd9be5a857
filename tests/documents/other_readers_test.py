"""Programs that are not ours open what we wrote, and find in it what our format promises."""

import math
import re
import subprocess
import unittest

import olefile

from format_test import Reader
from tool import SAMPLES, ToolTest, float_wav


def program(*arguments):
    return subprocess.run(arguments, capture_output=True, check=True, timeout=300).stdout


class OtherReaders(ToolTest):
    def documents(self):
        """Documents with different histories: written once or changed again and again, with small or large sectors."""
        self.import_samples()
        yield "new"
        small = self.file("small.txt", "20 80\n30 81\n")
        for number in range(5):
            self.file("small.txt", "20 80\n" + "".join(f"{row} {number}\n" for row in range(30, 30 + 100 * number)))
            self.tool("import", "--replace", self.document, small, *SAMPLES[number:])
        self.tool("import", self.document, self.file("ünï 日本.csv", "20,80,0\n30,81,1\n"))
        yield "changed"
        large = self.file("large.wav", float_wav(2, [math.sin(i) for i in range(400_000)]))
        self.tool("import", self.document, large)
        yield "grown"
        self.document.unlink()
        self.tool("import", self.document, large, *SAMPLES)
        self.assertIn("in sectors of 4096", self.tool("info", self.document).stdout)
        yield "large sectors"
        self.tool("import", "--replace", self.document, small, *SAMPLES)
        yield "large sectors, changed"

    def streams_by_olefile(self):
        with olefile.OleFileIO(str(self.document), raise_defects=olefile.DEFECT_INCORRECT) as file:
            return {"/".join(path): file.openstream(path).read() for path in file.listdir()}

    def check_streams(self):
        streams = self.streams_by_olefile()
        sizes = {name: len(data) for name, data in streams.items()}

        listed = re.findall(r"^f +(\d+) (\S+)$", program("gsf", "list", self.document).decode(), re.MULTILINE)
        self.assertEqual({name: int(size) for size, name in listed}, sizes)
        for name, data in streams.items():
            self.assertEqual(program("gsf", "cat", self.document, name), data, name)

        archive = program("7z", "l", "-slt", self.document).decode().split("----------\n")[1]
        archived = re.findall(r"^Path = (\S+)\n(?:(?!Path = |Size = ).*\n)*Size = (\d+)$", archive, re.MULTILINE)
        self.assertEqual({name: int(size) for name, size in archived}, sizes)
        program("7z", "x", f"-o{self.folder}/extracted", "-y", self.document)
        for name, data in streams.items():
            self.assertEqual((self.folder / "extracted" / name).read_bytes(), data, name)
        return streams

    def check_data(self):
        objects = Reader(self.document).objects
        for name, rate, shape, identifier in self.data():
            fields = objects[identifier][1]
            *bounds, elements = fields["Data"].split(" ")[1:]
            self.assertEqual((fields["name"], fields["SampleRate"]), (name, str(rate)))
            lengths = [int(upper) + 1 for upper in re.findall(r"\.\.(\d+)", " ".join(bounds))] + [1]
            self.assertEqual(f"{lengths[0]} x {lengths[1]}", shape)
            if name == "impulse-left":  # one channel of 32-bit floats: the sound file's own bytes
                wav = next(path for path in SAMPLES if path.stem == name).read_bytes()
                self.assertEqual(bytes.fromhex(elements), wav[wav.index(b"data") + 8:][:len(elements) // 2])

    def test_three_programs_read_every_stream(self):
        for state in self.documents():
            with self.subTest(document=state):
                streams = self.check_streams()
                self.check_data()
                self.assertEqual(len(streams), len(self.data()) + 6)
                self.tool("check", self.document)

    def test_folders_of_another_program_survive_saving_and_compacting(self):
        self.import_samples()
        streams = self.streams_by_olefile()
        source = self.folder / "source"
        contents = {f"Folder/{number}/inner{size}": bytes([number]) * size
                    for number in range(3) for size in (0, 64, 4095, 4096, 100_000)}
        for name, data in (streams | contents).items():
            path = source / name
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_bytes(data)
        program("gsf", "createole", self.document, *sorted(source.iterdir()))
        self.assertEqual(self.streams_by_olefile(), streams | contents)
        for change in (["import", "--replace", self.document, SAMPLES[0]], ["compact", self.document]):
            self.tool(*change)
            found = self.streams_by_olefile()
            self.assertEqual({name: found[name] for name in contents}, contents)
            self.assertEqual(found.keys(), (streams | contents).keys())
            for name, data in contents.items():
                self.assertEqual(program("gsf", "cat", self.document, name), data, name)
            self.tool("check", self.document)


if __name__ == "__main__":
    unittest.main()
