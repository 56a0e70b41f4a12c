"""The network: raw 1.5 s of sound in, two probabilities out, in operations OpenCV's importer knows."""
import numpy as np
import torch
from torch import nn

RATE, WINDOW = 16000, 24000
FRAME, HOP, MELS = 400, 240, 40
FRAMES = (WINDOW - FRAME) // HOP + 1
FLOOR = 9.0      # nats below the window's mean energy at which the log spectrum is cut off (about 40 dB)
TINY = 1e-12     # about what the rounding to 16 bits leaves in a band


def mel_matrix(bins, low=80.0, high=7600.0):
    """Triangles on the mel scale over the given FFT bin frequencies."""
    mel = lambda f: 2595 * np.log10(1 + f / 700)
    edges = np.linspace(mel(low), mel(high), MELS + 2)
    m = mel(bins)[None, :]
    left, mid, right = edges[:-2, None], edges[1:-1, None], edges[2:, None]
    w = np.maximum(0, np.minimum((m - left) / (mid - left), (right - m) / (right - mid)))
    return w / np.maximum(w.sum(1, keepdims=True), 1e-6)


class Features(nn.Module):
    """Log mel spectrum relative to the window's own mean energy, so loudness drops out.

    The Fourier transform is a convolution with fixed weights.  The lowest two bins are left
    out: the Hann window is exactly zero there for a constant, so DC has no effect.
    """

    def __init__(self):
        super().__init__()
        k = np.arange(2, 196)
        t = np.arange(FRAME)
        hann = 0.5 - 0.5 * np.cos(2 * np.pi * t / FRAME)
        phase = 2 * np.pi * k[:, None] * t[None, :] / FRAME
        basis = np.concatenate([np.cos(phase) * hann, -np.sin(phase) * hann]) / FRAME
        n = 2 * len(k)
        self.fourier = nn.Conv2d(1, n, (1, FRAME), stride=(1, HOP), bias=False)
        self.fourier.weight.data = torch.tensor(basis, dtype=torch.float32).view(n, 1, 1, FRAME)
        # Pre-emphasis of 5 dB an octave: a faint s counts beside a loud vowel.
        mel = mel_matrix(k * RATE / FRAME) * np.minimum(k * RATE / FRAME / 1000, 5.0) ** 1.6
        self.mel = nn.Conv2d(n, MELS, 1, bias=False)
        self.mel.weight.data = torch.tensor(np.concatenate([mel, mel], 1), dtype=torch.float32).view(MELS, n, 1, 1)
        # One number per window spread over every place of the spectrum, as a convolution with ones.
        self.spread = nn.Conv2d(1, MELS * FRAMES, 1, bias=False)
        self.spread.weight.data.fill_(1.0)
        self.mean = nn.AvgPool2d((MELS, FRAMES))
        for p in self.parameters():
            p.requires_grad_(False)

        self.register_buffer("hann", torch.tensor(hann / FRAME, dtype=torch.float32), persistent=False)
        self.register_buffer("mel_t", torch.tensor(mel.T, dtype=torch.float32), persistent=False)

    def forward(self, audio):
        x = self.fourier(audio.view(-1, 1, 1, WINDOW))
        x = self.mel(x * x)                                    # [N, MELS, 1, FRAMES]
        return self.compress(x.reshape(-1, 1, MELS, FRAMES))

    def fast(self, audio):
        """The same by FFT, which torch does quicker but cannot export; for training only."""
        x = torch.fft.rfft(audio.unfold(1, FRAME, HOP) * self.hann)[:, :, 2:196]
        x = torch.view_as_real(x).square().sum(-1) @ self.mel_t
        return self.compress(x.transpose(1, 2).reshape(-1, 1, MELS, FRAMES))

    def compress(self, x):
        level = self.spread(torch.log(self.mean(x) + TINY)).reshape(-1, 1, MELS, FRAMES)
        return torch.relu(torch.log(x + TINY) - level + FLOOR) * 0.2 - 1.0


def block(cin, cout, kernel, stride=(1, 1), pad=(0, 0), dilation=(1, 1)):
    return [nn.Conv2d(cin, cout, kernel, stride, pad, dilation, bias=False), nn.BatchNorm2d(cout), nn.ReLU()]


class Classifier(nn.Module):
    def __init__(self):
        super().__init__()
        self.front = nn.Sequential(
            *block(1, 16, (5, 5), (2, 2), (2, 2)),             # 20 x 50
            *block(16, 24, (3, 3), (2, 2), (1, 1)),            # 10 x 25
            *block(24, 40, (3, 3), (2, 1), (1, 1)),            # 5 x 25
            *block(40, 64, (5, 1)),                            # 1 x 25
            *block(64, 64, (1, 5), pad=(0, 2)),
            *block(64, 64, (1, 5), pad=(0, 4), dilation=(1, 2)),
            nn.MaxPool2d((1, 25)))
        self.drop = nn.Dropout(0.15)
        self.out = nn.Linear(64, 2)

    def forward(self, features):
        return self.out(self.drop(self.front(features).reshape(-1, 64)))


class WakeModel(nn.Module):
    """What is exported: audio [1, 24000] to softmax probabilities [1, 2]."""

    def __init__(self, features, classifier):
        super().__init__()
        self.features, self.classifier = features, classifier

    def forward(self, audio):
        return torch.softmax(self.classifier(self.features(audio)), 1)

    def fast(self, audio):
        return torch.softmax(self.classifier(self.features.fast(audio)), 1)


def load(path):
    model = WakeModel(Features(), Classifier())
    model.classifier.load_state_dict(torch.load(path))
    return model.eval()
