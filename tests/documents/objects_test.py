"""Objects of every class by their addresses: seen, set, added, named, copied, moved, removed, found and compared."""

import functools
import json
import math
import os
import pathlib
import shutil
import struct
import subprocess
import tempfile
import unittest

from tool import DONE, INCOMPLETE, IS_SLOW, TOOL, WRONG_USAGE, ToolTest, float_wav


@functools.cache
def classes():
    """The description of every class, as programs see it."""
    printed = subprocess.run([os.environ["LUMVEX_PRINT_MEMBERS"]], capture_output=True, check=True, timeout=60)
    return json.loads(printed.stdout)


def places(name, indexes):
    """Every place of an indexed property: FilterQHi(1), FilterQHi(2), ..."""
    lists = [[]]
    for low, high in indexes:
        lists = [[*known, index] for known in lists for index in range(low, high + 1)]
    return [name + (f"({','.join(map(str, each))})" if each else "") for each in lists]


def trees_in(tree):
    """Everything in a tree of JSON, owners first."""
    if "class" in tree:
        yield tree
    for value in tree.values():
        for each in value if isinstance(value, list) else [value]:
            if isinstance(each, dict) and "address" in each:
                yield from trees_in(each)


def objects_in(tree):
    """(address, class, ID) of everything in a tree of JSON, owners first."""
    return ((each["address"], each["class"], each["ID"]) for each in trees_in(tree))


class Objects(ToolTest):
    @classmethod
    def setUpClass(cls):
        """A project and a library with an object of every class, and values that new ones do not have."""
        cls.made = pathlib.Path(tempfile.mkdtemp(prefix="lumvex-test-"))
        cls.addClassCleanup(shutil.rmtree, cls.made)
        subprocess.run([os.environ["LUMVEX_WRITE_EVERYTHING"], cls.made], capture_output=True, check=True, timeout=60)

    def setUp(self):
        super().setUp()
        for name in ["everything.lvp", "everything.lvs"]:
            shutil.copy(self.made / name, self.folder / name)
        self.document, self.library = self.folder / "everything.lvp", self.folder / "everything.lvs"

    def objects(self, document):
        return list(objects_in(self.tree_of(document)))

    def everything(self):
        """(document, address, ID, class) of one object of each class."""
        first = {}
        for document in [self.document, self.library]:
            for address, name, identifier in self.objects(document):
                first.setdefault(name, (document, address, identifier))
        self.assertEqual(set(first), set(classes()))
        return [(*place, name) for name, place in first.items()]

    def lines(self, *arguments, **options):
        return self.tool(*arguments, **options).stdout.splitlines()

    def assert_round_trip(self, document):
        """Every address that is printed finds its object, and no other."""
        listed = self.objects(document)
        self.assertEqual(len({address for address, _, _ in listed}), len(listed))
        # An empty collection that was never saved has no lasting ID.
        items = [each for each in listed if classes()[each[1]]["kind"] != "collection"]
        self.assertEqual(self.shown(document, *(address for address, _, _ in items)), items)
        self.assertEqual(self.shown(document, *(identifier for _, _, identifier in items)), items)
        self.assertEqual([each[:2] for each in self.shown(document, *(address for address, _, _ in listed))],
                         [each[:2] for each in listed])
        return listed

    def assert_sound(self, document):
        self.assertEqual(self.tool("check", document).stdout, f"{document}: the structure is sound\n")

    def shown(self, document, *addresses):
        shown = json.loads(self.tool("show", "--json", document, *addresses).stdout)
        return [(each["address"], each["class"], each["ID"]) for each in shown]


class Addresses(Objects):
    def test_every_object_has_one(self):
        for document in [self.document, self.library]:
            self.assert_round_trip(document)

    def test_hostile_names(self):
        names = ["a/b", "/", "'", '"', "'\"\\", "[1]", "x[2]", "x", "X", "", " ", " x ", ".", "..", "*", "a?", "{x}",
                 "new\nline", "tab\t\r\x7f\u0085", "-dash", "--help", "Data", "Experiments", "a\\nb", "\\", "\u202eback",
                 "{5281BFCB-CB56-4B5D-A88E-D0B028D7B626}", "none", "é e\u0301", "🔊", "a=b", "n" * 5000]
        document = self.folder / "hostile.lvp"
        self.tool("import", document, self.file("one.txt", "20 80\n30 81\n"))
        for number, name in enumerate(names):
            others = ["Rooms", "Rooms/[1]/Positions", "Data"]
            for collection in ["Experiments", *(others[number % 3:][:1] if IS_SLOW else others)]:
                self.tool("add", document, collection, "--", name)
        listed = self.assert_round_trip(document)
        for address, name, _ in listed:
            if name == "CRoomPosition":
                self.tool("add", document, address, "--", names[len(address) % len(names)])
        self.assert_round_trip(document)
        stored = [each["Name"] for each in self.tree_of(document, "Experiments")["members"]]
        self.assertEqual(stored, names)
        self.assertEqual(self.lines("find", "", document), [address for address, name, _ in self.objects(document)
                                                            if classes()[name]["kind"] == "item"])

    def test_what_may_be_left_out(self):
        self.tool("add", self.document, "Rooms", "Studio")
        self.tool("add", self.document, "rooms/studio/pos", "Sofa left")
        self.tool("add", self.document, "STUDIO/Sofa", "Take")
        self.tool("add", self.document, "Studio/Sofa left", "Take")
        path = "Rooms/Studio/Positions/Sofa left/Take"
        for address, found in [("Studio/Sofa/Take[2]", path + "[2]"), ("/Rooms/studio/[1]/[1]/Meas", None),
                               ("Studio/Positions/[1]/[2]/", path + "[2]"), ("Studio/'Sofa left'/[1]", path + "[1]"),
                               ("Studio/\"Sofa left\"/Measurements[2]", path + "[2]"),
                               ("Stu?io/S*/T*[1]", path + "[1]"), ("./Studio", "Rooms/Studio")]:
            with self.subTest(address=address):
                if found:
                    self.assertEqual(json.loads(self.tool("show", "--json", self.document, address).stdout)[0]["address"],
                                     found)
        listed = self.objects(self.document)
        items = [address for address, name, _ in listed if classes()[name]["kind"] == "item"]
        rooms = [address for address in items if address.startswith("Rooms/")]
        self.tool("add", self.document, "Rooms", "Exp")  # as a collection is called, too
        for pattern, found in [("Roo*/Stu*", ["Rooms/Studio"]), ("R*/*/Pos*/S*/T*", [path + "[1]", path + "[2]"]),
                               ("Studio/S*/*", [path + "[1]", path + "[2]"]), ("*/Studio", ["Rooms/Studio"]),
                               ("Studio/**/Take", [path + "[1]", path + "[2]"]), ("**/Take[2]", [path + "[2]"]),
                               ("Rooms/**", [*rooms, "Rooms/Exp"]), ("/**", [*items, "Rooms/Exp"]),
                               ("Exp*/O*", [each for each in items if each.startswith("Experiments/")
                                            and each.count("/") == 1]),
                               ("Studio/**/Balcony", []), ("**/Rooms/E*", ["Rooms/Exp"]), ("R*/S*[1]/", ["Rooms/Studio"])]:
            with self.subTest(pattern=pattern):
                self.assertCountEqual(self.lines("find", pattern, self.document,
                                                 status=DONE if found else INCOMPLETE), found)
                if found:
                    shown = json.loads(self.tool("show", "--json", self.document, pattern).stdout)
                    self.assertCountEqual([each["address"] for each in shown], found)
        self.assertIn("a step is empty", self.tool("find", "Studio//x", self.document, status=WRONG_USAGE).stderr)
        self.assertIn("PATTERN is missing", self.tool("find", "--class", "CDatum", self.document, status=WRONG_USAGE).stderr)
        # What is below another object goes with it, once.
        self.assertEqual(self.tool("copy", self.document, "Rooms/Studio/**", "--into", "copied.lvp").stderr.splitlines()[1:],
                         ["Rooms/Studio/Positions/Sofa left -> Rooms/Studio/Positions/Sofa left"])
        self.tool("remove", self.document, "Rooms/Exp")
        before = self.document.read_bytes()
        for address, words in [("Studio/Sofa/Take", "it fits 2 objects; say which: " + path + "[1]"),
                               ("Studio/Balcony", 'there is no "Balcony" in Rooms/Studio; there is CorrectionGroups (0), '
                                                  "Positions (1)"),
                               ("Rooms/'Studi'", 'there is no "\'Studi\'" in Rooms; there is '),
                               ("Studio//x", "a step is empty"), ("Rooms/'Studio", "a quotation mark is not closed"),
                               ("Rooms/'Studio'x", "something follows a closing quotation mark"),
                               ("'\\u12'", "four hexadecimal digits"), ("[1]", 'there is no "[1]" in /'),
                               ("{5281BFCB-CB56-4B5D-A88E-D0B028D7B626}", "there is no object of this ID")]:
            with self.subTest(address=address):
                refused = self.tool("set", self.document, address, "Name=x", status=INCOMPLETE)
                self.assertIn(words, refused.stderr)
                self.assertEqual((refused.stdout, self.document.read_bytes()), ("", before))


class Trees(Objects):
    def test_shapes_are_known_without_reading_arrays(self):
        """Of every array property, and of what a position puts together from its measurements."""
        document = self.folder / "large.lvp"
        self.tool("import", document, self.file("large.wav", float_wav(2, [0.5] * 400_000)))
        self.tool("import", document, "--room", "R", "--position", "P", "--channel", "0", self.folder / "large.wav")
        told = self.tool("tree", "--statistics", document)
        self.assertEqual(told.stdout.count("large  200000 x 2  96000 Hz"), 2)
        self.assertLess(int(told.stderr.split()[-3]), 100_000)
        for each in [self.document, self.library]:
            addresses = [address for address, _, _ in self.objects(each)]
            if IS_SLOW:
                trees = trees_in(self.tree_of(each))
                shown = json.loads(self.tool("show", "--json", each, *addresses).stdout)
            else:  # one by one, so that no object has anything from those before it
                trees = (self.tree_of(each, address, "--depth", "0") for address in addresses)
                shown = (json.loads(self.tool("show", "--json", each, address).stdout)[0] for address in addresses)
            for address, of_tree, of_object in zip(addresses, trees, shown, strict=True):
                self.assertEqual((of_tree["address"], of_object["address"]), (address, address))
                for key, value in of_tree.items():
                    if isinstance(value, dict) and "rows" in value:
                        self.assertEqual(value, {part: of_object[key][part] for part in value}, f"{address} {key}")

    def test_depth_and_damage(self):
        self.assertEqual(self.lines("tree", "--depth", "1", self.document, "Data"),
                         ["Data (1)", "  " + self.lines("tree", "--depth", "0", self.document, "Data/[1]")[0]])
        self.tool("tree", self.document, "--depth", "-1", status=WRONG_USAGE)
        self.tool("tree", self.document, "Nowhere", status=INCOMPLETE)


class Properties(Objects):
    def targets(self, document, interface):
        """Addresses of objects that a reference can lead to."""
        wanted = next((name for name, each in classes().items() if each["interface"] == interface), None)
        found = [address for address, name, _ in self.objects(document) if name == wanted]
        if not found:
            found = ["Specifications/" + address for address, name, _ in self.objects(self.library) if name == wanted]
        return found

    def values_for(self, document, name, each, old):
        """Texts that the property takes and how JSON has them, the last one unlike what there was."""
        kind = each["type"]
        if "words" in each:
            words = each["words"]
            if each["isCombined"]:
                return [(words[1] + "+" + words[-1], words[1] + "+" + words[-1])]
            if "range" in each:
                words = words[:each["range"][1] + 1]
            return [(words[-1], words[-1]), (words[0].upper(), words[0])]
        if kind.endswith("*"):
            return [(target, target) for target in self.targets(document, kind[:-1])[-1:]]
        if kind == "BSTR":
            return [("", ""), ("a/b \"c\"\n\t= é 🔊", "a/b \"c\"\n\t= é 🔊")]
        if kind == "DATE":
            return [("2024-02-29T23:59:58", "2024-02-29T23:59:58"), ("1999-12-31", "1999-12-31T00:00:00")]
        if kind == "VARIANT":
            columns = (old or {}).get("columns", 1)
            if (old or {}).get("type") == "byte":
                array = {"rows": 3, "columns": 1, "type": "byte", "values": [0, 255, 7]}
                return [(json.dumps(array), array)]
            rows = {"LimitData": 5, "CrossoverData": 2}.get(name, 3)
            array = [[20 + column - row for row in range(rows)] for column in range(columns)]
            flat = array if columns > 1 else array[0]
            return [(json.dumps(flat), {"rows": rows, "columns": columns, "type": "float", "values": flat})]
        if kind == "float":
            unit = each["unit"]
            return [("0", 0.0), ("0.1", 0.1), ("1234.5" + unit, 1234.5)]
        low, high = each.get("range", (-5, 32767))
        high = 32767 if high is None else high
        return [(str(low), low), (f"{high} {each['unit']}", high)]

    def bad_values(self, each):
        kind = each["type"]
        below = [str(each["range"][0] - 1)] if "range" in each else []
        if "words" in each:
            return ["nonsense", "", "99", *(["5"] if "range" in each else [])]
        if kind.endswith("*"):
            return ["nowhere/at/all", "/"]
        if kind == "DATE":
            return ["2024-02-30", "yesterday", ""]
        if kind == "VARIANT":
            return ["[[1],[1,2]]", '["x"]', "[1,", "1", '{"type":"double","values":[1]}']
        if kind == "float":
            return ["x", "", "1e39", "0,5", *below]
        if kind in ("LONG", "SHORT"):
            above = [] if each.get("range", [0, None])[1] is None else [str(each["range"][1] + 1)]
            return ["x", "", "1.5", "1,000", str(2**31), *below, *above]
        return []

    def test_every_one_is_set_and_kept_or_refused(self):
        """A slow tool is asked to refuse each text once for each kind of property, and not for each property; what it
        shows of one object of each class it shows at once, and all that was set is checked at the end."""
        count, refused_kinds, everything, shown = 0, set(), self.everything(), {}
        if IS_SLOW:
            for document in [self.document, self.library]:
                identifiers = [each[2] for each in everything if each[0] == document]
                listed = json.loads(self.tool("show", "--json", document, *identifiers).stdout)
                shown.update(zip(identifiers, listed, strict=True))
        for document, _, identifier, name in everything:
            properties = classes()[name]["properties"]
            put = {key: each for key, each in properties.items()
                   if each["canBePut"] and each["owner"] != "_Root" and key not in ("Specifications", "Config")}
            if not put:
                continue
            old = shown.get(identifier) or json.loads(self.tool("show", "--json", document, identifier).stdout)[0]
            assignments, expected = [], {}
            for key, each in put.items():
                for text, value in self.values_for(document, key, each, old[key]):
                    for place in places(key, each["indexes"]):
                        assignments.append(f"{place}={text}")
                        expected[place] = value
                        count += 1
            kept = {place: value for place, value in expected.items()
                    if put[place.partition("(")[0]]["isKept"] or put[place.partition("(")[0]]["owner"] == "_Collectable"
                    or name == "CProject"}
            with self.subTest(name=name):
                done = self.tool("set", document, identifier, *assignments,
                                 status=0 if kept.keys() == expected.keys() else INCOMPLETE)
                for place in expected.keys() - kept.keys():
                    self.assertIn(f"{place} is not kept as it was set", done.stderr)
                got = json.loads(self.tool("get", "--json", document, identifier, *kept, "ID").stdout)
                for place, value in kept.items():
                    self.assertEqual(got[place], value, place)
            before = document.read_bytes()
            for key, each in put.items():
                place = places(key, each["indexes"])[0]
                for text in self.bad_values(each):
                    kind = (text, *(str(each.get(part)) for part in ("type", "range", "words", "unit")))
                    if IS_SLOW and kind in refused_kinds:
                        continue
                    refused_kinds.add(kind)
                    with self.subTest(name=name, place=place, text=text):
                        refused = self.tool("set", document, identifier, f"{place}={text}", status=INCOMPLETE)
                        self.assertIn(key, refused.stderr + key * (each["type"].endswith("*")))
                        self.assertEqual((refused.stdout, document.read_bytes()), ("", before))
            if not IS_SLOW:
                self.assert_sound(document)
        self.assert_sound(self.document)
        self.assert_sound(self.library)
        self.assertGreater(count, 500)

    def test_every_one_is_explained(self):
        """A class for each name; those that only programs call have none."""
        owners = {key: name for name, each in classes().items() for key in each["properties"]
                  if key not in ("Item", "Bank") and not key.endswith("Enum")}
        for key, name in owners.items():
            said = self.lines("help", f"{name[1:]}.{key.lower()}")
            self.assertRegex(said[0], rf"^{name[1:]}\.{key}(\(|$)")
            self.assertGreater(len(said[1]), 10)
            self.assertRegex(said[3], "^  type    .")
        self.assertIn("a property: Correction.MagTol, SpkrEQDesign.MagTol",
                      self.tool("help", "magtol", status=INCOMPLETE).stderr)

    def test_names(self):
        for arguments, words in [(["Rooms/[1]", "Nam=x"], ""), (["Rooms/[1]", "Meas=x"], "is the beginning of Measure"),
                                 (["Rooms/[1]", "Nme=x"], "has no property"), (["Rooms/[1]", "ID=x"], "can be read only"),
                                 (["Rooms/[1]", "Name"], "expected NAME=VALUE"), (["Rooms", "Name=x"], "can be read only"),
                                 (["Configs/bi-amp", "Name=x"], "fixed"), (["Rooms/[1]", "Name(1)=x"], "only Name"),
                                 (["BoxCfgs/[1]", "XdA_Mute(17,1)=1"], "only XdA_Mute(1..16,1..6)")]:
            with self.subTest(arguments=arguments):
                done = self.tool("set", self.document, *arguments, status=INCOMPLETE if words else 0)
                self.assertIn(words, done.stderr)


class Changes(Objects):
    def adding(self, document, collection):
        """What "add" takes behind the collection's address for each class: a name, or the address of an object."""
        first = classes()[collection]["add"][0]["type"]
        if first == "BSTR":
            return "a 'new' one"
        if first == "IConfig*":
            return "tri-amp"
        wanted = next(name for name, each in classes().items() if each["interface"] == first[:-1])
        for place in [document, self.library]:
            for address, name, _ in self.objects(place):
                if name == wanted:
                    return ("Specifications/" if place != document else "") + address
        return self.fail(wanted)

    def test_objects_of_every_class(self):
        """A slow tool finds them for the first class of each document, and all changes are checked at the end."""
        changed, found_in = 0, set()
        for document, collection, _, name in self.everything():
            if "add" not in classes()[name]:
                continue
            with self.subTest(name=name):
                before = self.folder / f"before{document.suffix}"
                shutil.copy(document, before)
                known = {identifier for _, _, identifier in self.objects(document)}
                added = self.tool("add", document, collection, self.adding(document, name)).stderr
                self.assertEqual(added[-8:], ": added\n")
                added = added[:-8]
                identifier = self.tool("get", document, added, "ID").stdout.strip()
                self.assertNotIn(identifier, known)
                if not IS_SLOW or document not in found_in:
                    found_in.add(document)
                    self.assertIn(added, self.lines("find", "", document, "--class", classes()[name]["member"]))
                    self.assertEqual(self.lines("find", "", document, "--id", identifier), [added])

                renamed = self.tool("rename", document, added, "x/y [z]").stderr[:-1]
                self.assertEqual(renamed, f"{added} -> {collection_path(added, collection)}'x/y [z]'")

                copied = self.tool("copy", document, identifier, "--name", "copy").stderr[:-1].partition(" -> ")[2]
                shown = json.loads(self.tool("show", "--json", document, identifier, copied).stdout)
                self.assertEqual(shown[0]["Name"], "x/y [z]")
                for key in ["address", "ID", "Name", "FQName"]:
                    first, second = (each.pop(key) for each in shown)
                    self.assertNotEqual(first, second, key)
                self.assertEqual(*({key: each[key] for key in each if key != "DisplayName"} for each in shown))

                removed = self.tool("remove", document, identifier, copied).stderr
                self.assertEqual(removed.count("removed"), 2)
                self.assertEqual(self.tool("diff", before, document).stdout, "")
                if not IS_SLOW:
                    self.assert_sound(document)
                changed += 1
        self.assert_sound(self.document)
        self.assert_sound(self.library)
        self.assertEqual(changed, len([each for each in classes().values() if "add" in each]))


class Documents(Objects):
    def test_differences_are_told(self):
        other = self.folder / "other.lvp"
        shutil.copy(self.document, other)
        self.assertEqual(self.tool("diff", self.document, other).stdout, "")
        self.tool("add", other, "Data", "new", "Data=[1,2,3]")
        self.tool("add", self.document, "Rooms", "gone")
        self.tool("set", self.document, "Data/[1]", "Data=[[1,2,3],[4,5,6]]")
        self.tool("set", other, "Data/[1]", "Name=renamed", "SampleRate=96000",
                  'Data=[[1,2,"NaN"],[4,5.5,6]]')
        self.tool("set", other, "BoxCfgs/[1]", "XdA_Mute(16,6)=0", "XdA_CustomText=line\nline")
        old = json.loads(self.tool("get", "--json", self.document, "Data/[1]", "SampleRate").stdout)
        told = self.lines("diff", self.document, other, status=INCOMPLETE)
        for line in ["- Rooms/gone", "+ Data/new", "~ Data/renamed", f"    SampleRate: {old} -> 96000",
                     "    Name: one of everything -> renamed",
                     "    Data: 2 of 6 values differ, the most by inf in row 3, column 1",
                     "    XdA_CustomText: text 14 -> line␊line"]:
            self.assertIn(line, told)
        self.assertEqual(len(told), 10 - 1, told)
        found = json.loads(self.tool("diff", "--json", self.document, other, status=INCOMPLETE).stdout)
        self.assertEqual([[each["address"] for each in found[key]] for key in ["removed", "changed", "added"]],
                         [["Rooms/gone"], ["BoxCfgs/one of everything", "Data/renamed"], ["Data/new"]])
        below = self.lines("diff", self.document, other, "Rooms", status=INCOMPLETE)
        self.assertEqual(below, ["- Rooms/gone"])
        self.assertIn("it is a Specifications", self.tool("diff", self.document, self.library, status=INCOMPLETE).stderr)

    def test_merging_takes_what_is_missing_and_replaces_when_told(self):
        other = self.folder / "other.lvp"
        shutil.copy(self.document, other)
        for document, name, level in [(self.document, "mine", 1), (other, "theirs", 2)]:
            self.tool("add", document, "Rooms", name)
            self.tool("set", document, "Data/[1]", f"Data=[{level},2]")
        refused = self.tool("merge", self.document, other, status=INCOMPLETE)
        self.assertIn("+ Rooms/theirs\n", refused.stderr)
        self.assertIn("Data/one of everything differs, and is left as it is", refused.stderr)
        self.assertEqual(self.lines("diff", other, self.document, status=INCOMPLETE),
                         ["~ Data/one of everything", "    Data: 1 of 2 values differ, the most by 1 in row 1, column 1",
                          "+ Rooms/mine"])
        self.assertEqual(self.tool("merge", "--replace", self.document, other).stderr, "~ Data/one of everything\n")
        # The first of a name is the same whether there is a second or not.
        for document in ["left.lvp", "right.lvp"]:
            self.tool("import", document, self.file("a'[1].txt", "20 80\n30 81\n"))
        self.tool("add", "right.lvp", "Data", "a'[1]")
        self.assertEqual(self.lines("diff", "left.lvp", "right.lvp", status=INCOMPLETE), ["+ Data/\"a'[1]\"[2]"])
        self.assertEqual(self.lines("diff", other, self.document, status=INCOMPLETE), ["+ Rooms/mine"])
        before = self.document.read_bytes()
        self.tool("merge", self.document, other)
        self.assertEqual(self.document.read_bytes(), before)
        self.tool("merge", self.document, other, "Rooms/nowhere", status=INCOMPLETE)

    def test_what_goes_to_another_document_keeps_its_whole_name(self):
        """Short names are for people: nothing takes the place of what is called "On axis" because it is called "On"."""
        self.tool("import", "short.lvp", self.file("On.txt", "20 80\n30 81\n"))
        self.tool("export", "short.lvp", "Data/On", "-o", "on.json")
        self.tool("import", "long.lvp", self.file("On axis.txt", "20 70\n30 71\n"))
        for line in [["merge", "--replace", "to.lvp", "short.lvp"], ["import", "--replace", "to.lvp", "on.json"],
                     ["copy", "--replace", "short.lvp", "Data/On", "--into", "to.lvp"]]:
            with self.subTest(line=line):
                shutil.copy(self.folder / "long.lvp", self.folder / "to.lvp")
                self.tool(*line)
                self.assertEqual(self.lines("diff", "long.lvp", "to.lvp", status=INCOMPLETE), ["+ Data/On"])
                self.assertEqual(self.lines("diff", "short.lvp", "to.lvp", status=INCOMPLETE), ["+ Data/On axis"])
        # Of several of one name the first is meant.
        self.tool("add", "to.lvp", "Data", "On")
        self.tool("merge", "to.lvp", "short.lvp")
        self.assertEqual(self.lines("diff", "short.lvp", "to.lvp", status=INCOMPLETE),
                         ["+ Data/On axis", "+ Data/On[2]"])

    def test_everything_gets_into_an_empty_document(self):
        """Copied item by item, with references mended: the two say the same, but for what no document keeps."""
        for document in [self.document, self.library]:
            other = self.folder / f"copied{document.suffix}"
            tops = [each["address"] for key, each in self.tree_of(document, "--depth", "1").items()
                    if isinstance(each, dict) and "Count" in each and key != "CrossoverConfigs"]
            for top in sorted(tops, key=lambda name: name in ("BoxCfgs", "Experiments")):
                self.tool("copy", document, top + "/*", "--into", other)
            if document is self.document:
                self.tool("copy", document, "CrossoverConfigs/*/*", "--into", other)
                self.tool("merge", "--replace", other, document)
            self.assertEqual(self.tool("check", other).stdout, f"{other}: the structure is sound\n")
            told = self.lines("diff", document, other, status=INCOMPLETE if document is self.document else DONE)
            self.assertEqual([line for line in told if line[0] != " " and line != "~ /"], [])

    def test_copies_know_the_library_of_their_own_document(self):
        """Objects of the same addresses in it are referred to; what cannot be, as a speaker's model, is told."""
        self.tool("export", self.library, "--all", "-o", "library.json")
        self.tool("import", "second.lvs", "library.json")
        self.tool("add", self.document, "Experiments", "empty")
        self.tool("copy", self.document, "Experiments/empty", "--into", "other.lvp")
        self.tool("set", "other.lvp", "/", "Specifications=second.lvs")
        told = self.tool("copy", self.document, "SpeakerEQs/*", "--into", "other.lvp").stderr
        self.assertRegex(told, r"\nSpeakerEQs/one of everything: Model \(Specifications/.*\) is no object of that")
        self.assertNotIn("ModelConfig", told)
        speaker = self.tree_of(self.document, "SpeakerEQs/[1]")["SpkrEQConfigs"]["members"][0]["address"]
        config = self.tool("get", self.document, speaker, "ModelConfig").stdout
        self.assertIn("Specifications/Manufacturers/", config)
        self.assertEqual(self.tool("get", "other.lvp", speaker, "ModelConfig").stdout, config)
        self.assertIn("is of a Project, and the document a Specifications",
                      self.tool("copy", self.document, "Data/*", "--into", "second.lvs", status=INCOMPLETE).stderr)
        self.tool("copy", self.document, "Specifications/Microphones/*", "--into", "third.lvs")

    def test_a_project_does_not_change_its_library(self):
        before, library = self.document.read_bytes(), self.library.read_bytes()
        there = "Specifications/Manufacturers"
        for line in [["set", there + "/[1]", "Name=x"], ["remove", there + "/*"], ["rename", there + "/[1]", "x"],
                     ["add", there, "x"], ["copy", there + "/[1]"], ["move", there + "/[1]", "Data"],
                     ["set", "Specifications", "Name=x"]]:
            with self.subTest(line=line):
                self.assertIn("it is of the library; to change that, name its file",
                              self.tool(line[0], self.document, *line[1:], status=INCOMPLETE).stderr)
        self.assertEqual((self.document.read_bytes(), self.library.read_bytes()), (before, library))

    def test_everything_goes_through_json(self):
        for document, options in [(self.library, []), (self.document, ["--library", "everything.lvs"])]:
            exported, copied = self.folder / "whole.json", self.folder / f"copied{document.suffix}"
            self.tool("export", document, "--all", "-o", exported, "--force")
            self.tool("import", copied, exported, *options)
            self.assertEqual(self.tool("check", copied).stdout, f"{copied}: the structure is sound\n")
            self.assertEqual(self.tool("diff", document, copied).stdout, "")
            again = self.tool("export", copied, "--all", "-o", "-", "--format", "json").stdout
            self.assertEqual(json.loads(again), json.loads(exported.read_text(encoding="utf-8")))
            # Other programs order and indent it as they like, and it may come through a pipe.
            piped = self.folder / f"piped{document.suffix}"
            text = json.dumps(json.loads(again), sort_keys=True, indent=1, ensure_ascii=False)
            subprocess.run([TOOL, "import", piped, "-", *options], cwd=self.folder, input=text.encode("utf-8"),
                           capture_output=True, check=True)
            self.assertEqual(self.tool("diff", document, piped).stdout, "")
            if options:
                refused = self.tool("import", "without.lvp", exported, status=INCOMPLETE)
                self.assertRegex(refused.stderr, "needs its library .* --library LIB links it")

    def test_numbers_and_texts_go_through_json_bit_for_bit(self):
        """Every kind of float, also as the value of a property, and texts that are not well-formed."""
        bits = [0, 1, 0x7FFFFF, 0x800000, 0x3DCCCCCD, 0x7F7FFFFF, 0x7F800000, 0x7FC00000, 0x7FC00001, 0x7FFFFFFF]
        bits += [each | 1 << 31 for each in bits] + [pow(7, each, 2**32) for each in range(2000)]
        bits = [each if each & 0x7FC00000 != 0x7F800000 or each & 0x7FFFFF == 0 else each | 0x400000 for each in bits]
        numbers = list(struct.unpack(f"<{len(bits)}f", struct.pack(f"<{len(bits)}I", *bits)))
        self.tool("import", "--name", "bits", self.document, self.file("bits.wav", float_wav(2, [0.5] * len(bits))))
        values = [special(number, pattern) for number, pattern in zip(numbers, bits)]
        self.file("bits.json", json.dumps({"format": "lumvex objects", "version": 1, "root": "CProject", "objects": [
            {"address": "Data/bits", "class": "CDatum", "collection": "Data", "Name": "bits",
             "Data": {"rows": len(bits), "columns": 1, "type": "float", "lowerBounds": [3], "values": values}},
            {"address": "Data/lone", "class": "CDatum", "collection": "Data", "Name": {"utf16": [0xD800, 65, 0, 10]},
             "Timestamp": 45000.123456789}]}))
        self.tool("import", self.document, "bits.json", "--replace")
        self.assertIn(struct.pack(f"<{len(bits)}I", *bits), self.document.read_bytes())
        for step in ["Data/bits", "Data/'\\uD800A\\u0000\\n'"]:
            self.tool("export", self.document, step, "-o", "out.json", "--force")
            other = self.folder / "other.lvp"
            self.tool("import", other, "out.json")
            self.assertEqual(self.tool("diff", self.document, other, step).stdout, "")

    def test_bad_json_changes_nothing(self):
        self.tool("export", self.document, "Data/[1]", "-o", "good.json")
        good = (self.folder / "good.json").read_text(encoding="utf-8")
        before = self.document.read_bytes()
        for old, new, words in [
                ("", "", "it is there already; --replace"), ('"CDatum"', '"CNone"', 'there is no class "CNone"'),
                ('"collection": "Data"', '"collection": "No"', 'there is no "No"'), ("lumvex objects", "other", "holds no objects"),
                ('"version": 1', '"version": 2', "a newer version"), ("CProject", "CSpecifications", "document is a CProject"),
                ('"collection": "Data"', '"collection": "Rooms"', "something else at its address"),
                ('"SampleRate"', '"Sample"', 'there is no property "Sample"'), ('"rows": ', '"rows": 1', "and the values have"),
                ('"Name": "', '"Name": 7, "x": "', "Name: expected a text"), ("]}", "", "parse error"),
                ('"type":"float"', '"type":"double"', 'of type "double" cannot be put')]:
            with self.subTest(words=words):
                file = self.file("bad.json", good.replace('"rows":', '"rows": ').replace(old, new, 1))
                options = ["--replace"] if old else []
                refused = self.tool("import", self.document, file, *options, status=INCOMPLETE)
                self.assertIn(words, refused.stderr)
                self.assertIn("nothing was imported; the document was not changed", refused.stderr)
                self.assertNotIn("json.exception", refused.stderr)
                self.assertEqual(self.document.read_bytes(), before)

    def test_what_others_refer_to_is_removed_by_force_alone(self):
        before = self.document.read_bytes()
        refused = self.tool("remove", self.document, "SpeakerEQs/*", status=INCOMPLETE)
        self.assertIn("refers to it", refused.stderr)
        self.assertIn("--force empties", refused.stderr)
        self.assertEqual((refused.stdout, self.document.read_bytes()), ("", before))
        self.tool("remove", "--force", self.document, "SpeakerEQs/*")
        self.assertEqual(self.tree_of(self.document, "SpeakerEQs")["Count"], 0)
        emptied = self.tool("check", self.document, status=INCOMPLETE).stdout
        *lost, verdict = emptied.splitlines()
        for line in lost:  # links alone, which have to lead to something
            self.assertRegex(line, r": C\w*Link \{.*\}: it (links to no|refers to) C")
        self.assertIn(f"{self.document}: the structure is sound, but ", verdict)
        for address, words in [("/", "is no item"), ("Data", "is no item"), ("CrossoverConfigs/[1]", "always there")]:
            self.assertIn(words, self.tool("remove", self.document, address, status=INCOMPLETE).stderr)

    def test_what_moves_keeps_what_refers_to_it(self):
        address = "SpeakerEQs/one of everything"
        self.tool("copy", self.document, address, "--name", "Other")
        config = self.tree_of(self.document, address)["SpkrEQConfigs"]["members"][0]
        measurement = config["Measurements"]["members"][0]["address"]
        referring = [line for line in self.lines("tree", "--paths", self.document) if f"-> {measurement} " in line]
        self.assertGreater(len(referring), 1)
        other = measurement.replace("one of everything", "Other", 1).rpartition("/")[0]
        moved = self.tool("move", self.document, measurement, other).stderr[:-1].partition(" -> ")[2]
        now = [line for line in self.lines("tree", "--paths", self.document) if f"-> {moved} " in line]
        self.assertEqual(len(now), len(referring))
        for target, words in [(other, "in that collection already"), ("Rooms/[1]/Positions", "holds no objects of the"),
                              ("Rooms/[1]", "several; say which: CorrectionGroups, Positions")]:
            self.assertIn(words, self.tool("move", self.document, moved, target, status=INCOMPLETE).stderr)


def special(number, pattern):
    """As JSON has a float."""
    if math.isnan(number):
        return "NaN" if pattern == 0x7FC00000 else f"NaN:{pattern:08X}"
    return number if math.isfinite(number) else "Infinity" if number > 0 else "-Infinity"


def collection_path(added, collection):
    """The address of the new object without its own step."""
    return added[:len(added) - len(last_step(added))]


def last_step(address):
    """The last step, which may be in quotation marks."""
    if address[-1] in "'\"":
        return address[address.rindex("/" + address[-1], 0, len(address) - 1) + 1:]
    return address.rpartition("/")[2]


if __name__ == "__main__":
    unittest.main()
