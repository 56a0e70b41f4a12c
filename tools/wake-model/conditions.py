"""How the recordings of the measurements are disturbed, the same for decisions (dev) and for the last table (test)."""
import itertools

import numpy as np

import augment
import phones

RATE = phones.RATE
TOGETHER = 12           # clips in one recording
NOISES = ["white", "pink", "brown", "babble", "babble", "music", "beat", "bursts", "hum"]
# name: (signal to noise in dB or None, reverberant)
CONDITIONS = {"clean": (None, False), "20 dB": (20, False), "10 dB": (10, False), "5 dB": (5, False),
              "room": (None, True), "room, 10 dB": (10, True)}


def disturbed(mixer, x, condition):
    """x in that condition, at a level between 6 and 30 dB below full scale, in steps of 16 bits."""
    snr, reverberant = CONDITIONS[condition]
    rng = mixer.rng
    loud = np.abs(x) > 0.01
    power = np.mean(x[loud] ** 2) if loud.any() else 1e-3
    if reverberant:
        x = augment.room(rng, x, far=True)
    if snr is not None:
        x = x + augment.noise(rng, rng.choice(NOISES), len(x), mixer.any_speech) * np.sqrt(power) * 10 ** (-snr / 20)
    x = x * (10 ** (-rng.uniform(6, 30) / 20) / (np.abs(x).max() + 1e-9))
    return (np.round(x * 32767) / 32768).astype(np.float32)


def phrase_recording(mixer, i, condition):
    """A phrase with a second of nothing before and after it; also where its s begins and where it ends, in samples."""
    quiet = np.zeros(RATE, np.float32)
    x = disturbed(mixer, np.concatenate([quiet, mixer.clip("phrase", i), quiet]), condition)
    _, s, e = mixer.sets["phrase"]["times"][i] + RATE
    return x, s, e


def in_recordings(rng, clips):
    """The clips in their order, a dozen with short pauses in each recording."""
    clips = iter(clips)
    while together := list(itertools.islice(clips, TOGETHER)):
        pauses = (np.zeros(int(rng.uniform(0.15, 1.5) * RATE), np.float32) for _ in together)
        yield np.concatenate([x for pair in zip(together, pauses) for x in pair])


def speech_recordings(mixer, tag):
    """All clips of the tag in random order."""
    order = mixer.rng.permutation(mixer.tags[tag])
    yield from in_recordings(mixer.rng, (mixer.clip("speech", i) for i in order))
