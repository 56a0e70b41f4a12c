#!/usr/bin/env python3
"""Makes the three short sounds of the voice loop: make_cues.py FOLDER.

Each is a sum of decaying sine waves, so there is nothing to license and nothing to download. With
the committed settings the files come out the same on every machine.
"""

import math
import pathlib
import struct
import sys
import wave

RATE = 22050  # Hz
PEAK = 0.8  # of full scale; the volume they are played at is the program's


def tone(seconds, partials, pitch=lambda time: 1.0, attack=0.002):
    """Partials are (frequency in Hz, amplitude, decay time in seconds); `pitch` bends all of them."""
    samples = []
    phase = 0.0  # the integral of the bend, so that a gliding tone has no jumps
    count = int(seconds * RATE)
    for number in range(count):
        time = number / RATE
        phase += pitch(time) / RATE
        value = sum(
            amplitude * math.exp(-time / decay) * math.sin(2 * math.pi * frequency * phase)
            for frequency, amplitude, decay in partials
        )
        fade = min(1.0, time / attack, (count - number) / (0.01 * RATE))
        samples.append(value * fade)
    return samples


CUES = {
    # A small glass: high, with partials that are no harmonics.
    "Tink": lambda: tone(0.22, [(2100, 1.0, 0.05), (5670, 0.4, 0.02), (8900, 0.15, 0.01)]),
    # A low, dull note that says no.
    "Basso": lambda: tone(
        0.42, [(98, 1.0, 0.16), (147, 0.6, 0.12), (196, 0.5, 0.09), (294, 0.3, 0.05)], attack=0.008
    ),
    # A bubble: a short tone that rises.
    "Pop": lambda: tone(0.09, [(420, 1.0, 0.03)], pitch=lambda time: 1.0 + 14.0 * time),
}


def write(path, samples):
    loudest = max(abs(sample) for sample in samples)
    with wave.open(str(path), "wb") as file:
        file.setnchannels(1)
        file.setsampwidth(2)
        file.setframerate(RATE)
        file.writeframes(
            b"".join(
                struct.pack("<h", round(32767 * PEAK * sample / loudest)) for sample in samples
            )
        )


def main():
    if len(sys.argv) != 2:
        sys.exit(__doc__)
    folder = pathlib.Path(sys.argv[1])
    for name, samples in CUES.items():
        write(folder / f"{name}.wav", samples())


main()
