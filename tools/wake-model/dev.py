"""Set what the thresholds mean, and print figures, on the voices kept for decisions, by torch: dev.py WORK_DIR

Changes heads.pt.  Spectra are kept in dev_views.npz.
"""
import os
import sys

import numpy as np
import torch

import augment
import conditions
import model as m
from examples import Eye
from train import POLL, each_part, log_odds, logit, say, seen, states_of, windows_of

SEED = 21
NAMES = list(conditions.CONDITIONS)
FALSE_AN_HOUR = {0.3: 8, 0.6: 2.5, 0.95: 0.6}      # candidates in ordinary speech that each threshold is to let through
THRESHOLDS = tuple(FALSE_AN_HOUR)
REACH = 0.7             # seconds after the phrase within which a candidate counts as heard
DEAF = 6                # polls from a candidate to the first that may be another
AN_HOUR = 3600 * m.RATE // POLL                     # polls
KINDS = {"generic": range(100, 100 + len(NAMES)), "near": range(200, 200 + len(NAMES))}     # of speech, and their labels
SPEECH = ["generic"] * 6 + ["near"] * 2             # all the speech of that kind, each time disturbed otherwise


def views(work):
    """{spectra, label, owner} of windows: labels are the condition, or that of KINDS."""
    path = f"{work}/dev_views.npz"
    if not os.path.exists(path):
        mixer, eye = augment.Mixer(work, "dev", SEED), Eye()
        jobs = [(phrase_views, c) for c in range(len(NAMES))] + [(speech_views, k) for k in range(len(SPEECH))]

        def part(k):
            mixer.rng = np.random.default_rng([SEED, k])
            look, which = jobs[k]
            rows = list(look(mixer, eye, which))
            say(look.__name__, which)
            return [np.concatenate([row[0] for row in rows])] + [np.repeat([row[i] for row in rows], [len(row[0]) for row in rows]) for i in (1, 2)]

        parts = each_part(part, len(jobs))
        np.savez(path, **{what: np.concatenate([p[i] for p in parts]) for i, what in enumerate(("spectra", "label", "owner"))})
    return dict(np.load(path))


def phrase_views(mixer, eye, c):
    for i in range(len(mixer.sets["phrase"]["voice"])):
        x, _, e = conditions.phrase_recording(mixer, i, NAMES[c])
        phase = int(mixer.rng.integers(0, POLL))
        windows = windows_of(x, phase)
        good = [k for k in range(len(windows)) if e <= POLL + phase + k * POLL <= e + REACH * m.RATE]
        yield seen(eye, [windows[k] for k in good]), c, i


def speech_views(mixer, eye, k):
    tag = SPEECH[k]
    for n, x in enumerate(conditions.speech_recordings(mixer, tag)):
        c = (n + k) % len(NAMES)
        x = conditions.disturbed(mixer, augment.stretched(x, augment.speed(mixer.rng, 0.06)), NAMES[c])
        yield seen(eye, windows_of(x)), KINDS[tag][c], 1000 * k + n


def candidates(over, owner):
    """How many candidates polls are that are over the threshold, in order, each in the recording that owns it."""
    count, free, last = 0, 0, None
    for k in np.flatnonzero(over):
        if k >= free or owner[k] != last:
            count, free, last = count + 1, k + DEAF, owner[k]
    return count


def false_an_hour(p, v, threshold, labels):
    pick = np.isin(v["label"], labels)
    return candidates(p[pick] >= threshold, v["owner"][pick]) * AN_HOUR / pick.sum()


def least_for(rate, given, v):
    """The least log odds that no more candidates an hour of ordinary speech are given."""
    low, high = given.min(), given.max()
    while high - low > 1e-3:
        middle = (low + high) / 2
        low, high = (middle, high) if false_an_hour(given, v, middle, KINDS["generic"]) > rate else (low, middle)
    return high


def calibration(given, v):
    """(slope, offset) of the line that brings the log odds given closest to the wanted meaning of the thresholds."""
    return np.polyfit([least_for(rate, given, v) for rate in FALSE_AN_HOUR.values()], [logit(t) for t in FALSE_AN_HOUR], 1)


def calibrate(work, slope, offset):
    """Every head gives its log odds by that line from now on."""
    heads = torch.load(f"{work}/heads.pt")
    for head in heads:
        head["out.weight"] *= slope
        head["out.bias"] *= slope
        head["out.bias"][1] += offset
    torch.save(heads, f"{work}/heads.pt")


def all_log_odds(net, spectra):
    """Of each window; the states of all of them at once would take 2 GB."""
    parts = np.array_split(spectra, 100)
    return np.concatenate(each_part(lambda k: log_odds(net, states_of(net, parts[k])), len(parts)))


def report(work, p, v):
    family = np.load(f"{work}/dev_phrase.npz")["family"]
    for c, name in enumerate(NAMES):
        pick = v["label"] == c
        best = np.zeros(len(family))
        np.maximum.at(best, v["owner"][pick], p[pick])
        row = [f"{name:12s}"] + [f"{t}: {100 * np.mean(best >= t):5.1f} %" for t in THRESHOLDS]
        row += [f"{f.replace('festival-', '')[:14]} " + "/".join(f"{100 * np.mean(best[family == f] >= t):.0f}" for t in THRESHOLDS)
                for f in sorted(set(family))]
        print("  " + "  ".join(row))
    for tag, labels in KINDS.items():
        hours = np.isin(v["label"], labels).sum() / AN_HOUR
        print(f"  false an hour, {tag} ({hours:.2f} h): " + "  ".join(f"{t}: {false_an_hour(p, v, t, labels):.1f}" for t in THRESHOLDS),
              " at 0.6 by condition:", {name: round(float(false_an_hour(p, v, 0.6, [label])), 1) for label, name in zip(labels, NAMES)})


def main():
    work = sys.argv[1]
    torch.set_num_threads(1)
    v, net = views(work), m.load(work)
    given = all_log_odds(net, v["spectra"])
    slope, offset = calibration(given, v)
    print(f"  log odds: {slope:.3f} of what the heads gave, {offset:+.3f}")
    calibrate(work, slope, offset)
    report(work, 1 / (1 + np.exp(-(slope * given + offset))), v)


if __name__ == "__main__":
    main()
