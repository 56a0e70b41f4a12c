"""Train in two rounds: train.py WORK_DIR.  The second round adds the first one's own mistakes."""
import sys
import time

import numpy as np
import torch
from torch.nn import functional as F

import augment
import model as m
from stream import stream

SEED = 7
MIX = [("phrase", 0.36), ("partial", 0.14), ("tail", 0.03), ("generic", 0.25), ("near", 0.18), ("noise", 0.04)]
ROUND_1, ROUND_2 = 32000, 36000
EPOCHS_1, EPOCHS_2 = 6, 8


def say(*what):
    print(f"[{time.strftime('%H:%M:%S')}]", *what, flush=True)


def features_of(net, windows):
    with torch.no_grad():
        return torch.cat([net.fast(torch.from_numpy(np.stack(windows[i:i + 64]))) for i in range(0, len(windows), 64)]).half()


def make(mixer, features, n):
    x, y = [], []
    kinds = mixer.rng.choice([k for k, _ in MIX], size=n, p=[p for _, p in MIX])
    for begin in range(0, n, 512):
        x.append(features_of(features, [mixer.window(k) for k in kinds[begin:begin + 512]]))
        y.append(torch.tensor((kinds[begin:begin + 512] == "phrase").astype(np.int64)))
    return torch.cat(x), torch.cat(y)


def disguise(x):
    """Variation on the spectrum itself: stretched and shifted along both axes, a hidden band or moment."""
    n = len(x)
    theta = torch.zeros(n, 2, 3)
    tempo = torch.empty(n).uniform_(0.9, 1.1)
    theta[:, 0, 0], theta[:, 0, 2] = tempo, 1 - tempo          # time, about the newest frame
    theta[:, 1, 1] = torch.empty(n).uniform_(0.88, 1.12)       # frequency
    theta[:, 1, 2] = torch.empty(n).uniform_(-0.08, 0.08)
    x = F.grid_sample(x, F.affine_grid(theta, x.shape, align_corners=True), padding_mode="border", align_corners=True)
    x[: n // 3, :, (f := int(torch.randint(0, m.MELS - 4, (1,)))):f + int(torch.randint(1, 6, (1,)))] = -1.0
    t = int(torch.randint(0, m.FRAMES - 6, (1,)))
    x[n // 4: n // 2, :, :, t:t + int(torch.randint(1, 6, (1,)))] = -1.0
    return x


def fit(net, x, y, epochs, top_rate):
    batch = 128
    steps = epochs * (len(x) // batch)
    optimiser = torch.optim.AdamW(net.parameters(), lr=top_rate, weight_decay=0.01)
    schedule = torch.optim.lr_scheduler.OneCycleLR(optimiser, top_rate, total_steps=steps, pct_start=0.2)
    for epoch in range(epochs):
        net.train()
        order, total = torch.randperm(len(x)), 0.0
        for i in range(len(x) // batch):
            pick = order[i * batch:(i + 1) * batch]
            loss = F.cross_entropy(net(disguise(x[pick].float())), y[pick])
            optimiser.zero_grad()
            loss.backward()
            optimiser.step()
            schedule.step()
            total += loss.item()
        say(f"epoch {epoch + 1}/{epochs}: loss {total / (len(x) // batch):.4f}")
    return net.eval()


def mine(mixer, full, features, clips):
    """Windows of the training speech, as the program would see them, that score as the phrase."""
    found, scanned = [], 0.0
    speech = mixer.sets["speech"]
    for i in mixer.rng.permutation(len(speech["voice"]))[:clips]:
        x = np.concatenate([np.zeros(8000, np.float32), mixer.clip("speech", i), np.zeros(8000, np.float32)])
        x = mixer.stretch(x, float(np.exp(mixer.rng.normal(0, 0.06))))
        scanned += len(x) / m.RATE
        padded = np.concatenate([np.zeros(m.WINDOW, np.float32), x])
        for end, p in stream(full, x):
            if p > 0.15:
                found.append((p, padded[end:end + m.WINDOW]))
    # The phrase itself before it is complete.
    for _ in range(3000):
        x = mixer.clean("partial")
        with torch.no_grad():
            p = float(full.fast(torch.from_numpy(x)[None])[0, 1])
        if p > 0.15:
            found.append((p, x))
    say(f"mined {len(found)} windows from {scanned / 3600:.2f} h of training speech and 3000 incomplete phrases")
    found = sorted(found, key=lambda f: -f[0])[:2500]
    out = []
    for _, x in found:
        out.append(mixer.loudness(x))
        out += [mixer.disturb(x) for _ in range(2)]
    return features_of(features, out) if out else torch.zeros(0, 1, m.MELS, m.FRAMES).half()


def main():
    work = sys.argv[1]
    torch.set_num_threads(1)
    torch.manual_seed(SEED)
    mixer = augment.Mixer(work, "train", SEED)
    features, net = m.Features(), m.Classifier()
    x, y = make(mixer, features, ROUND_1)
    say("round 1:", tuple(x.shape), f"{float(y.float().mean()):.2f} positive")
    fit(net, x, y, EPOCHS_1, 3e-3)
    torch.save(net.state_dict(), f"{work}/model-round1.pt")
    hard = mine(mixer, m.WakeModel(features, net).eval(), features, 7000)
    more_x, more_y = make(mixer, features, ROUND_2)
    x = torch.cat([x, more_x, hard])
    y = torch.cat([y, more_y, torch.zeros(len(hard), dtype=torch.int64)])
    say("round 2:", tuple(x.shape), f"{float(y.float().mean()):.2f} positive")
    fit(net, x, y, EPOCHS_2, 2e-3)
    torch.save(net.state_dict(), f"{work}/model.pt")


if __name__ == "__main__":
    main()
