"""Measure a model on voices that took no part in anything: evaluate.py WORK_DIR MODEL.onnx HEARING [HOURS [PHRASES]]

HEARING is the program of tools/hearing, which hears recordings with the code of the product: the classifier, the
energy gate and the verification by the embedded recogniser.  Writes WORK_DIR/figures.md and WORK_DIR/curve.png.
"""
import collections
import os
import subprocess
import sys
import tempfile

import cv2
import matplotlib
import numpy as np

import augment
import conditions
import model as m
import texts
import voices
from train import POLL, each_part, say

matplotlib.use("Agg")
from matplotlib import pyplot

THRESHOLDS = (0.3, 0.6, 0.8, 0.95)
SHOWN = (0.3, 0.6, 0.95)
USUAL = 0.6             # the program's threshold as it comes
PARTS = 8               # each of them starts HEARING once
NEAR = 0.1              # of the other speech is nearly the phrase
REACH = 0.7             # seconds after the phrase within which a candidate counts as heard
MOST_WORDS = 4          # more in 2.5 s and the program takes them for running speech, whatever they are
DEMO = [("espeak", "en-us"), ("espeak", "en-us+f3"), ("flite", "slt"), ("flite", "rms"), ("flite", "awb")]
DEMO_TEXTS = ["Hey Vessa", "Hey, Vessa", "Hey Vessa!", "Hey Vessa, what time is it", "Hey Vessa open the browser"]
GROUPS = {"festival-ked_diphone": "ked (American English)", "czech_machac": "machac (Czech)",
          "espeak": "espeak-ng, English", "espeak-foreign": "espeak-ng, other languages"}


def hear(program, model, recordings):
    """[[(threshold, second, probability, confirmed, transcript)] for each (samples, phase)], by the product's code."""
    def share(k):
        with tempfile.TemporaryDirectory() as folder:
            listing, mine = [], recordings[k::PARTS]
            for i, (x, phase) in enumerate(mine):
                np.round(x * 32768).clip(-32768, 32767).astype("<i2").tofile(f"{folder}/{i}.raw")
                listing.append(f"{folder}/{i}.raw\t{phase}\n")
            run = subprocess.run([program, model, *map(str, THRESHOLDS)], input="".join(listing), text=True, check=True,
                                 stdout=subprocess.PIPE, env={**os.environ, "HOME": folder})
            out = [[] for _ in mine]
            for line in filter(lambda text: text.count("\t") == 5, run.stdout.splitlines()):   # the rest is log
                path, threshold, second, p, confirmed, transcript = line.split("\t")
                out[int(os.path.basename(path)[:-4])].append((float(threshold), float(second), float(p), confirmed == "1", transcript))
            return out

    parts, out = each_part(share, PARTS), [None] * len(recordings)
    for k, part in enumerate(parts):
        out[k::PARTS] = part
    return out


def percent(part, whole):
    return f"{100 * part / whole:.1f}" if whole else "–"


def recall(program, model, mixer, limit):
    """{condition: {(group, in running speech): [n, {threshold: [heard, and confirmed]}]}} and what was understood instead."""
    family, text = mixer.sets["phrase"]["family"], mixer.sets["phrase"]["text"]
    chosen = np.concatenate([mixer.rng.permutation(np.flatnonzero(family == f))[:limit] for f in GROUPS])
    jobs, meaning = [], []
    for name in conditions.CONDITIONS:
        for i in chosen:
            x, s, e = conditions.phrase_recording(mixer, i, name)
            begin = max(0, int(mixer.sets["phrase"]["times"][i][0]))   # what was said long before costs time only
            cut = max(0, begin + m.RATE - 48000)
            jobs.append((x[cut:int(e + REACH * m.RATE)], int(mixer.rng.integers(0, POLL))))
            running = texts.words_before_phrase(text[i]) + 2 > MOST_WORDS
            meaning.append((name, (str(family[i]), running), (s - cut) / m.RATE))
    table = {c: {(f, running): [0, {t: [0, 0] for t in THRESHOLDS}] for f in GROUPS for running in (False, True)}
             for c in conditions.CONDITIONS}
    misheard, early = collections.Counter(), collections.Counter()
    for (name, group, s), lines in zip(meaning, hear(program, model, jobs)):
        table[name][group][0] += 1
        for t in THRESHOLDS:
            mine = [q for q in lines if q[0] == t]
            cell = table[name][group][1][t]
            cell[0] += any(q[1] >= s for q in mine)
            cell[1] += any(q[1] >= s and q[3] for q in mine)
            early[name, t] += any(q[1] < s for q in mine)
        misheard.update((name, q[4]) for q in lines if q[0] == USUAL and q[1] >= s and not q[3])
    return table, misheard, early


def speech_again_and_again(mixer):
    """Recordings of the test speech without end, ordinary and nearly right; later turns at other speeds."""
    turn = 0
    while True:
        sources = {tag: conditions.speech_recordings(mixer, tag) for tag in ("generic", "near")}
        while (x := next(sources[tag := "near" if mixer.rng.random() < NEAR else "generic"], None)) is not None:
            yield tag, augment.stretched(x, augment.speed(mixer.rng, 0.06)) if turn else x
        turn += 1


def false_wakes(program, model, mixer, hours):
    """[(kind, condition, seconds, lines of HEARING)]: the test speech, each recording disturbed in one way, and noises."""
    names, out, total = list(conditions.CONDITIONS), [], 0.0
    speech = speech_again_and_again(mixer)
    while total < hours * 3600:
        jobs, meaning = [], []
        for n in range(120):
            tag, x = next(speech)
            name = names[n % len(names)]
            jobs.append((conditions.disturbed(mixer, x, name), int(mixer.rng.integers(0, POLL))))
            meaning.append((tag, name))
        kind = mixer.rng.choice(sorted(set(augment.KINDS)))
        x = augment.noise(mixer.rng, kind, 120 * m.RATE, mixer.any_speech)
        jobs.append(((x * 0.9 / np.abs(x).max() * 10 ** -mixer.rng.uniform(0, 2)).astype(np.float32), 0))
        meaning.append(("noise", kind))
        out += [(*means, len(job[0]) / m.RATE, lines) for means, job, lines in zip(meaning, jobs, hear(program, model, jobs))]
        total += sum(len(x) for x, _ in jobs) / m.RATE
        alone, confirmed = (sum(q[0] == USUAL and (q[3] or not c) for row in out for q in row[3]) for c in (False, True))
        say(f"other sound: {total / 3600:.1f} h, at {USUAL} {alone} candidates, {confirmed} confirmed")
    return out


def print_recall(out, table, early):
    head = " | ".join(f"{t}" for t in SHOWN)
    out(f"\nShare of phrases that wake, in percent, first stage alone / and confirmed by the recogniser:\n\n| | n | {head} |\n| --- | --- | {'--- | ' * len(SHOWN)}")
    for name, groups in table.items():
        rows = [("**all**", list(groups)), ("all but in running speech", [g for g in groups if not g[1]])]
        rows += [(GROUPS[f], [(f, False), (f, True)]) for f in GROUPS]
        for label, which in rows:
            n = sum(groups[g][0] for g in which)
            cells = [[sum(groups[g][1][t][k] for g in which) for k in (0, 1)] for t in SHOWN]
            out(f"| {name}, {label} | {n} | " + " | ".join(f"{percent(a, n)} / {percent(b, n)}" for a, b in cells) + " |")
    out("\nA candidate before the s of \"Vessa\" begins, in phrases, at " + ", ".join(map(str, SHOWN)) + ": " +
        "; ".join(f"{name} " + " ".join(str(early[name, t]) for t in SHOWN) for name in table))


def rate(lines_of, seconds, t, confirmed):
    n = sum(q[0] == t and (q[3] or not confirmed) for lines in lines_of for q in lines)
    return n, n * 3600 / seconds


def print_false(out, rows, kinds):
    """A line for each of kinds, {label: which rows}."""
    out("\nFalse wakes an hour, first stage alone / confirmed (number):\n\n| | hours | " + " | ".join(map(str, SHOWN)) + " |\n| --- | --- | " + "--- | " * len(SHOWN))
    for label, which in kinds.items():
        part = [r for r in rows if which(r)]
        seconds = sum(r[2] for r in part)
        cells = []
        for t in SHOWN:
            (_, alone), (n, both) = (rate([r[3] for r in part], seconds, t, c) for c in (False, True))
            cells.append(f"{alone:.1f} / {both:.2f} ({n})")
        out(f"| {label} | {seconds / 3600:.2f} | " + " | ".join(cells) + " |")
    taken = collections.Counter(q[4] for r in rows for q in r[3] if q[0] == USUAL and q[3])
    out(f"\nWrongly confirmed at {USUAL}, as: " + ", ".join(f"\"{k}\" {n}" for k, n in taken.most_common(15)))


def draw(path, table, rows):
    figure, axes = pyplot.subplots(figsize=(6.4, 4.2), dpi=100)
    seconds = sum(r[2] for r in rows)
    for name, colour in (("clean", "tab:blue"), ("10 dB", "tab:orange"), ("room, 10 dB", "tab:green")):
        n = sum(g[0] for g in table[name].values())
        for confirmed, style in ((False, "o--"), (True, "o-")):
            x = [max(rate([r[3] for r in rows], seconds, t, confirmed)[1], 0.02) for t in THRESHOLDS]
            y = [100 * sum(g[1][t][int(confirmed)] for g in table[name].values()) / n for t in THRESHOLDS]
            axes.plot(x, y, style, color=colour, markersize=3, label=name + (", confirmed" if confirmed else ", first stage"))
    axes.set_xscale("log")
    axes.set_xlabel(f"false wakes an hour ({seconds / 3600:.0f} h; 0.02 stands for none)")
    axes.set_ylabel("phrases that wake, %")
    axes.grid(alpha=0.3)
    axes.legend(fontsize=7)
    axes.set_title("Unheard voices, thresholds 0.3 (right) to 0.95 (left)", fontsize=9)
    figure.tight_layout()
    figure.savefig(path)


def demo(path):
    """The least number of polls in a row that would wake as the program comes, for the voices of the demonstration."""
    cv2.setNumThreads(1)
    net, espeak, fail = cv2.dnn.readNetFromONNX(path), voices.Espeak(), []

    def look(window):
        net.setInput(window.reshape(1, -1), "audio")
        return float(net.forward()[0, 1])

    for engine, voice in DEMO:
        runs = []
        for text in DEMO_TEXTS:
            x = (espeak.speak(text, voice, speed=175) if engine == "espeak" else voices.flite(text, voice))[0][:int(1.6 * m.RATE)]
            x, least = np.concatenate([np.zeros(m.WINDOW), x, np.zeros(m.RATE // 2)]), 99
            for gain in (1.0, 0.05):
                y = (np.round(x * gain * 32767) / 32768).astype(np.float32)
                for phase in range(0, POLL, POLL // 3):
                    run = best = 0
                    for end in range(m.WINDOW + POLL + phase, len(y) + 1, POLL):
                        run = run + 1 if look(y[end - m.WINDOW:end]) >= USUAL else 0
                        best = max(best, run)
                    least = min(least, best)
            runs.append(least)
        if min(runs) < 2:
            fail.append(f"{engine} {voice}")
        print(f"  {engine} {voice:9s} " + "  ".join(f"{t!r}: {r}" for t, r in zip(DEMO_TEXTS, runs)), flush=True)
    return fail


def main():
    work, model, program = sys.argv[1:4]
    hours = float(sys.argv[4]) if len(sys.argv) > 4 else 20.0
    limit = int(sys.argv[5]) if len(sys.argv) > 5 else 60       # phrases of each group, in each condition
    fail, lines = demo(model), []
    if fail:
        sys.exit(f"voices that do not wake in two polls running: {fail}")

    def out(line):
        print(line, flush=True)
        lines.append(line)

    mixer = augment.Mixer(work, "test", 11)
    table, misheard, early = recall(program, model, mixer, limit)
    print_recall(out, table, early)
    for name in table:
        said = [(k, n) for (c, k), n in misheard.most_common() if c == name][:12]
        out(f"\nUnderstood instead, candidates at {USUAL}, {name}: " + ", ".join(f"\"{k}\" {n}" for k, n in said))
    rows = false_wakes(program, model, mixer, hours)
    kinds = {"ordinary speech": lambda r: r[0] == "generic", "nearly the phrase": lambda r: r[0] == "near",
             "noises alone": lambda r: r[0] == "noise", "**all**": lambda r: True}
    kinds.update({f"speech, {c}": (lambda r, c=c: r[0] != "noise" and r[1] == c) for c in table})
    print_false(out, rows, kinds)
    draw(f"{work}/curve.png", table, rows)
    open(f"{work}/figures.md", "w").write("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
