#!/usr/bin/python3
"""Writes the named data and the speakers' measurements of a project into a .mat file: an array of structs each, with the
fields name, address, samplerate and data.

    to_mat.py document.lvp file.mat
"""
import sys

import lumvex
import numpy
import scipy.io


def structs(items):
    rows = [(item.name, item.path, item.samplerate, item.data) for item in items if item.data is not None]
    table = numpy.empty(len(rows), dtype=[(name, object) for name in ("name", "address", "samplerate", "data")])
    table[:] = rows
    return table


def main(document, path):
    with lumvex.open(document) as doc:
        measurements = [each for each in doc.speakers.find("*/*/Measurements/*")]
        scipy.io.savemat(path, {"data": structs(doc.data), "measurements": structs(measurements)})


if __name__ == "__main__":
    main(*sys.argv[1:])
