"""Runs the lumvex tool in a folder of each test's own."""

import functools
import json
import os
import pathlib
import re
import shutil
import struct
import subprocess
import tempfile
import unittest
import uuid

TOOL = os.environ["LUMVEX_TOOL"]
SAMPLES_FOLDER = pathlib.Path(os.environ["LUMVEX_SAMPLES"])
CATALOGUE = SAMPLES_FOLDER / "catalogue.csv"
SAMPLES = sorted(path for path in SAMPLES_FOLDER.iterdir()
                 if path.suffix in (".frd", ".txt", ".csv", ".wav") and path != CATALOGUE)

IS_SLOW = "LUMVEX_TOOL_IS_SLOW" in os.environ  # with sanitizers

DONE, INCOMPLETE, WRONG_USAGE, DOCUMENT_FAILED = range(4)


def float_wav(channels, samples):
    """A sound file of 32-bit floats at 96 kHz; the samples channel by channel for each point in time."""
    data = struct.pack(f"<{len(samples)}f", *samples)
    return struct.pack("<4sI4s4sIHHIIHH4sI", b"RIFF", 36 + len(data), b"WAVE", b"fmt ", 16, 3, channels, 96000,
                       96000 * 4 * channels, 4 * channels, 32, b"data", len(data)) + data


@functools.cache
def help_of(*command):
    """What the tool says of itself, or of a command."""
    done = subprocess.run([TOOL, *command, "--help"], capture_output=True, check=True, timeout=300)
    return done.stdout.decode("utf-8")


@functools.cache
def command_table():
    """Every command by its name, as the tool itself describes it."""
    done = subprocess.run([TOOL, "help", "--as", "json"], capture_output=True, check=True, timeout=300)
    return {command["name"]: command for command in json.loads(done.stdout)}


def command_names():
    return list(command_table())


def document_use(command):
    """none, reads, changes or makes (a document, where there is none)"""
    return command_table()[command]["document"]


DIGITS = "0123456789ABCDEFGHIJKLMNOPQRSTUV"


def stream_name(identifier):
    """The name of an object's stream: its ID's bytes as shown, five bits a digit."""
    bits = int.from_bytes(uuid.UUID(identifier).bytes, "big") << 2
    return "".join(DIGITS[bits >> shift & 31] for shift in range(125, -1, -5))


class ToolTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="lumvex-test-"))
        self.addCleanup(shutil.rmtree, self.folder)
        self.document = self.folder / "project.lvp"

    def tool(self, *arguments, status=DONE, **options):
        """The finished process, its outputs as text; fails unless it ends with the status and without a crash."""
        done = subprocess.run([TOOL, *map(os.fspath, arguments)], cwd=self.folder, stdin=subprocess.DEVNULL,
                              capture_output=True, timeout=300, **options)
        done.stdout, done.stderr = done.stdout.decode("utf-8"), done.stderr.decode("utf-8")
        self.assertEqual(done.returncode, status, f"{arguments}\n{done.stdout}{done.stderr}")
        return done

    def import_samples(self):
        self.tool("import", self.document, *SAMPLES)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode("utf-8"))
        return path

    def data(self, document=None):
        """(name, sample rate, shape, ID) of every datum."""
        tree = self.tree_of(document or self.document, "Data")
        return [(each["Name"], each["SampleRate"], "{rows} x {columns}".format(**each["Data"]), each["ID"])
                for each in tree["members"]]

    def tree_of(self, document, *arguments):
        return json.loads(self.tool("tree", "--json", document, *arguments).stdout)

    def required_arguments(self, command, document):
        """What the command requires, with samples as its files."""
        named = {"DOC": document, "FILE": CATALOGUE if command == "catalogue" else SAMPLES[0], "NAME": "woofer",
                 "ADDRESS": "/", "PROPERTY": "ID", "NAME=VALUE": "Units=metric", "COLLECTION": "Data", "PATTERN": "X",
                 "DOC2": document, "OUT": self.folder / "out.lvp", "FROM": document, "--config": "Bi amp",
                 "--output": self.folder / "exported.csv"}
        for option in command_table()[command]["options"]:
            name = option["names"][-1]
            if option["isRequired"] or (command, name) == ("export", "NAME"):
                yield from [name, named.get(name, "X")] if name.startswith("-") else [named[name]]

    def every_command(self, document, but=()):
        """Command lines that name the document, one for each command that takes one, except some."""
        return [(name, *self.required_arguments(name, document)) for name in command_names()
                if name not in but and document_use(name) != "none"]
