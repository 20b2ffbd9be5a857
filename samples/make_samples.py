#!/usr/bin/env python3
"""Makes the measurement files of this folder from a model of a two-way loudspeaker in a room (see README.md).

The same script makes the same files, byte for byte. Usage: make_samples.py [FOLDER]
"""
import cmath
import math
import random
import struct
import sys
from pathlib import Path

SPEED_OF_SOUND = 343.0  # m/s
CROSSOVER = 2200.0      # Hz
LEVEL = 86.0            # dB at 1 m and 2.83 V
BAFFLE_WIDTH = 0.22     # m
WOOFER_OFFSET = 0.006   # m that the woofer's acoustic centre lies behind the tweeter's

# Room 5.2 m x 3.9 m x 2.6 m. Modes: frequency (Hz), Q, gain; their sign is the side of the node line.
MODES_LEFT = [(33.0, 8, 1.6), (44.0, 7, 1.1), (66.0, 9, -0.9), (79.5, 8, 0.6), (131.9, 10, 0.5)]
MODES_RIGHT = [(33.0, 8, 1.5), (44.0, 7, -0.8), (66.0, 9, -0.8), (79.5, 8, -0.4), (131.9, 10, 0.4)]

# Distance of the direct sound (m); then path (m), gain and corner frequency of the wall's absorption (Hz): floor, ceiling,
# near side wall, front wall, far side wall, back wall.
PATHS_LEFT = (2.40, [(3.12, 0.55, 4000), (3.75, 0.50, 6000), (3.31, 0.58, 7000), (4.02, 0.42, 900), (5.60, 0.34, 5000),
                     (7.35, 0.25, 3500)])
PATHS_RIGHT = (2.46, [(3.17, 0.55, 4000), (3.79, 0.50, 6000), (4.48, 0.44, 6500), (4.07, 0.42, 900), (4.90, 0.38, 5000),
                      (7.41, 0.25, 3500)])
DIFFUSE_GAIN, DIFFUSE_T60 = 0.012, 0.32  # of the reverberation, relative to the direct sound; seconds
NOISE_FLOOR = 10 ** (-78 / 20)           # of an impulse response, relative to its peak


def low_pass(f, corner, q):
    """Second-order low-pass."""
    s = 1j * f / corner
    return 1 / (1 + s / q + s * s)


def high_pass(f, corner, q):
    """Second-order high-pass."""
    s = 1j * f / corner
    return s * s / (1 + s / q + s * s)


def baffle_step(f):
    """From the whole space (half the pressure) to half of it; -3 dB at 115 m/s divided by the width."""
    s = 1j * f / (115 / BAFFLE_WIDTH)
    return (0.5 + s) / (1 + s)


def resonance(f, centre, q):
    """Band-pass with gain 1 at its centre."""
    s = 1j * f / centre
    return (s / q) / (1 + s / q + s * s)


def delay(f, seconds):
    return cmath.exp(-2j * math.pi * f * seconds)


def woofer_near(f):
    """Closed box, voice-coil inductance, cone break-up, and a fourth-order Linkwitz-Riley low-pass."""
    driver = high_pass(f, 46.0, 0.78) * low_pass(f, 7500.0, 0.6) * (1 + 0.9 * resonance(f, 4700.0, 5))
    return driver * low_pass(f, CROSSOVER, math.sqrt(0.5)) ** 2


def woofer(f):
    return woofer_near(f) * baffle_step(f) * delay(f, WOOFER_OFFSET / SPEED_OF_SOUND)


def tweeter(f):
    """Dome resonance, upper end, edge diffraction of the baffle, and a fourth-order Linkwitz-Riley high-pass."""
    driver = high_pass(f, 650.0, 0.7) * low_pass(f, 24000.0, 0.9)
    edge = 1 - 0.12 * delay(f, 0.11 / SPEED_OF_SOUND) * low_pass(f, 9000.0, 0.7)
    return driver * edge * high_pass(f, CROSSOVER, math.sqrt(0.5)) ** 2


def speaker(f):
    return woofer(f) + tweeter(f)


def room(f, paths, modes):
    """Direct sound with gain 1, first reflections, and modes that the direct sound excites."""
    direct, reflections = paths
    total = 1 + 0j
    for path, gain, corner in reflections:
        total += gain * direct / path * delay(f, (path - direct) / SPEED_OF_SOUND) / (1 + 1j * f / corner)
    for centre, q, gain in modes:
        total += gain * resonance(f, centre, q)
    return total * delay(f, direct / SPEED_OF_SOUND)


def microphone(f):
    """Electret capsule: pressure equalisation and the rise of its diaphragm."""
    return 1 / (1 - 1j * 7.0 / f) * (1 + 0.22 * resonance(f, 13500.0, 1.6)) * low_pass(f, 31000.0, 0.8)


def frequencies(low, high, per_octave):
    count = int(math.log2(high / low) * per_octave + 1e-9)
    return [low * 2 ** (i / per_octave) for i in range(count + 1)]


def decibels(value):
    return 20 * math.log10(abs(value))


def degrees(value):
    return math.degrees(cmath.phase(value))


def inverse_fft(spectrum):
    """Of a power of two of values, without the division by their number."""
    n = len(spectrum)
    if n == 1:
        return spectrum
    even, odd = inverse_fft(spectrum[0::2]), inverse_fft(spectrum[1::2])
    turned = [cmath.exp(2j * math.pi * k / n) * odd[k] for k in range(n // 2)]
    return [even[k] + turned[k] for k in range(n // 2)] + [even[k] - turned[k] for k in range(n // 2)]


def impulse_response(rate, length, paths, modes, rng):
    """Samples with a peak of about 0.7: the model's response (over 32768 samples, so that the modes die away before they
    could wrap around), reverberation from the first reflection on, noise floor, and a fade-out over the last eighth."""
    size = 32768
    spectrum = [0j] * size
    for k in range(1, size // 2):
        f = k * rate / size
        spectrum[k] = speaker(f) * room(f, paths, modes) * low_pass(f, 0.42 * rate, 0.6)
        spectrum[size - k] = spectrum[k].conjugate()
    samples = [v.real / size for v in inverse_fft(spectrum)][:length]
    peak = max(abs(v) for v in samples)
    start = int(min(path for path, _, _ in paths[1]) / SPEED_OF_SOUND * rate)
    for i in range(length):
        value = samples[i] / peak
        if i >= start:
            value += DIFFUSE_GAIN * rng.gauss(0, 1) * 10 ** (-3 * (i - start) / rate / DIFFUSE_T60)
        value += NOISE_FLOOR * rng.gauss(0, 1)
        fade = min(1.0, (length - i) / (length / 8))
        samples[i] = 0.7 * value * 0.5 * (1 - math.cos(math.pi * fade))
    return samples


def correction_filter(rate, length, response, target):
    """Samples of a filter that brings the response to the target, half its length late; where the response is weak
    (below -17 dB) it raises it less and less."""
    size = 4096
    spectrum = [0j] * size
    for k in range(1, size // 2):
        f = k * rate / size
        actual = response(f)
        inverse = actual.conjugate() / (abs(actual) ** 2 + 0.02)
        spectrum[k] = inverse * target(f) * delay(f, length / 2 / rate) / size
        spectrum[size - k] = spectrum[k].conjugate()
    window = [0.5 - 0.5 * math.cos(2 * math.pi * i / length) for i in range(length)]
    return [v.real * w for v, w in zip(inverse_fft(spectrum), window)]


def wav(rate, bits, channels):
    """The bytes of a .wav file: 16 or 24 bits as integers, 32 as floats; channels are lists of samples within -1..1."""
    content = bytearray()
    for frame in zip(*channels):
        for value in frame:
            if bits == 32:
                content += struct.pack("<f", value)
            else:
                whole = max(-1 << (bits - 1), min((1 << (bits - 1)) - 1, round(value * (1 << (bits - 1)))))
                content += struct.pack("<i", whole)[: bits // 8]
    frame_size = len(channels) * bits // 8
    tag = 3 if bits == 32 else 1
    header = struct.pack("<4sIHHIIHH", b"fmt ", 16, tag, len(channels), rate, rate * frame_size, frame_size, bits)
    if tag == 3:
        header += struct.pack("<4sII", b"fact", 4, len(channels[0]))
    chunks = b"WAVE" + header + struct.pack("<4sI", b"data", len(content)) + content
    return struct.pack("<4sI", b"RIFF", len(chunks)) + chunks


def response_rows(response, points, rng, noise, row):
    """One text line per frequency; the noise (relative to LEVEL) rises at low frequencies, as it does in every room."""
    lines = []
    for f in points:
        amount = noise * (1 + 30 / f)
        value = response(f) + complex(rng.gauss(0, amount), rng.gauss(0, amount))
        lines.append(row(f, LEVEL + decibels(value), degrees(value)))
    return lines


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else Path(__file__).parent
    rng = random.Random(20)

    def write(name, lines, ending="\n", encoding="utf-8", mark=""):
        (folder / name).write_bytes((mark + ending.join(lines) + ending).encode(encoding))

    def tabs(f, level, phase):
        return f"{f:.4f}\t{level:.4f}\t{phase:.4f}"

    write("woofer.frd", ["* Woofer on its baffle, 2.83 V, 1 m, gated", "* Frequency(Hz)\tMagnitude(dB)\tPhase(deg)"]
          + response_rows(woofer, frequencies(20, 20000, 48), rng, 0.001, tabs))
    write("tweeter.txt", ["Freq\tdB\tPhase"] + response_rows(tweeter, frequencies(200, 24000, 48), rng, 0.001, tabs))
    write("woofer-near.txt", ["Fréquence [Hz]  Niveau [dB]  Phase [°]"]
          + response_rows(woofer_near, frequencies(10, 500, 24), rng, 0.0005,
                          lambda f, level, phase: f"{f:9.3f} {level:9.3f} {phase:9.2f}"),
          ending="\r\n", encoding="utf-16-le", mark="\ufeff")
    write("room-left.csv", ["Frequenz;Pegel"]
          + response_rows(lambda f: speaker(f) * room(f, PATHS_LEFT, MODES_LEFT), frequencies(20, 20000, 24), rng, 0.006,
                          lambda f, level, phase: f"{f:.2f};{level:.2f}".replace(".", ",")),
          ending="\r\n")
    write("room-right.csv", ["Frequency (Hz), SPL (dB), Phase (degrees)"]
          + response_rows(lambda f: speaker(f) * room(f, PATHS_RIGHT, MODES_RIGHT), frequencies(20, 20000, 24), rng, 0.006,
                          lambda f, level, phase: f"{f:.3f}, {level:.3f}, {phase:.2f}"),
          mark="\ufeff")
    reference = decibels(microphone(1000))
    write("microphone.txt", ['"Sens Factor =-12.34dB, AGain =18dB, SERNO: 7000042"']
          + [f"{f:.3f}\t{decibels(microphone(f)) - reference:.4f}" for f in frequencies(10, 20000, 24)], ending="\r\n")

    def impulse(rate, length, paths, modes):
        return impulse_response(rate, length, paths, modes, rng)

    (folder / "impulse-left.wav").write_bytes(wav(48000, 32, [impulse(48000, 8192, PATHS_LEFT, MODES_LEFT)]))
    (folder / "impulse-right.wav").write_bytes(wav(96000, 24, [impulse(96000, 16384, PATHS_RIGHT, MODES_RIGHT)]))
    (folder / "impulse-stereo.wav").write_bytes(wav(44100, 16, [impulse(44100, 8192, PATHS_LEFT, MODES_LEFT),
                                                               impulse(44100, 8192, PATHS_RIGHT, MODES_RIGHT)]))

    ways = [(woofer, lambda f: low_pass(f, CROSSOVER, math.sqrt(0.5)) ** 2),
            (tweeter, lambda f: high_pass(f, CROSSOVER, math.sqrt(0.5)) ** 2)]
    (folder / "design").mkdir(exist_ok=True)
    (folder / "design" / "correction.wav").write_bytes(
        wav(44100, 32, [correction_filter(44100, 1024, response, target) for response, target in ways]))


if __name__ == "__main__":
    main()
