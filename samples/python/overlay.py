#!/usr/bin/python3
"""Draws the responses of all positions of a room over each other.

    overlay.py room.lvp Studio picture.png
"""
import sys

import lumvex
import matplotlib
import numpy

matplotlib.use("Agg")  # draws into a file, and needs no screen
from matplotlib import pyplot  # noqa: E402


def curves(doc, name, measurement):
    """Frequencies in Hz and levels in dB of each channel: of an impulse response its spectrum, else what was measured."""
    data, rate = measurement.data, measurement.samplerate
    if rate > 0:
        levels = 20 * numpy.log10(numpy.abs(numpy.fft.rfft(data, axis=0)[1:]) + 1e-9)
        return [(numpy.fft.rfftfreq(len(data), 1 / rate)[1:], each) for each in levels.T]
    frequencies = doc.data[name].data[:, 0]  # rooms keep the levels; the whole table is named data
    return [(frequencies, each) for each in data.T]


def main(document, room, picture):
    figure, axes = pyplot.subplots(figsize=(9, 5))
    with lumvex.open(document) as doc:
        for position in doc.rooms[room].positions:
            for name, measurement in position.measurements.items():
                for frequencies, levels in curves(doc, name, measurement):
                    axes.semilogx(frequencies, levels, label=f"{position.name}: {name}")
    axes.set(title=room, xlabel="Frequency (Hz)", ylabel="Level (dB)", xlim=(20, 20000))
    axes.legend()
    figure.savefig(picture)
    return figure


if __name__ == "__main__":
    main(*sys.argv[1:])
