"""Train the Cleaner on pairs of disturbed and clean windows: clean.py WORK_DIR"""
import os
import sys

import numpy as np
import torch

import model as m
import phones
from train import say

EPOCHS, BATCH = 12, 64


def difference(spread, transform, got, want):
    """Mean squared error of cepstra and their differences in units of the acoustic model; silence counts little."""
    a, b = ((transform @ x)[:, :, :] / spread for x in (got, want))
    loud = want.mean(1)
    weight = 0.15 + torch.sigmoid((loud - loud.amax(1, keepdim=True) + 4.0) * 1.5)
    error = (a - b).square().mean(1)
    slope = ((a - b)[:, :, 4:] - (a - b)[:, :, :-4]).square().mean(1)
    return (error * weight).mean() + 0.5 * (slope * weight[:, 2:-2]).mean()


def main():
    work = sys.argv[1]
    torch.set_num_threads(int(os.environ.get("WORKERS", "1")))
    torch.manual_seed(3)
    parts = [np.load(f"{work}/{p}.npz") for p in sys.argv[2:]]
    has = [p["kind"] != "noise" for p in parts]
    noisy = torch.from_numpy(np.concatenate([p["noisy"][h] for p, h in zip(parts, has)]))
    clean = torch.from_numpy(np.concatenate([p["clean"][h] for p, h in zip(parts, has)]))
    mean = phones.read_gaussians("means")[:, 0].reshape(-1, phones.CEPSTRA)
    spread = torch.tensor(mean.std(0)[:, None], dtype=torch.float32)
    transform = torch.tensor(phones.cosines(), dtype=torch.float32)
    held = len(noisy) // 20
    net = m.Cleaner()
    steps = EPOCHS * ((len(noisy) - held) // BATCH)
    optimiser = torch.optim.AdamW(net.parameters(), lr=2e-3, weight_decay=0.01)
    schedule = torch.optim.lr_scheduler.OneCycleLR(optimiser, 2e-3, total_steps=steps, pct_start=0.2)
    loss_of = lambda pick: difference(spread, transform, net(noisy[pick].float().unsqueeze(2))[:, :, 0], clean[pick].float())
    for epoch in range(EPOCHS):
        total, order = 0.0, held + torch.randperm(len(noisy) - held)
        for i in range(len(order) // BATCH):
            loss = loss_of(order[i * BATCH:(i + 1) * BATCH])
            optimiser.zero_grad()
            loss.backward()
            optimiser.step()
            schedule.step()
            total += loss.item()
        with torch.no_grad():
            check = np.mean([loss_of(torch.arange(i, min(i + 256, held))).item() for i in range(0, held, 256)])
        say(f"cleaner epoch {epoch + 1}/{EPOCHS}: {total / (len(order) // BATCH):.4f}, held out {check:.4f}")
        torch.save(net.state_dict(), f"{work}/cleaner.pt")


if __name__ == "__main__":
    main()
