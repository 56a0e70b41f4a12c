"""Figures on the voices kept for decisions, by torch: dev.py WORK_DIR.  Spectra are kept in dev_views.npz."""
import os
import sys

import numpy as np
import torch

import augment
import conditions
import model as m
from examples import Eye
from train import POLL, all_states_of, probabilities, say, seen, windows_of

THRESHOLDS = (0.3, 0.6, 0.95)
REACH = 0.7             # seconds after the phrase within which a candidate counts as heard
MERGE = 1.2             # seconds within which several polls are one candidate


def views(work):
    path = f"{work}/dev_views.npz"
    if os.path.exists(path):
        return dict(np.load(path))
    mixer, eye = augment.Mixer(work, "dev", 21), Eye()
    spectra, label, owner, part = [], [], [], []
    names = list(conditions.CONDITIONS)
    for c, name in enumerate(names):
        for i in range(len(mixer.sets["phrase"]["voice"])):
            x, s, e = conditions.phrase_recording(mixer, i, name)
            phase = int(mixer.rng.integers(0, POLL))
            windows = windows_of(x, phase)
            good = [k for k in range(len(windows)) if e <= POLL + phase + k * POLL <= e + REACH * m.RATE]
            spectra.append(seen(eye, [windows[k] for k in good]))
            label += [c] * len(good)
            owner += [i] * len(good)
        say("phrases", name)
    for tag in ("generic", "near"):
        for n, (x, _) in enumerate(conditions.speech_recordings(mixer, tag)):
            c = n % len(names)
            windows = windows_of(conditions.disturbed(mixer, x, names[c]))
            spectra.append(seen(eye, windows))
            label += [(100 if tag == "generic" else 200) + c] * len(windows)
            owner += [n] * len(windows)
    out = dict(spectra=np.concatenate(spectra), label=np.array(label), owner=np.array(owner))
    np.savez(path, **out)
    return out


def candidates(p, threshold):
    count, free = 0, 0
    for k, over in enumerate(p >= threshold):
        if over and k >= free:
            count, free = count + 1, k + 1 + int(MERGE / 0.2)
    return count


def report(work, p, v, thresholds=THRESHOLDS):
    phrase = np.load(f"{work}/dev_phrase.npz")
    family = phrase["family"]
    for c, name in enumerate(conditions.CONDITIONS):
        pick = v["label"] == c
        best = np.zeros(len(family))
        np.maximum.at(best, v["owner"][pick], p[pick])
        row = [f"{name:12s}"] + [f"{t}: {100 * np.mean(best >= t):5.1f} %" for t in thresholds]
        row += [f"{f.replace('festival-', '')[:14]} " + "/".join(f"{100 * np.mean(best[family == f] >= t):.0f}" for t in thresholds)
                for f in sorted(set(family))]
        print("  " + "  ".join(row))
    for base, tag in ((100, "generic"), (200, "near")):
        total, polls = np.zeros(len(thresholds)), 0
        per = {}
        for c, name in enumerate(conditions.CONDITIONS):
            pick = np.flatnonzero(v["label"] == base + c)
            count = np.zeros(len(thresholds))
            for n in set(v["owner"][pick]):
                count += [candidates(p[pick[v["owner"][pick] == n]], t) for t in thresholds]
            per[name] = count * 18000 / len(pick)
            total, polls = total + count, polls + len(pick)
        print(f"  false an hour, {tag} ({polls / 18000:.2f} h): " + "  ".join(f"{t}: {n * 18000 / polls:.1f}" for t, n in zip(thresholds, total)),
              " at 0.6 by condition:", {k: round(float(n[1]), 1) for k, n in per.items()})


def main():
    work = sys.argv[1]
    torch.set_num_threads(1)
    v = views(work)
    for rounds in ((1,), (2,), (3,), (1, 2, 3)):
        net = m.load(work, rounds)
        if rounds == (1,):
            states = all_states_of(net, v["spectra"])
        print("heads of rounds", *rounds)
        report(work, probabilities(net, states), v)


if __name__ == "__main__":
    main()
