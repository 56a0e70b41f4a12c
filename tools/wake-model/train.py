"""Train the Head on the phone states of windows, then again with its own mistakes: train.py WORK_DIR EXAMPLES..."""
import multiprocessing
import os
import sys
import time

import numpy as np
import torch
from torch.nn import functional as F

import augment
import model as m
import phones
from examples import Eye

SEED = 7
POLL = phones.RATE // 5
BATCH = 128
FIRST = (4, 2.5e-3)                      # epochs and the top of the learning rate
ROUNDS = [(3000, 0.10, 3, 2e-3), (4000, 0.05, 4, 1.5e-3)]   # clips searched, the probability above which a window is kept
COPIES = 1                               # disturbed copies of each mistake
MOST = 4000                              # mistakes kept a round


def say(*what):
    print(f"[{time.strftime('%H:%M:%S')}]", *what, flush=True)


def in_parts(work, count):
    """work(k) for each k below count, in as many processes as WORKERS says; the results do not depend on it."""
    with multiprocessing.get_context("fork").Pool(int(os.environ.get("WORKERS", "1"))) as pool:
        return pool.map(work, range(count), chunksize=1)


class _Call:                                  # what a forked worker shall do; a closure cannot be handed over
    work = None

    @staticmethod
    def part(k):
        torch.set_num_threads(1)
        return _Call.work(k)


def each_part(work, count):
    _Call.work = work
    return in_parts(_Call.part, count)


def states_of(net, spectra):
    """[n, states, frames] in steps of 1/255."""
    out = np.empty((len(spectra), m.STATES, m.SCORED), np.uint8)
    with torch.no_grad():
        for i in range(0, len(spectra), 8):
            part = torch.from_numpy(spectra[i:i + 8].astype(np.float32)).unsqueeze(2)
            out[i:i + 8] = (net.states(part)[:, :, 0] * 255).round().byte().numpy()
    return out


def all_states_of(net, spectra):
    return np.concatenate(each_part(lambda k: states_of(net, spectra[k * 1000:(k + 1) * 1000]), -(-len(spectra) // 1000)))


def disguise(x):
    """Variation on the states themselves: tempo, hidden moments, states that a voice or a line makes more or less likely."""
    n = len(x)
    theta = torch.zeros(n, 2, 3)
    tempo = torch.empty(n).uniform_(0.8, 1.2)
    theta[:, 0, 0], theta[:, 0, 2] = tempo, 1 - tempo          # about the newest frame
    theta[:, 1, 1] = 1
    x = x.unsqueeze(1)
    x = F.grid_sample(x, F.affine_grid(theta, x.shape, align_corners=True), padding_mode="border", align_corners=True)[:, 0]
    x = x + 0.07 * torch.randn(n, m.STATES, 1) + 0.04 * torch.randn_like(x)
    x = x * (torch.rand(n, m.STATES, 1) > 0.04)
    for _ in range(2):
        t, k = int(torch.randint(0, m.SCORED - 4, (1,))), int(torch.randint(1, 4, (1,)))
        pick = torch.rand(n) < 0.3
        x[pick, :, t:t + k] = x[pick, :, t:t + k].mean(2, keepdim=True)
    return x.clamp(0, 1).unsqueeze(2)


def fit(head, x, y, epochs, top_rate):
    steps = epochs * (len(x) // BATCH)
    optimiser = torch.optim.AdamW(head.parameters(), lr=top_rate, weight_decay=0.02)
    schedule = torch.optim.lr_scheduler.OneCycleLR(optimiser, top_rate, total_steps=steps, pct_start=0.2)
    for epoch in range(epochs):
        head.train()
        order, total = torch.randperm(len(x)), 0.0
        for i in range(len(x) // BATCH):
            pick = order[i * BATCH:(i + 1) * BATCH].numpy()
            logits = head(disguise(torch.from_numpy(x[pick]).float() / 255))
            loss = F.cross_entropy(logits, torch.from_numpy(y[pick]))
            optimiser.zero_grad()
            loss.backward()
            optimiser.step()
            schedule.step()
            total += loss.item()
        say(f"epoch {epoch + 1}/{epochs}: loss {total / (len(x) // BATCH):.4f}")
    return head.eval()


def probabilities(net, states):
    with torch.no_grad():
        return np.concatenate([torch.softmax(net.head(torch.from_numpy(states[i:i + 256]).float().unsqueeze(2) / 255), 1)[:, 1].numpy()
                               for i in range(0, len(states), 256)])


def windows_of(x, phase=0):
    """What the program looks at while it hears x: the last 1.5 s, each 0.2 s."""
    padded = np.concatenate([np.zeros(phones.WINDOW, np.float32), np.asarray(x, np.float32)])
    return [padded[end:end + phones.WINDOW] for end in range(POLL + phase, len(x) + 1, POLL)]


def mine(mixer, net, clips, least, eye, seed):
    """Spectra of windows of training speech that are taken for the phrase, with disturbed copies."""
    order = np.random.default_rng(seed).permutation(len(mixer.sets["speech"]["voice"]))[:clips]
    shares = np.array_split(order, 16)

    def search(k):
        mixer.rng = np.random.default_rng([seed, k])
        found = [f for i in shares[k] for f in mistakes_in(mixer, net, eye, i, least)]
        early = []
        for _ in range(len(shares[k]) // 40):                  # the phrase itself before it is complete, or headless
            kinds = mixer.rng.choice(["partial", "partial", "tail"], size=16)
            early += judged(net, eye, [mixer.window(q) if mixer.rng.random() < 0.7 else mixer.clean(q).sound for q in kinds], least)
        both = sorted(found + early, key=lambda f: -f[0])[:MOST // 16]
        copies = [mixer.disturb(x) for _, x, _ in both for _ in range(COPIES)]
        spectra = [s[None].astype(np.float16) for _, _, s in both] + ([seen(eye, copies)] if copies else [])
        return len(found), len(early), np.concatenate(spectra) if spectra else None

    parts = each_part(search, len(shares))
    say(f"{sum(p[0] for p in parts)} mistakes in {clips} clips of training speech, {sum(p[1] for p in parts)} in incomplete phrases")
    return np.concatenate([p[2] for p in parts if p[2] is not None])


def mistakes_in(mixer, net, eye, clip, least):
    rng = mixer.rng
    x = mixer.spoken("speech", clip).stretched(float(np.exp(rng.normal(0, 0.08)))).sound
    x = np.concatenate([np.zeros(4000, np.float32), x, np.zeros(6000, np.float32)])
    if rng.random() < 0.5:                                     # all of it through one room, in one noise
        x = augment.room(rng, x) if rng.random() < 0.5 else x
        x = x + augment.noise(rng, rng.choice(augment.KINDS), len(x), mixer.any_speech) * np.sqrt(np.mean(x ** 2)) * \
            10 ** (-rng.uniform(3, 25) / 20)
    return judged(net, eye, windows_of(mixer.loudness(x), int(rng.integers(0, POLL))), least)


def judged(net, eye, windows, least):
    if not windows:
        return []
    spectra = eye.seen(windows)
    p = probabilities(net, states_of(net, spectra))
    return [(p[i], windows[i], spectra[i]) for i in np.flatnonzero(p > least)]


def seen(eye, windows):
    return np.concatenate([eye.seen(windows[i:i + 16]).astype(np.float16) for i in range(0, len(windows), 16)])


def main():
    work = sys.argv[1]
    torch.set_num_threads(1)
    torch.manual_seed(SEED)
    mixer, eye = augment.Mixer(work, "train", SEED), Eye()
    net = m.WakeModel(m.Cleaner(), m.Head()).eval()
    net.cleaner.load_state_dict(torch.load(f"{work}/phone_cleaner.pt"))
    x, y = [], []
    for name in sys.argv[2:]:
        part = np.load(f"{work}/{name}.npz")
        x.append(all_states_of(net, part["noisy"]))
        y.append((part["kind"] == "phrase").astype(np.int64))
    x, y = np.concatenate(x), np.concatenate(y)
    say("round 1:", x.shape, f"{y.mean():.2f} positive")
    fit(net.head, x, y, *FIRST)
    torch.save(net.head.state_dict(), f"{work}/head-round1.pt")
    for number, (clips, least, *fitting) in enumerate(ROUNDS, 2):
        hard = all_states_of(net, mine(mixer, net, clips, least, eye, SEED + number))
        x, y = np.concatenate([x, hard]), np.concatenate([y, np.zeros(len(hard), np.int64)])
        say(f"round {number}:", x.shape, f"{y.mean():.2f} positive")
        fit(net.head, x, y, *fitting)
        torch.save(net.head.state_dict(), f"{work}/head-round{number}.pt")


if __name__ == "__main__":
    main()
