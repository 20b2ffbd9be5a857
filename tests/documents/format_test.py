"""Reads documents by the tables of docs/file-format.md and nothing else, and finds every value that the library says."""

import math
import os
import pathlib
import re
import struct
import subprocess
import unittest

import olefile

from tool import ToolTest, stream_name

DOCUMENT = pathlib.Path(os.environ["LUMVEX_FORMAT"]).read_text(encoding="utf-8")
SHORT = {"32-bit float": "f", "signed 32 bits": "i", "signed 16 bits": "h", "32 bits": "i"}
ELEMENT_SIZE = {4: 4, 17: 1}


def made(name):
    """The rows of a made table, each a list of its cells without code marks."""
    lines = re.search(rf"^<!-- made: {name} -->\n(.*?)^<!-- end", DOCUMENT, re.MULTILINE | re.DOTALL)[1].splitlines()
    return [[cell.strip().replace("`", "") for cell in line.split("|")[1:-1]] for line in lines[2:]]


KINDS = {name: kind for name, _, _, kind in made("classes")}
WORDS = {name: int(word, 16) for name, _, word, _ in made("classes")}
FIELDS = {name: [(field, kind, versions) for _, field, kind, _, versions, _, _ in made("fields of " + name)]
          for name, kind in KINDS.items() if not kind.startswith("collection")}
MARKER = b"LVMARKS1"


def mark(name):
    """The mark of a name of the Basic Multilingual Plane."""
    value = 0x811C9DC5
    for unit in name:
        folded = unit.casefold() if len(unit.casefold()) == 1 else unit
        upper = folded.upper() if len(folded.upper()) == 1 else folded
        value = (value ^ ord(upper)) * 0x01000193 % 2**32
    return value or 1


class Record:
    """What is read of one stream, from the front."""

    def __init__(self, content):
        self.content, self.at = content, 0

    def take(self, count):
        assert self.at + count <= len(self.content), "cut off"
        self.at += count
        return self.content[self.at - count:self.at]

    def number(self, form):
        return struct.unpack("<" + form, self.take(struct.calcsize("<" + form)))[0]

    def guid(self):
        first, second, third, *last = struct.unpack("<IHH8B", self.take(16))
        return "{%08X-%04X-%04X-%s-%s}" % (first, second, third, bytes(last[:2]).hex().upper(), bytes(last[2:]).hex().upper())

    def reference(self):
        return self.guid(), self.number("I")

    def text(self):
        return self.take(self.number("I")).decode("utf-16-le")[:-1]

    def array(self):
        if (form := self.number("H")) == 0:
            return "no array"
        assert form == 2, form
        dimensions, kind = self.number("I"), self.number("H")
        bounds = [(self.number("i"), self.number("i")) for _ in range(dimensions)]
        size = ELEMENT_SIZE[kind] * math.prod(upper - lower + 1 for lower, upper in bounds)
        return " ".join([str(kind), *(f"{lower}..{upper}" for lower, upper in bounds), self.take(size).hex()])


class Reader:
    """All objects of a document, each as a dictionary of its fields."""

    def __init__(self, path):
        with olefile.OleFileIO(str(path), raise_defects=olefile.DEFECT_INCORRECT) as file:
            self.streams = {"/".join(name): file.openstream(name).read() for name in file.listdir()}
            file.fp.seek(52)
            self.state = struct.unpack("<I", file.fp.read(4))[0] & ~1
        self.objects, self.marks = {}, {}
        versions = self.streams["VERSIONINFO-V000"]
        self.stamp = versions[4 + 20 * struct.unpack_from("<I", versions)[0]:]
        count = struct.unpack_from("<I", self.streams["ROOTDIR-V100"])[0]
        listed = Record(self.streams["ROOTDIR-V100"][4:])
        classes = {listed.guid(): (listed.guid(), listed.guid(), listed.number("I"))[1] for _ in range(count)}
        ids = {class_id: name for name, class_id, _, _ in made("classes")}
        record = Record(self.streams["ROOT-V200"])
        version, (root, _) = record.number("I"), record.reference()
        self.finish(root, ids[classes[root]], record, version, {})

    def finish(self, identifier, name, record, version, fields):
        assert version == WORDS[name], (name, hex(version))
        for field, kind, versions in FIELDS[name]:
            since, below = re.search(r"from (\d+)", versions), re.search(r"below (\d+)", versions)
            if (not since or version & 0xFFFF >= int(since[1])) and (not below or version & 0xFFFF < int(below[1])):
                fields[field] = self.field(record, kind)
        assert record.at == len(record.content), f"{name}: {len(record.content) - record.at} bytes more"
        self.objects[identifier] = (name, fields)

    def field(self, record, kind):
        if counted := re.match(r"(\d+) x (.*)", kind):
            return " ".join(self.field(record, counted[2]) for _ in range(int(counted[1])))
        if form := SHORT.get(kind.split(",")[0]):
            return f"{record.number(form):.17g}"
        if kind in ("text", "array"):
            return getattr(record, kind)()
        if row := re.match(r"(\d+) texts: library reference", kind):
            return [record.text() for _ in range(int(row[1]))][-1]
        if kind == "library link":
            return (record.guid(), record.text())[0] if record.number("H") else ""
        if kind.startswith("item reference"):
            return record.text() if record.number("H") else ""
        flag = record.number("H")
        below = {"links or groups": [None, "CSpkrCorrectionLinks", "CSpkrCorrectionGroups"]}.get(kind, [None, kind.split()[-1]])
        return self.object(record.reference()[0], below[flag]) if flag else ""

    def object(self, identifier, name):
        record = Record(self.streams[stream_name(identifier)])
        version = record.number("I")
        if member := re.match("collection of (.*)", KINDS[name]):
            assert version == WORDS[name], hex(version)
            members = [record.reference()[0] for _ in range(record.number("I"))]
            if record.at < len(record.content):
                assert len(members) >= 32 and record.take(8) == MARKER and record.take(8) == self.stamp[8:16]
                self.marks[identifier] = [record.number("I") for _ in members]
            assert record.at == len(record.content)
            self.objects[identifier] = (name, {"members": " ".join(members)})
            for each in members:
                self.object(each, member[1])
        else:
            fields = {"timestamp": f"{record.number('d'):.17g}", "name": record.text()}
            self.finish(identifier, name, record, version, fields)
        return identifier


class Format(ToolTest):
    # No property answers these.
    UNSEEN = {("CSpeakerEQ", "ManufacturerName"), ("CSpeakerEQ", "ModelName"), ("CRoomPosition", "SampleRate")}

    def test_every_field_is_where_the_tables_say(self):
        said = subprocess.run([os.environ["LUMVEX_WRITE_EVERYTHING"], self.folder], capture_output=True, check=True,
                              timeout=120).stdout.decode("utf-8")
        expected = {}
        for document, identifier, name, field, value in (line.split("\t") for line in said.splitlines()):
            field = {"ConfigID": "Config"}.get(field, field) if name != "CBoxCfgSpkr" else field
            expected.setdefault(document, {}).setdefault(identifier, (name, {}))[1][field] = value
        self.assertEqual({name for objects in expected.values() for name, _ in objects.values()}, set(KINDS))
        for document, objects in expected.items():
            found = Reader(self.folder / document)
            for _, fields in objects.values():
                if units := fields.pop("Units", None):
                    self.assertEqual(struct.unpack("<Ii", found.streams["PROJECTSETTINGS-V100"]), (0x80010001, int(units)))
            for side in (objects, found.objects):
                for name, fields in side.values():
                    for unseen in [field for field in fields if (name, field) in self.UNSEEN]:
                        del fields[unseen]
            self.assertEqual(found.objects, objects)

    def test_marks_of_names_are_as_described(self):
        names = [f"Größe \u03a3\u03c3\u03c2 \u017f\u212a {number}" for number in range(33)]
        for name in names:
            self.tool("add", self.document, "Data", name) if self.document.exists() else self.tool(
                "import", self.document, self.file(f"{name}.txt", "20 80\n30 81\n"))
        self.tool("set", self.document, "Data/[2]", "Name=another")
        names[1] = "another"
        found = Reader(self.document)
        self.assertEqual(found.stamp[:8] + found.stamp[16:], MARKER + struct.pack("<I", found.state))
        self.assertEqual(list(found.marks.values()), [[mark(name) for name in names]])


if __name__ == "__main__":
    unittest.main()
