"""Damage that the tool finds by digests, and what it gives back of damaged documents."""

import hashlib
import json
import os
import random
import subprocess
import unittest

import olefile

from tool import DOCUMENT_FAILED, INCOMPLETE, SAMPLES, TOOL, ToolTest, stream_name

FLIPS = int(os.environ.get("LUMVEX_FLIPS", "150"))


def streams_of(path):
    """The content of every stream, or None where it cannot be read; nothing at all of a file that is too damaged."""
    content = {}
    try:
        with olefile.OleFileIO(path) as file:
            for name in file.listdir(streams=True, storages=False):
                try:
                    content[name[-1].upper()] = file.openstream(name).read()
                except Exception:  # whatever a reader of others makes of damage
                    content[name[-1].upper()] = None
    except Exception:
        return {}
    return content


class Digests(ToolTest):
    def setUp(self):
        super().setUp()
        self.import_samples()
        self.digests = self.document.with_name(self.document.name + ".sha256")

    def rows(self):
        lines = [line for line in self.digests.read_text(encoding="utf-8").splitlines() if not line.startswith("#")]
        return {name: (digest, path) for digest, name, path in (line.split("  ", 2) for line in lines)}

    def test_the_file_is_what_sha256_makes_of_the_streams(self):
        self.assertIn("digests", self.tool("check", "--digest", self.document).stderr)
        streams = streams_of(self.document)
        rows = self.rows()
        for name, (digest, path) in rows.items():
            stream = stream_name(name) if name.startswith("{") else name
            self.assertEqual(digest, hashlib.sha256(streams[stream]).hexdigest(), path)
        self.assertIn("Data/woofer", [path for _, path in rows.values()])
        self.assertEqual(len(rows), len(streams) - 2, "all but the versions and the root for old programs")

    def test_changed_new_and_gone_objects_are_named(self):
        self.tool("check", "--digest", self.document)
        self.tool("set", self.document, "Data/woofer", "SampleRate=96000")
        self.tool("rename", self.document, "Data/impulse-left", "other")
        self.tool("remove", self.document, "Data/impulse-right")
        self.tool("import", self.document, self.file("fresh.txt", "20 80\n30 81\n"))
        before = self.digests.read_bytes()
        found = self.tool("check", "--digest", self.document, status=INCOMPLETE).stdout
        for expected in ["Data/woofer: changed", "Data/impulse-left: changed", "Data/impulse-right: gone",
                         "Data/fresh: new", "Data: changed"]:
            self.assertRegex(found, rf"\{{[0-9A-F-]+\}} {expected}\n")
        self.assertNotIn("microphone", found)
        self.assertEqual(self.digests.read_bytes(), before)
        self.tool("check", "--digest", "--renew", self.document)
        self.tool("check", "--digest", self.document)

    def test_a_file_that_is_none_is_refused(self):
        self.digests.write_text("anything\n", encoding="utf-8")
        told = self.tool("check", "--digest", self.document, status=INCOMPLETE).stderr
        self.assertRegex(told, r"sha256:1: expected a digest, a name and a path")

    def test_every_flipped_bit_in_an_object_is_found_and_named(self):
        """Which objects a flip concerns is asked of a reader that is not ours."""
        self.tool("check", "--digest", self.document)
        whole, sound, rows = self.document.read_bytes(), streams_of(self.document), self.rows()
        chance, found = random.Random(14), 0
        for flip in range(FLIPS):
            at, bit = chance.randrange(len(whole)), chance.randrange(8)
            with self.subTest(flip=flip, offset=at, bit=bit):
                self.document.write_bytes(whole[:at] + bytes([whole[at] ^ 1 << bit]) + whole[at + 1:])
                damaged = streams_of(self.document)
                done = subprocess.run([TOOL, "check", "--digest", self.document], capture_output=True, timeout=300)
                text = done.stdout.decode("utf-8")
                changed = [name for name in rows if damaged.get(stream := stream_name(name) if name.startswith("{")
                                                                else name) != sound[stream]]
                for name in changed:
                    self.assertRegex(text, rf"{name} [^\n]*: (changed|gone|cannot be read)")
                    found += 1
                if changed:
                    self.assertEqual(done.returncode, INCOMPLETE, text)
        self.document.write_bytes(whole)
        print(f"{FLIPS} flips, {found} objects changed, all named")
        self.assertGreater(found, FLIPS // 2)


class Repair(ToolTest):
    def test_a_document_cut_anywhere(self):
        self.import_samples()
        whole = self.document.read_bytes()
        for part in range(1, 12):
            with self.subTest(part=part):
                cut = self.file("cut.lvp", whole[:len(whole) * part // 12])
                out = self.folder / f"out{part}.lvp"
                told = self.tool("repair", "--json", cut, out, status=INCOMPLETE).stdout
                self.assertEqual(cut.read_bytes(), whole[:len(whole) * part // 12])
                self.assertEqual(self.tool("check", out).stdout, f"{out}: the structure is sound\n")
                self.assertGreater(len(json.loads(told)["losses"]), 0)

    def test_a_sound_document_loses_nothing(self):
        self.import_samples()
        out = self.folder / "out.lvp"
        self.assertEqual(self.tool("repair", self.document, out).stdout, "")
        self.assertEqual(self.tool("diff", self.document, out).stdout, "")

    def test_an_existing_file_is_not_touched(self):
        self.import_samples()
        out = self.file("precious.txt", "notes")
        told = self.tool("repair", self.document, out, status=DOCUMENT_FAILED).stderr
        self.assertIn("there is a file of this name already", told)
        self.assertEqual(out.read_text(encoding="utf-8"), "notes")

    def test_the_beginning_of_the_file_is_lost(self):
        self.import_samples()
        out = self.folder / "out.lvp"
        self.document.write_bytes(bytes(512) + self.document.read_bytes()[512:])
        self.tool("repair", self.document, out)
        self.tool("compare", out, *SAMPLES)


if __name__ == "__main__":
    unittest.main()
