"""The network: raw 1.5 s of sound in, two probabilities out, in operations OpenCV's importer knows."""
import numpy as np
import torch
from torch import nn

import phones
from phones import FILTERS, FRAMES, RATE, SCORED, WINDOW

STATES = 3 * len(phones.read_names())


def spread_out(summary, frames):
    """[N, channels, 1, 1] to every frame, as a convolution with ones."""
    x = nn.functional.conv2d(summary.reshape(-1, 1, summary.shape[1], 1), torch.ones(frames, 1, 1, 1))
    return x.permute(0, 2, 3, 1)


class Cleaner(nn.Module):
    """Noisy spectra of a window to what they would be without noise, room and microphone, mean taken off.

    Trained on pairs.  It learns about disturbances, less about voices, and what it gives is judged by the phones.
    """

    WIDTH = 64

    def __init__(self, frames=FRAMES):
        super().__init__()
        n, self.frames = self.WIDTH, frames
        self.first = nn.Conv2d(FILTERS, n, (1, 5), padding=(0, 2))
        # Each place sees the mean and the maximum over the whole window.
        self.mean, self.most = nn.AvgPool2d((1, frames)), nn.MaxPool2d((1, frames))
        self.summary = nn.Conv2d(2 * n, n, 1)
        self.second = nn.Conv2d(n, n, (1, 5), padding=(0, 4), dilation=(1, 2))
        self.third = nn.Conv2d(n, n, (1, 5), padding=(0, 8), dilation=(1, 4))
        self.last = nn.Conv2d(n, FILTERS, (1, 3), padding=(0, 1))

    def forward(self, spectra):
        x = spectra * 0.25 - 1.5
        h = torch.relu(self.first(x))
        h = torch.relu(h + spread_out(self.summary(torch.cat([self.mean(h), self.most(h)], 1)), self.frames))
        h = torch.relu(h + self.second(h))
        h = torch.relu(h + self.third(h))
        return (x + self.last(h)) * 4.0


class Head(nn.Module):
    """Phone states over time to the two classes."""

    def __init__(self, width=48, drop=0.2):
        super().__init__()
        layers = [nn.Conv2d(STATES, width, 1, bias=False), nn.BatchNorm2d(width), nn.ReLU(), nn.Dropout2d(drop / 2)]
        for dilation in (1, 2, 4, 4):
            layers += [nn.Conv2d(width, width, (1, 5), padding=(0, 2 * dilation), dilation=(1, dilation), bias=False),
                       nn.BatchNorm2d(width), nn.ReLU(), nn.Dropout2d(drop / 2)]
        self.body = nn.Sequential(*layers)
        self.most = nn.MaxPool2d((1, SCORED))
        self.drop = nn.Dropout(drop)
        self.out = nn.Linear(width, 2)

    def forward(self, states):
        return self.out(self.drop(self.most(self.body(states)).reshape(-1, self.out.in_features)))


class Jury(nn.Module):
    """The mean of what the heads of all searches say: the later ones refuse more, the earlier ones know more voices."""

    def __init__(self, heads):
        super().__init__()
        self.heads = nn.ModuleList(heads)

    def forward(self, states):
        total = self.heads[0](states)
        for head in list(self.heads)[1:]:
            total = total + head(states)
        return total * (1.0 / len(self.heads))


class WakeModel(nn.Module):
    """What is exported: audio [1, 24000] to softmax probabilities [1, 2]."""

    def __init__(self, cleaner, head):
        super().__init__()
        self.spectrum, self.cleaner, self.phones, self.head = phones.Spectrum(), cleaner, phones.Phones(), head

    def forward(self, audio):
        return torch.softmax(self.head(self.phones(self.cleaner(self.spectrum(audio)))), 1)

    def states(self, spectra):
        return self.phones.fast(self.cleaner(spectra))

    def fast(self, audio):
        return torch.softmax(self.head(self.states(self.spectrum.fast(audio))), 1)


class LongWindow(nn.Module):
    """2.5 s of sound as it is and as the Cleaner hears it."""

    SAMPLES = 40000

    def __init__(self, cleaner):
        super().__init__()
        self.spectrum = phones.Spectrum(self.SAMPLES)
        self.frames = self.spectrum.frames
        self.cleaner = Cleaner(self.frames)
        self.cleaner.load_state_dict(cleaner.state_dict())
        self.loudness = phones.constant(np.full((1, FILTERS, 1, 1), 1 / FILTERS))
        self.all_filters = phones.constant(np.ones((FILTERS, 1, 1, 1)))
        self.mean, self.most = nn.AvgPool2d((1, self.frames)), nn.MaxPool2d((1, self.frames))

    def compare(self, heard):
        """The cleaned spectra, their loudness, and by how much they are louder where there is speech, at every place."""
        clean = self.cleaner(heard)
        loudness = self.loudness(clean)
        speech = self.all_filters(torch.sigmoid((loudness - spread_out(self.most(loudness), self.frames) + 4.0) * 1.5))
        shift = self.mean((clean - heard) * speech) / self.mean(speech)
        return clean, loudness, spread_out(shift, self.frames)


class CleanSpeech(LongWindow):
    """What the verification hears: audio [1, SAMPLES] to the acoustic model's cepstra [1, frames * CEPSTRA], frame by frame.

    Half of what it hears is the spectrum as it is, with the mean of the cleaned one where there is speech: the Cleaner
    alone takes something away from a clean voice, and the mean of both errs less than either.  Where nothing for a
    while comes near the loudest of what may be the phrase there is silence instead: others talk behind the speaker,
    whose words must not be counted with his.
    """

    PHRASE = 150     # frames, the newest, that hold the phrase if there is one
    BEHIND = 3.0     # nats of energy below the loudest of them: 13 dB
    AROUND = 30      # frames to each side in which something must be louder than that
    SILENCE = 10.0   # nats below the loudest

    def __init__(self, cleaner):
        super().__init__(cleaner)
        self.newest = nn.MaxPool2d((1, self.PHRASE))
        self.around = nn.MaxPool2d((1, 2 * self.AROUND + 1), stride=1, padding=(0, self.AROUND))
        self.cosines = phones.constant(0.5 * phones.cosines()[:, :, None, None])

    def forward(self, audio):
        heard = self.spectrum(audio)
        clean, loudness, shift = self.compare(heard)
        return self.cosines(self.in_front(clean + heard + shift, loudness)).permute(0, 3, 1, 2).reshape(1, -1)

    def in_front(self, doubled, loudness):
        """The sum of two spectra, or twice silence where only others speak; in between within a nat, not at one step."""
        loudest = spread_out(self.newest(loudness[:, :, :, -self.PHRASE:]), self.frames)
        spoken = torch.sigmoid((self.around(loudness) - loudest + self.BEHIND) * 6.0)
        return doubled * self.all_filters(spoken) + self.all_filters(2.0 * (loudest - self.SILENCE) * (1.0 - spoken))


class NoiseReduction(LongWindow):
    """What commands are heard through: audio [1, SAMPLES] to [1, frames * (BINS + 1)], frame by frame.

    For each bin of a Fourier transform of 512 samples the factor, at most 1, that leaves the speech; then the
    loudness of the speech, the mean of the filters' logarithms of energy.
    """

    MOST = 2.3       # nats of amplitude by which a bin is made less: 20 dB
    BINS = phones.FFT // 2 + 1

    def __init__(self, cleaner):
        super().__init__(cleaner)
        triangles = phones.mel_filters()
        used = np.flatnonzero(triangles.sum(0))
        shares = triangles[:, used] / triangles[:, used].sum(0)
        nearest = np.clip(np.arange(self.BINS), used[0], used[-1]) - used[0]
        self.bins = phones.constant(shares[:, nearest].T[:, :, None, None])

    def forward(self, audio):
        heard, floor = self.spectrum.with_level(audio)
        clean, loudness, shift = self.compare(heard)
        less = torch.relu((heard + shift - clean) * 0.5)
        less = less - torch.relu(less - self.MOST)
        factors = self.bins(torch.exp(less * -1.0))
        return torch.cat([factors, loudness + self.loudness(floor)], 1).permute(0, 3, 1, 2).reshape(1, -1)


def load_cleaner(path):
    cleaner = Cleaner()
    cleaner.load_state_dict(torch.load(path))
    return cleaner


def load(work):
    weights = torch.load(f"{work}/heads.pt")
    heads = [Head() for _ in weights]
    for head, trained in zip(heads, weights):
        head.load_state_dict(trained)
    return WakeModel(load_cleaner(f"{work}/phone_cleaner.pt"), Jury(heads)).eval()
