"""Everything that is published is there in Python, with its documentation and for type checkers."""

import ast
import enum
import os
import pathlib
import re
import subprocess
import sys

import lumvex
import pytest

BUILD = pathlib.Path(os.environ["LUMVEX_BUILD"])
STUB = BUILD / "made/python/_classes.pyi"
DEFINITION = (BUILD / "Lumvex51.idl").read_text()  # of the type library: printed without any of what Python knows

# What Python has another way for, and the method by which a class offers it.
NOTATIONS = {"Item": "__getitem__", "Count": "__len__", "_NewEnum": "__iter__", "Remove": "__delitem__",
             "RemoveAll": "clear", "FindNameExact": "__getitem__", "NameExists": "__contains__", "IsSame": "__eq__",
             "OpenFile": "__enter__", "SaveFile": "save", "SaveFileAs": "save_as", "CloseFile": "close"}
# Published names that are spelled otherwise in Python.
NAMES = {"GaindB": "gain_db", "LinkDispatch": "linked", "SampleRate": "samplerate", "SpeakerEQs": "speakers",
         "NewDescendantsEnum": "descendants", "NewDependentLinksEnum": "dependent_links"}


def interfaces():
    for name, body in re.findall(r"interface (\w+) : \w+ \{\n(.*?)\n    \};", DEFINITION, re.S):
        yield name, dict.fromkeys(re.findall(r"HRESULT (\w+)\(", body))


def class_of(interface):
    names = {"_Collectable": "Item", "_Collection": "Collection", "_Root": "Document"}
    return getattr(lumvex, names.get(interface) or interface[1:])


def attribute_of(member):
    if member in NAMES:
        return NAMES[member]
    words = re.sub(r"([A-Z]+)([A-Z][a-z])", r"\1_\2", member.replace("XdA_", "Xda_"))
    return re.sub(r"([a-z0-9])([A-Z])", r"\1_\2", words).lower()


def test_every_member_of_every_interface_is_there_and_documented():
    units = dict(re.findall(r"`(\w+)[^|]*\| \w+\*? \| ([^|]+?) \|", (BUILD / "reference.md").read_text()))
    count = 0
    for interface, members in interfaces():
        kind = class_of(interface)
        assert kind.__doc__.endswith(".")
        for member in members:
            count += 1
            name = NOTATIONS.get(member) or attribute_of(member)
            assert hasattr(kind, name), f"{interface}.{member}"
            if member in NOTATIONS:
                continue
            described = vars(kind)[name]
            assert len(described.__doc__) > 10, f"{interface}.{member}"
            unit = getattr(described, "unit", "")
            assert f"({unit})" in described.__doc__ or not unit, f"{interface}.{member}"
            if member == "MicDistance":
                assert unit == units[member] == "m"
    assert count > 350 and len(list(interfaces())) == 55


def test_no_member_hides_what_all_objects_have():
    common = {name for kind in lumvex.Measurement.__mro__ + lumvex.Data.__mro__ + lumvex.Project.__mro__
              if kind.__module__ == "lumvex._objects" for name in vars(kind)}
    for interface, _ in interfaces():
        hidden = {name for name in common & set(vars(class_of(interface))) if name[0] != "_"}
        assert hidden <= {"member_class"}, interface


def test_every_value_of_every_enumeration_is_there():
    for body, name in re.findall(r"enum \w+ \{\n(.*?)\n    \} (\w+);", DEFINITION, re.S):
        kind = getattr(lumvex, name)
        assert issubclass(kind, enum.IntEnum) or issubclass(kind, enum.IntFlag)
        values = [int(value) for value in re.findall(r"= (-?\d+)", body)]
        assert values and len(kind.__members__) == len(values)
        assert [int(each) for each in kind.__members__.values()] == values
    assert lumvex.LXOptMethod.MIN_DELAY.name == "MIN_DELAY" and issubclass(lumvex.LXIOConfig, enum.IntFlag)


def test_the_stub_says_what_there_is():
    said = {}
    for node in ast.parse(STUB.read_text()).body:
        if isinstance(node, ast.ClassDef):
            said[node.name] = {each.target.id if isinstance(each, ast.AnnAssign) else each.name for each in node.body
                               if isinstance(each, (ast.AnnAssign, ast.FunctionDef))}
    for interface, _ in interfaces():
        kind = class_of(interface)
        assert said[kind.__name__] == {name for name in vars(kind) if name[0] != "_" and name != "member_class"}


def mypy(*arguments, cwd):
    command = [sys.executable, "-m", "mypy", "--strict", "--cache-dir", str(cwd / "cache"), *arguments]
    return subprocess.run(command, cwd=cwd, env=os.environ | {"MYPYPATH": str(BUILD / "python")}, text=True,
                          capture_output=True, check=False)


def test_type_checkers_take_what_is_right_and_refuse_what_is_wrong(tmp_path):
    pytest.importorskip("mypy", reason="mypy is not installed: the stubs were not checked")
    program = tmp_path / "program.py"
    program.write_text(
        "import lumvex\n"
        "doc = lumvex.Project()\n"
        "rate: int = doc.data['woofer'].samplerate\n"
        "names: list[str] = [each.name for each in doc.data]\n"
        "doc.data.add('x').data = [1, 2, 3]\n"
        "q: float = doc.box_cfgs[0].banks[0].spkrs[0].filter_q_hi[2]\n"
        "doc.units = 'imperial'\n"
        "doc.data[0].samplerate = 'fast'\n"
        "doc.rooms[0].nothing\n"
        "doc.rooms.add(3)\n")
    whole = mypy("-p", "lumvex", cwd=tmp_path)
    assert whole.returncode == 0, whole.stdout
    said = mypy("program.py", cwd=tmp_path).stdout
    assert [int(line) for line in re.findall(r"program.py:(\d+): error", said)] == [8, 9, 10], said


def test_without_numpy_it_says_what_to_install():
    said = subprocess.run([sys.executable, "-c", "import sys; sys.modules['numpy'] = None; import lumvex"], text=True,
                          capture_output=True, check=False)
    assert said.returncode == 1 and "apt install python3-numpy" in said.stderr.splitlines()[-1]
