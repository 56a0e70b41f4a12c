"""Cut and disturb training windows: placement, speed, rooms, band limits, noise, loudness."""
import numpy as np
from scipy.signal import butter, fftconvolve, lfilter

import speech_sounds

RATE, WINDOW = 16000, 24000
LAST_GOOD = 0.6       # seconds after the phrase within which a window must still say yes


def noise(rng, kind, n, babble=None):
    """About unit-power noise of one kind."""
    t = np.arange(n) / RATE
    if kind == "white":
        x = rng.standard_normal(n)
    elif kind in ("pink", "brown"):
        f = np.fft.rfftfreq(n, 1 / RATE)
        f[0] = f[1]
        shape = np.maximum(f, 30) ** (-0.5 if kind == "pink" else -1.0)
        x = np.fft.irfft(np.fft.rfft(rng.standard_normal(n)) * shape, n)
    elif kind == "hum":
        base = rng.choice([50, 60, 100, 120])
        x = sum(rng.uniform(0.1, 1) / h * np.sin(2 * np.pi * base * h * t + rng.uniform(0, 6)) for h in range(1, 9))
        x = x + 0.05 * rng.standard_normal(n)
    elif kind == "clicks":
        x = 0.01 * rng.standard_normal(n)
        for _ in range(max(1, int(rng.integers(1, 12) * n / WINDOW))):
            at, length = rng.integers(0, n), int(rng.integers(5, 400))
            burst = rng.standard_normal(length) * np.exp(-np.arange(length) / (length / 4))
            x[at:at + length] += burst[:n - at] * rng.uniform(1, 6)
    elif kind == "music":
        x = np.zeros(n)
        step = int(RATE * rng.uniform(0.1, 0.5))
        for begin in range(0, n, step):
            k = np.arange(min(step, n - begin)) / RATE
            for _ in range(int(rng.integers(1, 4))):
                f0 = 55 * 2 ** (rng.integers(0, 60) / 12)
                tone = sum(np.sin(2 * np.pi * f0 * h * k) / h ** rng.uniform(0.5, 2) for h in range(1, 6) if f0 * h < 7800)
                x[begin:begin + len(k)] += tone * np.exp(-k * rng.uniform(0.5, 8))
    elif kind == "sweep":
        f = np.linspace(rng.uniform(50, 7000), rng.uniform(50, 7000), n)
        x = np.sin(2 * np.pi * np.cumsum(f) / RATE) * (0.6 + 0.4 * np.sin(2 * np.pi * rng.uniform(0.5, 8) * t))
    elif kind == "babble":
        x = sum(babble(n) * rng.uniform(0.3, 1) for _ in range(int(rng.integers(3, 8))))
    elif kind == "two":
        x = sum(noise(rng, rng.choice(KINDS[:-1]), n, babble) * rng.uniform(0.2, 1) for _ in range(2))
    elif kind == "beat":   # drums and bass under chords
        x = noise(rng, "music", n) * rng.uniform(0.2, 1)
        step = int(RATE * rng.uniform(0.12, 0.3))
        for i, at in enumerate(range(0, n, step)):
            k = np.arange(min(step, n - at)) / RATE
            drum = np.sin(2 * np.pi * 60 * np.exp(-k * 9) * k * 4) if i % 2 == 0 else rng.standard_normal(len(k)) * 0.6
            x[at:at + len(k)] += 3 * drum * np.exp(-k * rng.uniform(12, 60)) * rng.uniform(0.2, 1)
    elif kind == "bursts":  # speech-like energy without speech: noise in syllable-long pieces
        gate = np.repeat(rng.uniform(0, 1, n // 1600 + 2) ** 2, 1600)[:n]
        b, a = butter(2, sorted(rng.uniform(150, 7000, 2) + [0, 300]), "band", fs=RATE)
        x = lfilter(b, a, rng.standard_normal(n)) * gate
    else:
        raise ValueError(kind)
    return x / (np.sqrt(np.mean(x ** 2)) + 1e-9)


KINDS = ["white", "pink", "pink", "brown", "hum", "clicks", "music", "beat", "babble", "babble", "babble", "bursts", "sweep", "two"]


def room(rng, x, far=False):
    """A synthetic room: direct sound, a few reflections, a decaying noise tail; far off, the tail is as loud as the rest."""
    length = int(RATE * (rng.uniform(0.25, 0.7) if far else rng.uniform(0.08, 0.45)))
    tail = rng.standard_normal(length) * np.exp(-6.9 * np.arange(length) / length)
    tail[:int(rng.integers(20, 120))] = 0
    tail *= 10 ** (-(rng.uniform(-2, 5) if far else rng.uniform(2, 18)) / 20) / (np.sqrt(np.sum(tail ** 2)) + 1e-9)
    tail[0] = 1.0
    for _ in range(int(rng.integers(0, 5))):
        tail[int(rng.integers(16, length))] += rng.uniform(-0.4, 0.4)
    return fftconvolve(x, tail)[:len(x)]


def colour(rng, x):
    """Microphone and line: band limits and a tilt."""
    k = rng.random()
    if k < 0.4:
        b, a = butter(int(rng.integers(1, 4)), rng.uniform(60, 350), "high", fs=RATE)
        x = lfilter(b, a, x)
    if k > 0.25:
        b, a = butter(int(rng.integers(1, 5)), rng.uniform(3000, 7500), "low", fs=RATE)
        x = lfilter(b, a, x)
    if rng.random() < 0.5:
        tilt = rng.uniform(-0.6, 0.4)
        x = lfilter([1.0, -tilt], [1.0], x)
    return x


def equalise(rng, x):
    """A smooth random curve over frequency: other mouths, rooms and microphones."""
    f = np.fft.rfftfreq(len(x), 1 / RATE)
    curve = np.interp(np.log(f + 60), np.log(np.geomspace(120, 8060, 7)), rng.normal(0, 5, 7))
    return np.fft.irfft(np.fft.rfft(x) * 10 ** (curve / 20), len(x))


def speed(rng, spread):
    """A factor for stretched, as often above one as below."""
    return float(np.exp(rng.normal(0, spread)))


def stretched(sound, factor):
    """As long as by that factor, and as much lower."""
    return np.interp(np.arange(int(len(sound) * factor)) / factor, np.arange(len(sound)), sound).astype(np.float32)


class Spoken:
    """Sound, and the phone that is spoken at each of its samples."""

    def __init__(self, sound, phones):
        self.sound, self.phones = sound, phones

    @staticmethod
    def silence(n):
        return Spoken(np.zeros(n, np.float32), np.full(n, speech_sounds.SILENCE, np.uint8))

    def __len__(self):
        return len(self.sound)

    def __getitem__(self, part):
        return Spoken(self.sound[part], self.phones[part])

    def put(self, at, other, gain=1.0):
        self.sound[at:at + len(other)] = other.sound * gain
        self.phones[at:at + len(other)] = other.phones

    def stretched(self, factor):
        sound = stretched(self.sound, factor)
        return Spoken(sound, self.phones[(np.arange(len(sound)) / factor).astype(int)])

    def repeated(self, n):
        times = n // len(self) + 1
        return Spoken(np.tile(self.sound, times), np.tile(self.phones, times))

    def copy(self):
        return Spoken(self.sound.copy(), self.phones.copy())


class Mixer:
    def __init__(self, work, split, seed):
        self.rng = np.random.default_rng(seed)
        self.sets = {}
        for name in ("phrase", "speech"):
            z = np.load(f"{work}/{split}_{name}.npz")
            self.sets[name] = {k: z[k] for k in z.files}
        family = self.sets["phrase"]["family"]
        # Families are drawn by weight, not by their count, so that formant synthesis does not drown the others.
        weight = {"espeak": 5.0, "espeak-foreign": 2.0}
        self.families = {f: np.flatnonzero(family == f) for f in sorted(set(family))}
        w = np.array([weight.get(f, 1.4) for f in self.families])
        self.family_p = w / w.sum()
        tag = self.sets["speech"]["family"]
        self.tags = {f: np.flatnonzero(tag == f) for f in ("generic", "near")}

    def spoken(self, name, i):
        s = self.sets[name]
        sound = s["audio"][s["begin"][i]:s["begin"][i + 1]].astype(np.float32) / 32768
        phones = np.repeat(s["phones"][s["phones_begin"][i]:s["phones_begin"][i + 1]], speech_sounds.STEP)
        return Spoken(sound, phones[:len(sound)])

    def clip(self, name, i):
        return self.spoken(name, i).sound

    def anything_spoken(self, n):
        x = self.spoken("speech", int(self.rng.integers(0, len(self.sets["speech"]["voice"]))))
        if len(x) < n:
            x = x.repeated(n)
        at = int(self.rng.integers(0, len(x) - n + 1))
        return x[at:at + n]

    def any_speech(self, n):
        return self.anything_spoken(n).sound

    def pick_phrase(self):
        rng = self.rng
        while True:
            family = list(self.families)[rng.choice(len(self.families), p=self.family_p)]
            i = int(rng.choice(self.families[family]))
            factor = speed(rng, 0.13) if rng.random() < 0.8 else 1.0
            times = self.sets["phrase"]["times"][i] * factor
            if times[2] - times[0] < 1.25 * RATE:
                return self.spoken("phrase", i).stretched(factor), times

    def place(self, x, end):
        """The window ending at sample `end` of clip x, with silence or other speech around the clip."""
        rng, out = self.rng, Spoken.silence(WINDOW)
        begin = end - WINDOW
        a, b = max(begin, 0), min(end, len(x))
        if b > a:
            out.put(a - begin, x[a:b])
        if begin < 0 and rng.random() < 0.4:                   # something was said before
            n = -begin - int(rng.uniform(0.0, 0.35) * RATE)
            if n > 400:
                out.put(0, self.anything_spoken(n), rng.uniform(0.2, 1.2))
        if end > len(x) and rng.random() < 0.5:                # speech goes on
            n = end - len(x) - int(rng.uniform(0.0, 0.2) * RATE)
            if n > 400:
                out.put(WINDOW - n, self.anything_spoken(n), rng.uniform(0.3, 1.3))
        return out

    def clean(self, kind):
        """A window of the kind, undisturbed, as Spoken; `whole` is left as the clip that it was cut from."""
        rng = self.rng
        if kind == "phrase":                                   # complete, ended up to LAST_GOOD ago
            self.whole, (h, s, e) = x, _ = self.pick_phrase()
            latest = min(LAST_GOOD * RATE, WINDOW - (e - h) + 0.05 * RATE)
            return self.place(x, int(e + rng.uniform(-0.01 * RATE, latest)))
        if kind == "partial":                                  # not complete yet, or cut off
            self.whole, (h, s, e) = x, _ = self.pick_phrase()
            stop = int(rng.uniform(h + 0.1 * RATE, s + 0.25 * (e - s)))
            if rng.random() < 0.5:
                return self.place(x, stop)
            cut = x[:stop].copy()                              # "Hey Ve" and then silence or something else
            cut.sound[-160:] *= np.linspace(1, 0, min(160, len(cut)))[-len(cut):]
            return self.place(cut, stop + int(rng.uniform(0, 0.8) * RATE))
        if kind == "tail":                                     # "Vessa" without "Hey"
            self.whole, (h, s, e) = x, _ = self.pick_phrase()
            x = x[int(h + 0.55 * max(s - h - 0.16 * RATE, 0)):]
            return self.place(x, int(min(len(x), e - h) + rng.uniform(0, 0.4) * RATE))
        if kind in ("generic", "near", "speech"):
            tag = kind if kind != "speech" else ("near" if rng.random() < 0.4 else "generic")
            x = self.spoken("speech", int(rng.choice(self.tags[tag])))
            if rng.random() < 0.6:
                x = x.stretched(speed(rng, 0.13))
            self.whole = x
            return self.place(x, int(rng.uniform(0.4 * RATE, len(x) + 0.5 * RATE)))
        raise ValueError(kind)

    def noise(self):
        rng = self.rng
        return self.loudness(noise(rng, rng.choice(KINDS), WINDOW, self.any_speech) *
                             rng.choice([0, 1], p=[0.04, 0.96]) + rng.choice([0, 0, 0, 0.3]))

    def disturbed(self, kind):
        """A window and its clean original; for noise there is none."""
        if kind == "noise":
            return self.noise(), None
        x = self.clean(kind)
        return self.disturb(x.sound, 3 if kind == "phrase" else 0), x

    def window(self, kind):
        return self.disturbed(kind)[0]

    def disturb(self, x, least_snr=0):
        rng = self.rng
        if rng.random() < 0.45:
            x = room(rng, x, rng.random() < 0.3)
        if rng.random() < 0.5:
            x = equalise(rng, x)
        if rng.random() < 0.3:
            x = colour(rng, x)
        if rng.random() < 0.7:
            n = noise(rng, rng.choice(KINDS), WINDOW, self.any_speech)
            power = np.mean(x[np.abs(x) > 0.01] ** 2) if np.any(np.abs(x) > 0.01) else 1e-3
            x = x + n * np.sqrt(power) * 10 ** (-rng.uniform(least_snr, 32) / 20)
        return self.loudness(x)

    def loudness(self, x):
        """Peak from -40 dBFS to slightly clipped, then 16 bits."""
        peak = 10 ** (-self.rng.triangular(-1.5, 4, 40) / 20)
        x = x * (peak / (np.max(np.abs(x)) + 1e-9))
        return (np.round(np.clip(x, -1, 1) * 32767) / 32768).astype(np.float32)
