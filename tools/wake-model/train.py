"""Train the heads on the phone states of windows and on what earlier heads mistook: train.py WORK_DIR EXAMPLES..."""
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
TOP_RATE = 2.5e-3                        # of learning
SEARCHES = [(4, 0.1), (4, 0.05)]         # for mistakes: epochs before, and the probability above which a window is one
LAST = (2, 6)                            # heads taught after that, and their epochs


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


def fit(head, x, y, epochs):
    steps = epochs * (len(x) // BATCH)
    optimiser = torch.optim.AdamW(head.parameters(), lr=TOP_RATE, weight_decay=0.02)
    schedule = torch.optim.lr_scheduler.OneCycleLR(optimiser, TOP_RATE, total_steps=steps, pct_start=0.2)
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


def logit(p):
    """Log odds, natural, of a probability."""
    return np.log(p / (1 - p))


def log_odds(net, states):
    """Of the phrase, natural logarithms."""
    with torch.no_grad():
        logits = [net.head(torch.from_numpy(states[i:i + 256]).float().unsqueeze(2) / 255) for i in range(0, len(states), 256)]
    return np.concatenate([(x[:, 1] - x[:, 0]).numpy() for x in logits])


def windows_of(x, phase=0):
    """What the program looks at while it hears x: the last 1.5 s, each 0.2 s."""
    padded = np.concatenate([np.zeros(phones.WINDOW, np.float32), np.asarray(x, np.float32)])
    return [padded[end:end + phones.WINDOW] for end in range(POLL + phase, len(x) + 1, POLL)]


def mine(mixer, net, eye, least, seed):
    """States of windows of training speech that are taken for the phrase, or of the phrase that is not complete."""
    shares = np.array_split(np.random.default_rng(seed).permutation(len(mixer.sets["speech"]["voice"])), 32)

    def search(k):
        mixer.rng = np.random.default_rng([seed, k])
        found = [mistakes_in(mixer, net, eye, i, least) for i in shares[k]]
        early = [judged(net, eye, incomplete(mixer, 16), least) for _ in range(max(1, len(shares[k]) // 30))]
        return np.concatenate(found), np.concatenate(early)

    parts = each_part(search, len(shares))
    found, early = (np.concatenate([p[i] for p in parts]) for i in (0, 1))
    say(f"{len(found)} mistakes in training speech, {len(early)} in incomplete phrases")
    return np.concatenate([found, early])


def mistakes_in(mixer, net, eye, clip, least):
    """A clip of speech, mostly all of it in one room and in one noise, looked at as the program does."""
    rng = mixer.rng
    x = mixer.spoken("speech", clip).stretched(augment.speed(rng, 0.1)).sound
    x = np.concatenate([np.zeros(4000, np.float32), x, np.zeros(6000, np.float32)])
    if rng.random() < 0.75:
        if rng.random() < 0.5:
            x = augment.room(rng, x, far=rng.random() < 0.4)
        if rng.random() < 0.8:
            x = x + augment.noise(rng, rng.choice(augment.KINDS), len(x), mixer.any_speech) * np.sqrt(np.mean(x ** 2)) * \
                10 ** (-rng.uniform(2, 25) / 20)
        if rng.random() < 0.3:
            x = augment.equalise(rng, x)
    return judged(net, eye, windows_of(mixer.loudness(x), int(rng.integers(0, POLL))), least)


def incomplete(mixer, count):
    """Windows of the phrase before its end, or headless."""
    return [mixer.window(kind) for kind in mixer.rng.choice(["partial", "partial", "tail"], size=count)]


def judged(net, eye, windows, least):
    """States of those windows whose probability is above the least."""
    states = states_of(net, eye.seen(windows))
    return states[log_odds(net, states) > logit(least)]


def seen(eye, windows):
    return np.concatenate([eye.seen(windows[i:i + 16]).astype(np.float16) for i in range(0, len(windows), 16)])


def taught(x, y, epochs, seed):
    torch.manual_seed(seed)
    return fit(m.Head(), x, y, epochs)


def main():
    work = sys.argv[1]
    torch.set_num_threads(1)
    mixer, eye = augment.Mixer(work, "train", SEED), Eye()
    net = m.WakeModel(m.load_cleaner(f"{work}/phone_cleaner.pt"), None).eval()
    x, y = [], []
    for name in sys.argv[2:]:
        part = np.load(f"{work}/{name}.npz")
        x.append(all_states_of(net, part["noisy"]))
        y.append((part["kind"] == "phrase").astype(np.int64))
    x, y = np.concatenate(x), np.concatenate(y)
    heads = []
    for number, (epochs, least) in enumerate(SEARCHES, 1):
        say("search", number, x.shape, f"{y.mean():.2f} positive")
        net.head = taught(x, y, epochs, SEED + number)
        heads.append(net.head.state_dict())
        hard = mine(mixer, net, eye, least, SEED + number)
        x, y = np.concatenate([x, hard]), np.concatenate([y, np.zeros(len(hard), np.int64)])
    say("last:", x.shape, f"{y.mean():.2f} positive")
    count, epochs = LAST
    heads += each_part(lambda k: taught(x, y, epochs, SEED + 10 + k).state_dict(), count)
    torch.save(heads, f"{work}/heads.pt")


if __name__ == "__main__":
    main()
