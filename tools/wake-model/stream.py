"""Score a long recording as the live program does: the last 1.5 s, every 0.2 s."""
import numpy as np
import torch

import model as m

POLL = m.RATE // 5


def stream(net, x, phase=0):
    """[(samples heard so far, probability)] for each poll; before the first sample there was silence."""
    padded = np.concatenate([np.zeros(m.WINDOW, np.float32), np.asarray(x, np.float32)])
    ends = list(range(POLL + phase, len(x) + 1, POLL))
    out = []
    for i in range(0, len(ends), 64):
        batch = np.stack([padded[e:e + m.WINDOW] for e in ends[i:i + 64]])
        with torch.no_grad():
            out += [float(p) for p in net.fast(torch.from_numpy(batch))[:, 1]]
    return list(zip(ends, out))
