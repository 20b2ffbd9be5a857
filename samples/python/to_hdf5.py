#!/usr/bin/python3
"""Writes a document into an HDF5 file: objects as groups, arrays as data sets, numbers and texts as attributes.

    to_hdf5.py document.lvp file.h5
"""
import sys

import h5py
import lumvex


def write(item, group):
    for name, member in lumvex.properties(type(item)).items():
        if member.ranges:
            continue
        value = getattr(item, name)
        if member.kind == "array" and value is not None:
            group.create_dataset(name, data=value).attrs["unit"] = member.unit
        elif member.kind == "value" and isinstance(value, (bool, int, float, str)):
            group.attrs[name] = value
        elif member.kind == "collection":
            for place, child in enumerate(value):
                # A slash is between the names of groups, and names need not differ.
                below = f"{name}/{place:04} " + child.name.replace("/", "_").replace("\0", "_")
                write(child, group.create_group(below, track_order=True))


def main(document, path):
    with lumvex.open(document) as doc, h5py.File(path, "w") as file:
        write(doc, file)


if __name__ == "__main__":
    main(*sys.argv[1:])
