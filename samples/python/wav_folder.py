#!/usr/bin/python3
"""Puts the WAV files of a folder into a document as named data, or writes a document's data as WAV files.

    wav_folder.py import FOLDER document.lvp
    wav_folder.py export document.lvp FOLDER
"""
import pathlib
import sys

import lumvex
import soundfile


def import_folder(folder, document):
    with lumvex.open(document, "w") as doc:
        for path in sorted(pathlib.Path(folder).glob("*.wav")):
            samples, rate = soundfile.read(path, dtype="float32", always_2d=True)
            doc.data.add(path.stem, data=samples, samplerate=rate)
        doc.save()


def export_folder(document, folder):
    with lumvex.open(document) as doc:
        for name, datum in doc.data.items():
            if datum.samplerate > 0:  # else it is a frequency response
                soundfile.write(pathlib.Path(folder, f"{name}.wav"), datum.data, datum.samplerate, "FLOAT")


if __name__ == "__main__":
    {"import": import_folder, "export": export_folder}[sys.argv[1]](*sys.argv[2:])
