"""Runs one client of samples/clients in a fresh folder and compares what it prints with the one listing that all print.

    client.py [--events] [--status N] [--drive Z:] COMMAND...

COMMAND gets the response's path and the folder's appended, on Windows with the drive that shows them. Lines that begin
with "event: " tell what a client heard; a client that listens (--events) hears what is in events.txt, in that order,
another one prints none.
"""

import argparse
import difflib
import pathlib
import subprocess
import sys
import tempfile

HERE = pathlib.Path(__file__).resolve().parent
SAMPLES = HERE.parents[1] / "samples" / "clients"


def differences(title, expected, found):
    return list(difflib.unified_diff(expected, found, f"{title} expected", f"{title} found", lineterm="", n=99))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--events", action="store_true")
    parser.add_argument("--status", type=int, default=0)
    parser.add_argument("--drive", default="")
    parser.add_argument("command", nargs=argparse.REMAINDER)
    given = parser.parse_args()

    with tempfile.TemporaryDirectory() as folder:
        command = given.command + [given.drive + str(SAMPLES / "response.txt"), given.drive + folder]
        done = subprocess.run(command, capture_output=True, text=True, encoding="utf-8", errors="replace", timeout=120)
        made = sorted(path.name for path in pathlib.Path(folder).iterdir())
    lines = done.stdout.splitlines()
    heard = [line for line in lines if line.startswith("event: ")]
    listed = [line for line in lines if not line.startswith("event: ")]
    problems = differences("listing", (SAMPLES / "listing.txt").read_text().splitlines(), listed)
    problems += differences("events", (HERE / "events.txt").read_text().splitlines() if given.events else [], heard)
    problems += differences("files", ["acme.lvs", "desk.lvp"], made)
    if done.returncode != given.status:
        problems.append(f"it left with {done.returncode}, not {given.status}")
    if problems:
        print(*problems, done.stderr, sep="\n")
    return 1 if problems else 0


sys.exit(main())
