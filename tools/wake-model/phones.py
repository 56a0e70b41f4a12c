"""Phones heard by the acoustic model of the embedded recogniser, as fixed layers of the network.

The model (pocketsphinx-en-us: real speakers, 42 phones, for each phone 128 diagonal Gaussians in each of
three streams) is read from its own files and written out as convolutions.  Nothing of it is trained here.

File formats, as public in the sources of SphinxBase and PocketSphinx (cmusphinx on GitHub):
  means, variances   bio.c, ms_gauden.c: text header to "endhdr\n", int32 0x11223344 for the byte order, then
                     int32 codebooks, streams, densities, length of each stream, count; float32s; checksum
  sendump            ptm_mgau.c read_sendump: (int32 length, string) pairs to a length of 0, int32 densities and
                     senones, then for stream, density: one byte b for each senone, its weight being exp(-0.1024 b)
  mdef               bin_mdef.c: "BMDF", int32 version, (int32 length, format text), ten int32 counts, phone names
  features           fe_sigproc.c, fe_interface.c, feat.c: feat.params beside the model says how
"""
import os
import struct

import numpy as np
import torch
from torch import nn

MODEL = os.environ.get("TAVIK_ACOUSTIC_MODEL", "/usr/share/pocketsphinx/model/en-us/en-us")
RATE, WINDOW = 16000, 24000
FRAME, HOP, FFT = 410, 160, 512
FRAMES = (WINDOW - FRAME - 1) // HOP + 1     # 148, the first sample serves the pre-emphasis
FILTERS, LOW, HIGH, LIFTER, CEPSTRA = 25, 130.0, 6800.0, 22, 13
STREAMS = 3
STEP = 2                                     # each second frame is scored
SCORED = (FRAMES - 7) // STEP + 1            # 71: the differences of differences reach three frames to both sides


def read_gaussians(name):
    data = open(os.path.join(MODEL, name), "rb").read()
    at = data.index(b"endhdr\n") + 7
    magic, books, streams, densities, *lengths = struct.unpack_from("<7i", data, at)
    assert magic == 0x11223344 and streams == STREAMS and lengths == [CEPSTRA] * 3
    count, = struct.unpack_from("<i", data, at + 28)
    assert count == books * densities * sum(lengths)
    return np.frombuffer(data, "<f4", count, at + 32).reshape(books, streams, densities, CEPSTRA).astype(np.float64)


def read_names():
    data = open(os.path.join(MODEL, "mdef"), "rb").read()
    assert data[:4] == b"BMDF"
    length, = struct.unpack_from("<i", data, 8)
    counts = struct.unpack_from("<10i", data, 12 + length)
    names = data[12 + length + 40:].split(b"\0", counts[0])[:counts[0]]
    assert counts[2] == 3 and counts[3] == 3 * counts[0]       # three states a phone, the first of all
    return [n.decode() for n in names]


def read_weights(phones):
    """[phone, stream, density, state] mixture weights of the context-independent states."""
    data = open(os.path.join(MODEL, "sendump"), "rb").read()
    at = 0
    while True:
        n, = struct.unpack_from("<i", data, at)
        at += 4 + n
        if n == 0:
            break
    densities, senones = struct.unpack_from("<2i", data, at)
    b = np.frombuffer(data, np.uint8, STREAMS * densities * senones, at + 8).reshape(STREAMS, densities, senones)
    w = np.exp(-0.1024 * b[:, :, :3 * phones].astype(np.float64)).reshape(STREAMS, densities, phones, 3)
    return w.transpose(2, 0, 1, 3)


def mel_filters():
    """[filters, bins of the power spectrum]: triangles of unit area with rounded corners."""
    mel = lambda f: 2595 * np.log10(1 + f / 700)
    corner = 700 * (10 ** (np.linspace(mel(LOW), mel(HIGH), FILTERS + 2) / 2595) - 1)
    corner = np.floor(corner * FFT / RATE + 0.5) * RATE / FFT
    hz = np.arange(FFT // 2 + 1) * RATE / FFT
    a, b, c = corner[:-2, None], corner[1:-1, None], corner[2:, None]
    return np.maximum(0, np.minimum((hz - a) / (b - a), (c - hz) / (c - b))) * 2 / (c - a)


def cosines():
    """[cepstra, filters]: cosine transform and lifter in one."""
    i, j = np.arange(CEPSTRA)[:, None], np.arange(FILTERS)[None, :]
    m = np.cos(i * np.pi / FILTERS * (j + 0.5)) * np.sqrt(2 / FILTERS)
    m[0] = np.sqrt(1 / FILTERS)
    return m * (1 + LIFTER / 2 * np.sin(i * np.pi / LIFTER))


def fourier():
    """[2 * bins, FRAME + 1] real and imaginary parts of each bin that a filter uses, pre-emphasis and window included."""
    used = np.flatnonzero(mel_filters().sum(0))
    window = np.hamming(FRAME)
    phase = 2 * np.pi * used[:, None] * np.arange(FRAME)[None, :] / FFT
    basis = np.concatenate([np.cos(phase), np.sin(phase)]) * window * 32768
    taps = np.zeros((len(basis), FRAME + 1))
    taps[:, 1:] += basis
    taps[:, :-1] -= 0.97 * basis
    return taps, used


def constant(weights):
    """A convolution with these weights [out, in, height, width] that is never trained."""
    w = torch.tensor(np.ascontiguousarray(weights), dtype=torch.float32)
    layer = nn.Conv2d(w.shape[1], w.shape[0], tuple(w.shape[2:]), bias=False)
    layer.weight = nn.Parameter(w, requires_grad=False)
    return layer


class Spectrum(nn.Module):
    """Logarithm of the filters' energy [N, filters, 1, FRAMES] above a floor that hangs on the window's loudness."""

    FLOOR = 12.0     # nats below the window's mean energy
    TINY = 0.1       # energy far below what the rounding to 16 bits leaves

    def __init__(self, window=WINDOW):
        super().__init__()
        self.window, self.frames = window, (window - FRAME - 1) // HOP + 1
        taps, used = fourier()
        filters = mel_filters()[:, used]
        self.fourier = constant(taps[:, None, None, :])
        self.fourier.stride = (1, HOP)
        self.mel = constant(np.concatenate([filters, filters], 1)[:, :, None, None])
        # One number per window spread over every place of the spectrum, as a convolution with ones.
        self.spread = constant(np.ones((FILTERS * self.frames, 1, 1, 1)))
        self.mean = nn.AvgPool2d((FILTERS, self.frames))
        self.register_buffer("hamming", torch.tensor(np.hamming(FRAME) * 32768, dtype=torch.float32), persistent=False)
        self.register_buffer("triangles", torch.tensor(mel_filters().T, dtype=torch.float32), persistent=False)

    def forward(self, audio):
        return self.with_level(audio)[0]

    def with_level(self, audio):
        """Also what everything is relative to: the loudness of the floor, at every place."""
        x = self.fourier(audio.view(-1, 1, 1, self.window))
        x = self.mel(x * x)
        mean = self.spread(torch.log(self.mean(x.reshape(-1, 1, FILTERS, self.frames)) + self.TINY))
        floor = mean.reshape(-1, FILTERS, 1, self.frames) - self.FLOOR
        return torch.relu(torch.log(x + self.TINY) - floor), floor

    def energies(self, audio):
        """[N, filters, frames] by FFT, quicker in torch; any length."""
        x = audio[:, 1:] - 0.97 * audio[:, :-1]
        x = torch.fft.rfft(x.unfold(1, FRAME, HOP) * self.hamming, FFT)
        return (torch.view_as_real(x).square().sum(-1) @ self.triangles).transpose(1, 2)

    def fast(self, audio):
        x = self.energies(audio)
        level = torch.log(x.mean((1, 2), keepdim=True) + self.TINY)
        return torch.relu(torch.log(x + self.TINY) - level + self.FLOOR).unsqueeze(2)


class Phones(nn.Module):
    """[N, filters, 1, FRAMES] clean spectra to [N, states, 1, SCORED]: 0 for impossible to 1 for certain."""

    KEPT = 64        # Gaussians of each stream of each phone; those of least weight are left out
    SHARPNESS = 0.5  # the streams are not independent, nor are frames: posteriors are too certain otherwise
    RANGE = 10.0     # nats
    SPAN = 40.0      # nats below a frame's best state at which all are the same; OpenCV's logarithm of a softmax fails beyond
    DEPTH = 60.0     # nats below the frame's best Gaussian at which all are the same; OpenCV's exp fails far below

    def __init__(self):
        super().__init__()
        names = read_names()
        mean, var, weight = read_gaussians("means"), read_gaussians("variances"), read_weights(len(names))
        var = np.maximum(var, 1e-4)
        mass = weight.sum(3)
        self.differences, self.gaussians, self.mixtures = (nn.ModuleList() for _ in range(3))
        for s in range(STREAMS):
            taps = np.zeros(7)
            for at, value in (((0, 1),), ((2, 1), (-2, -1)), ((3, 1), (-1, -1), (1, -1), (-3, 1)))[s]:
                taps[3 + at] = value
            layer = constant(cosines()[:, :, None, None] * taps)
            layer.stride = (1, STEP)
            self.differences.append(layer)
            keep = np.argsort(-mass[:, s], 1)[:, :self.KEPT]
            m, v = (np.take_along_axis(q[:, s], keep[:, :, None], 1).reshape(-1, CEPSTRA) for q in (mean, var))
            w = np.take_along_axis(weight[:, s], keep[:, :, None], 1)
            layer = nn.Conv2d(2 * CEPSTRA, len(m), 1)
            layer.weight.data = torch.tensor(np.concatenate([m / v, -0.5 / v], 1)[:, :, None, None], dtype=torch.float32)
            layer.bias.data = torch.tensor(-0.5 * (m * m / v + np.log(2 * np.pi * v)).sum(1), dtype=torch.float32)
            self.gaussians.append(layer)
            layer = nn.Conv2d(len(m), 3 * len(names), 1, groups=len(names), bias=False)
            layer.weight.data = torch.tensor(w.transpose(0, 2, 1).reshape(-1, self.KEPT)[:, :, None, None], dtype=torch.float32)
            self.mixtures.append(layer)
        self.most = nn.MaxPool2d((len(names) * self.KEPT, 1))
        self.less = nn.Conv2d(1, len(names) * self.KEPT, 1)      # all are told how far below the best is too far
        self.less.weight.data.fill_(-1.0)
        self.less.bias.data.fill_(self.DEPTH)
        self.best = nn.MaxPool2d((3 * len(names), 1))
        self.above = nn.Conv2d(1, 3 * len(names), 1)
        self.above.weight.data.fill_(-1.0)
        self.above.bias.data.fill_(self.SPAN)
        self.requires_grad_(False)

    def likelihoods(self, spectra):
        """Of each state, in nats relative to DEPTH below the frame's best Gaussians."""
        total = 0
        for differences, gaussians, mixtures in zip(self.differences, self.gaussians, self.mixtures):
            x = differences(spectra)
            x = gaussians(torch.cat([x, x * x], 1))
            x = x + self.less(self.most(x.permute(0, 2, 1, 3)))
            total = total + torch.log(mixtures(torch.exp(torch.relu(x))))
        return total

    def fast_likelihoods(self, spectra, frames=slice(None)):
        """The same in an order of work that suits torch, of some of the SCORED frames."""
        total = 0
        for differences, gaussians, mixtures in zip(self.differences, self.gaussians, self.mixtures):
            x = differences(spectra)[:, :, 0].transpose(1, 2)[:, frames]
            n, count = x.shape[:2]
            x = torch.addmm(gaussians.bias, torch.cat([x, x * x], 2).reshape(n * count, -1), gaussians.weight[:, :, 0, 0].T)
            x = torch.exp(torch.relu(x - x.amax(1, keepdim=True) + self.DEPTH)).view(n * count, -1, self.KEPT).transpose(0, 1)
            x = torch.bmm(x, mixtures.weight.view(-1, 3, self.KEPT).transpose(1, 2))
            total = total + torch.log(x.permute(1, 0, 2).reshape(n, count, -1))
        return total.transpose(1, 2).unsqueeze(2)

    def each_phone(self, spectra, frames):
        """[N, phones, frames]: how well each phone fits, all its states together, in nats."""
        x = self.fast_likelihoods(spectra, frames)[:, :, 0] * self.SHARPNESS
        return torch.logsumexp(x.reshape(len(x), -1, 3, x.shape[2]), 2)

    def fast(self, spectra):
        return self.scaled(self.fast_likelihoods(spectra) * self.SHARPNESS)

    def forward(self, spectra):
        x = self.likelihoods(spectra) * self.SHARPNESS
        return self.scaled(torch.relu(x + self.above(self.best(x.permute(0, 2, 1, 3)))))

    def scaled(self, likelihoods):
        x = torch.log_softmax(likelihoods, 1)
        return torch.relu(x * (1 / self.RANGE) + 1)
