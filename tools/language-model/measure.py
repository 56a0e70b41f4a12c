#!/usr/bin/env python3
"""Word errors in the commands of unheard.txt, before and after tuning: measure.py WORK_DIR WORDS [RECORDINGS]

WORDS is the program tavik-words of tools/hearing.  WORK_DIR holds what tools/wake-model/synthesise.py has spoken, some
of which is the babble behind the commands; the table is written into WORK_DIR/words.md.  RECORDINGS of the commands
are heard in each condition (as many as there are commands), each by the next voice.
"""
import collections
import pathlib
import random
import subprocess
import sys
import tempfile

import numpy as np

here = pathlib.Path(__file__).resolve().parent
sys.path.insert(0, str(here.parent / "wake-model"))
import augment
import conditions
import voices
from make_wake_model import distance
from train import each_part

# Four made from recordings of people, four that are computed.  No text of theirs is in a language model; flite's two
# have spoken training material of the wake model, the others have not.
VOICES = ["festival ked_diphone", "espeak en-us+f4", "espeak en-us+m7", "flite rms",
          "espeak en-us+Alicia", "flite slt", "espeak en-029", "festival kal_diphone"]
GROUPS = {"recorded voices": ("festival", "flite"), "espeak-ng": ("espeak",), "**all**": ("festival", "flite", "espeak")}
BEFORE, AFTER = 0.5, 1.2            # seconds of nothing around a command
PARTS = 8                           # each of them starts WORDS once


def spoken(commands):
    """[(voice, text, samples)]: each command by the next voice."""
    rng, espeak, out = random.Random(4), voices.Espeak(), []
    for number, voice in enumerate(VOICES):
        engine, name = voice.split()
        texts = commands[number::len(VOICES)]
        stretches = [rng.uniform(0.9, 1.15) for _ in texts]
        if engine == "festival":
            sounds = voices.festival(list(zip(texts, stretches)), name)
        elif engine == "flite":
            sounds = [voices.flite(text, name, round(stretch, 2)) for text, stretch in zip(texts, stretches)]
        else:
            sounds = [espeak.speak(text, name, speed=int(160 / stretch), pitch=int(rng.uniform(35, 65)))
                      for text, stretch in zip(texts, stretches)]
        out += [(engine, text, sound[0] * (0.7 / np.abs(sound[0]).max())) for text, sound in zip(texts, sounds)]
    return out


def understood(program, recordings, *options):
    def share(k):
        with tempfile.TemporaryDirectory() as folder:
            paths = [f"{folder}/{i}.raw" for i in range(k, len(recordings), PARTS)]
            for path, x in zip(paths, recordings[k::PARTS]):
                np.round(x * 32768).clip(-32768, 32767).astype("<i2").tofile(path)
            run = subprocess.run([program, *options], input="\n".join(paths) + "\n", text=True, check=True, stdout=subprocess.PIPE)
            heard = dict(line.split("\t") for line in run.stdout.splitlines() if line.count("\t") == 1)
            return [heard[path].split() for path in paths]

    out = [None] * len(recordings)
    for k, part in enumerate(each_part(share, PARTS)):
        out[k::PARTS] = part
    return out


def main():
    work, program = sys.argv[1:3]
    commands = (here / "unheard.txt").read_text().splitlines()
    commands = commands[:int(sys.argv[3])] if len(sys.argv) > 3 else commands
    clips, mixer = spoken(commands), augment.Mixer(work, "test", 5)
    lines = [f"Words wrong, in percent of those said, as it comes / tuned; {len(clips)} commands in each condition:\n",
             "| | " + " | ".join(GROUPS) + " |", "| --- |" + " --- |" * len(GROUPS)]
    for name in conditions.CONDITIONS:
        quiet = lambda seconds: np.zeros(int(seconds * augment.RATE), np.float32)
        sounds = [conditions.disturbed(mixer, np.concatenate([quiet(BEFORE), x, quiet(AFTER)]), name) for _, _, x in clips]
        count, wrong = collections.Counter(), collections.Counter()
        for tuned, options in enumerate((["untuned"], [])):
            for (engine, text, _), heard in zip(clips, understood(program, sounds, *options)):
                count[engine] += len(text.split()) * tuned
                wrong[engine, tuned] += distance(text.split(), heard)
        share = lambda engines, tuned: 100 * sum(wrong[e, tuned] for e in engines) / sum(count[e] for e in engines)
        lines.append(f"| {name} | " + " | ".join(f"{share(g, 0):.1f} / {share(g, 1):.1f}" for g in GROUPS.values()) + " |")
        print(lines[-1], flush=True)
    pathlib.Path(work, "words.md").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
