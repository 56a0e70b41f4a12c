"""Train the Cleaner on pairs of disturbed and clean windows: clean.py WORK_DIR EXAMPLES...

It learns to find the clean spectrum first; cleaner.pt is what sound is cleaned with.  Then it learns, too, to find the
spectrum in which the acoustic model recognises the phones that were spoken, whoever speaks; phone_cleaner.pt is what
goes on to be judged by the acoustic model.
"""
import os
import sys

import numpy as np
import torch
from torch.nn import functional as F

import model as m
import phones
import speech_sounds
from train import say

BATCH = 64
FIRST, SECOND = (12, 2e-3), (9, 1.5e-3)      # epochs and the top of the learning rate
JUDGED = 16          # frames of each window whose phones are judged in a step
PHONES = 1.0         # what a confusion of phones counts for beside the difference from the clean spectrum
QUIET = 0.3          # what a frame of silence counts for among the phones


def difference(spread, transform, got, want):
    """Mean squared error of cepstra and their differences in units of the acoustic model; silence counts little."""
    a, b = ((transform @ x)[:, :, :] / spread for x in (got, want))
    loud = want.mean(1)
    weight = 0.15 + torch.sigmoid((loud - loud.amax(1, keepdim=True) + 4.0) * 1.5)
    error = (a - b).square().mean(1)
    slope = ((a - b)[:, :, 4:] - (a - b)[:, :, :-4]).square().mean(1)
    return (error * weight).mean() + 0.5 * (slope * weight[:, 2:-2]).mean()


def confusion(judge, cleaned, spoken):
    """By how much, in nats, the acoustic model is led to other phones than were spoken."""
    frames = torch.randperm(phones.SCORED)[:JUDGED]
    worth = torch.ones(len(speech_sounds.NAMES))
    worth[speech_sounds.SILENCE] = QUIET
    scores = judge.each_phone(cleaned, frames)
    return F.cross_entropy(scores, spoken[:, frames].long(), worth, ignore_index=speech_sounds.UNKNOWN)


def fit(net, path, losses_of, count, epochs, top_rate):
    """Train on all but the first twentieth of count examples; losses_of(indices) gives the parts of the loss."""
    held = count // 20
    optimiser = torch.optim.AdamW(net.parameters(), lr=top_rate, weight_decay=0.01)
    schedule = torch.optim.lr_scheduler.OneCycleLR(optimiser, top_rate, total_steps=epochs * ((count - held) // BATCH), pct_start=0.2)
    for epoch in range(epochs):
        total, order = 0.0, held + torch.randperm(count - held)
        for i in range(len(order) // BATCH):
            losses = losses_of(order[i * BATCH:(i + 1) * BATCH])
            optimiser.zero_grad()
            losses.sum().backward()
            optimiser.step()
            schedule.step()
            total = total + losses.detach().numpy()
        with torch.no_grad():
            check = np.mean([losses_of(torch.arange(i, min(i + 256, held))).numpy() for i in range(0, held, 256)], 0)
        say(f"cleaner epoch {epoch + 1}/{epochs}: {np.round(total / (len(order) // BATCH), 4)}, held out {np.round(check, 4)}")
    torch.save(net.state_dict(), path)


def main():
    work = sys.argv[1]
    torch.set_num_threads(int(os.environ.get("WORKERS", "1")))
    torch.manual_seed(3)
    parts = [np.load(f"{work}/{p}.npz") for p in sys.argv[2:]]
    has = [p["kind"] != "noise" for p in parts]
    noisy, clean, spoken = (torch.from_numpy(np.concatenate([p[what][h] for p, h in zip(parts, has)]))
                            for what in ("noisy", "clean", "spoken"))
    mean = phones.read_gaussians("means")[:, 0].reshape(-1, phones.CEPSTRA)
    spread = torch.tensor(mean.std(0)[:, None], dtype=torch.float32)
    transform = torch.tensor(phones.cosines(), dtype=torch.float32)
    net, judge = m.Cleaner(), phones.Phones()

    def apart(pick, cleaned):
        return difference(spread, transform, cleaned[:, :, 0], clean[pick].float())

    def first(pick):
        return apart(pick, net(noisy[pick].float().unsqueeze(2))).reshape(1)

    def second(pick):
        cleaned = net(noisy[pick].float().unsqueeze(2))
        return torch.stack([apart(pick, cleaned), PHONES * confusion(judge, cleaned, spoken[pick])])

    fit(net, f"{work}/cleaner.pt", first, len(noisy), *FIRST)
    fit(net, f"{work}/phone_cleaner.pt", second, len(noisy), *SECOND)


if __name__ == "__main__":
    main()
