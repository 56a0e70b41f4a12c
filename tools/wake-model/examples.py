"""Windows as the network's first layers see them: examples.py WORK_DIR SPLIT SEED COUNT writes SPLIT-SEED.npz."""
import sys
import time

import numpy as np
import torch

import augment
import model as m
import phones
from speech_sounds import UNKNOWN

MIX = [("phrase", 0.34), ("partial", 0.14), ("tail", 0.04), ("generic", 0.22), ("near", 0.22), ("noise", 0.04)]

MIDDLES = phones.FRAME // 2 + phones.HOP * (3 + phones.STEP * np.arange(phones.SCORED))   # samples of the frames that are scored


class Eye:
    """Spectra of windows, and of their clean originals with the mean of the whole clip taken off."""

    def __init__(self):
        self.spectrum = phones.Spectrum()

    def seen(self, windows):
        with torch.no_grad():
            return self.spectrum.fast(torch.from_numpy(np.asarray(windows, np.float32)))[:, :, 0].numpy()

    def original(self, window, clip):
        """What the Cleaner shall find: relative to the clip's energy, cut off as a Spectrum, less the clip's mean."""
        with torch.no_grad():
            whole, part = (self.spectrum.energies(torch.from_numpy(np.asarray(x, np.float32))[None])[0] for x in (clip, window))
            level = torch.log(whole.mean() + self.spectrum.TINY)
            whole, part = (torch.relu(torch.log(x + self.spectrum.TINY) - level + self.spectrum.FLOOR) for x in (whole, part))
            return (part - whole.mean(1, keepdim=True)).numpy()


def make(work, split, seed, count, said=print):
    mixer, eye = augment.Mixer(work, split, seed), Eye()
    kinds = mixer.rng.choice([k for k, _ in MIX], size=count, p=[p for _, p in MIX])
    noisy, clean = (np.zeros((count, phones.FILTERS, phones.FRAMES), np.float16) for _ in range(2))
    spoken = np.full((count, phones.SCORED), UNKNOWN, np.uint8)
    began = time.time()
    for i, kind in enumerate(kinds):
        window, before = mixer.disturbed(kind)
        noisy[i] = eye.seen(window[None])[0]
        clean[i] = np.nan
        if before is not None:
            clean[i] = eye.original(before.sound, mixer.whole.sound)
            spoken[i] = before.phones[MIDDLES]
        if i % 2000 == 1999:
            said(f"{i + 1} windows, {(time.time() - began) / (i + 1) * 1000:.1f} ms each", flush=True)
    return dict(noisy=noisy, clean=clean, kind=kinds, spoken=spoken)


if __name__ == "__main__":
    work, split, seed, count = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
    torch.set_num_threads(1)
    np.savez(f"{work}/{split}-{seed}.npz", **make(work, split, seed, count))
