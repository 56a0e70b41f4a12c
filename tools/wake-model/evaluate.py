"""Measure the shipped file, through OpenCV, on voices that training never heard: evaluate.py WORK_DIR MODEL.onnx"""
import collections
import sys

import cv2
import numpy as np

import augment
import model as m
import voices

THRESHOLDS = (0.3, 0.6, 0.95)
POLL = m.RATE // 5
MERGE = 1.5             # seconds within which several polls are one candidate
REACH = 0.7             # seconds after the phrase within which a candidate counts as heard
DEMO = [("espeak", "en-us"), ("espeak", "en-us+f3"), ("flite", "slt"), ("flite", "rms"), ("flite", "awb")]
DEMO_TEXTS = ["Hey Vessa", "Hey, Vessa", "Hey Vessa!", "Hey Vessa, what time is it", "Hey Vessa open the browser"]


class Scorer:
    def __init__(self, path):
        cv2.setNumThreads(1)
        self.net = cv2.dnn.readNetFromONNX(path)

    def stream(self, x, phase=0):
        padded = np.concatenate([np.zeros(m.WINDOW, np.float32), np.asarray(x, np.float32)])
        out = []
        for end in range(POLL + phase, len(x) + 1, POLL):
            self.net.setInput(padded[end:end + m.WINDOW].reshape(1, -1), "audio")
            out.append((end, float(self.net.forward()[0, 1])))
        return out


def with_noise(mixer, x, snr):
    if snr is None:
        return x
    kind = mixer.rng.choice(["white", "pink", "babble"])
    power = np.mean(x[np.abs(x) > 0.01] ** 2)
    y = x + augment.noise(mixer.rng, kind, len(x), mixer.any_speech) * np.sqrt(power) * 10 ** (-snr / 20)
    return (y * min(1.0, 0.95 / np.abs(y).max())).astype(np.float32)


def candidates(polls, threshold):
    count, last = 0, -1e9
    for end, p in polls:
        if p >= threshold:
            if end - last > MERGE * m.RATE:
                count += 1
            last = end
    return count


def recall(scorer, mixer):
    phrase, quiet = mixer.sets["phrase"], np.zeros(m.RATE, np.float32)
    print(f"\nRecall on {len(phrase['voice'])} phrases by {len(set(phrase['voice']))} held-out voices "
          f"(a poll within {REACH} s of the end reaches the threshold), and early ones\n"
          "(a poll before the s of Vessa begins does)")
    for label, snr in (("clean", None), ("20 dB", 20), ("10 dB", 10)):
        heard, early = collections.defaultdict(lambda: np.zeros(3)), np.zeros(3)
        total, polls_over = collections.Counter(), 0
        for i in range(len(phrase["voice"])):
            _, s, e = phrase["times"][i] + m.RATE
            x = with_noise(mixer, np.concatenate([quiet, mixer.clip("phrase", i), quiet]), snr)
            polls = scorer.stream(x, int(mixer.rng.integers(0, POLL)))
            good = [p for end, p in polls if e <= end <= e + REACH * m.RATE]
            bad = [p for end, p in polls if end < s]
            family = str(phrase["family"][i])
            total[family] += 1
            heard[family] += [max(good) >= t for t in THRESHOLDS]
            polls_over += sum(p >= 0.6 for p in good)
            early += [max(bad, default=0) >= t for t in THRESHOLDS]
        n = sum(total.values())
        print(f"  {label:6s} " + "  ".join(f">={t}: {sum(h[k] for h in heard.values()) / n:.3f}" for k, t in enumerate(THRESHOLDS)),
              f" polls >= 0.6 per phrase: {polls_over / n:.2f}   early: " + " ".join(f"{v / n:.3f}" for v in early))
        for f in sorted(total):
            print(f"         {f:26s} n={total[f]:4d}  " + "  ".join(f"{v / total[f]:.3f}" for v in heard[f]))


def false_candidates(scorer, mixer):
    speech = mixer.sets["speech"]
    gap = np.zeros(int(0.3 * m.RATE), np.float32)
    print("\nFalse candidates per hour of speech by held-out voices at thresholds", THRESHOLDS)
    for tag in ("generic", "near"):
        for label, snr in (("clean", None), ("15 dB", 15)):
            worst = collections.Counter()
            tally, length, clips_hit, n = np.zeros(3), 0, np.zeros(3), 0
            for begin in range(0, len(mixer.tags[tag]), 20):
                part = mixer.tags[tag][begin:begin + 20]
                x, spans = [], []
                for i in part:
                    at = sum(map(len, x))
                    x += [mixer.clip("speech", i), gap]
                    spans.append((at, at + len(x[-2]) + len(gap), i))
                x = with_noise(mixer, np.concatenate(x), snr)
                polls = scorer.stream(x, int(mixer.rng.integers(0, POLL)))
                tally += [candidates(polls, t) for t in THRESHOLDS]
                length += len(x)
                for a, b, i in spans:
                    top = max((p for end, p in polls if a <= end < b), default=0)
                    clips_hit += [top >= t for t in THRESHOLDS]
                    n += 1
                    if top >= 0.6:
                        worst[str(speech["text"][i])[:50]] += 1
            hours = length / m.RATE / 3600
            print(f"  {tag:8s} {label:6s} {hours:.2f} h: " + "  ".join(f">={t}: {v / hours:.1f}" for t, v in zip(THRESHOLDS, tally)),
                  "  share of sentences: " + " ".join(f"{v / n:.4f}" for v in clips_hit))
            print("      at 0.6:", worst.most_common(12))
    tally, length = collections.defaultdict(lambda: np.zeros(3)), 0
    for kind in sorted(set(augment.KINDS)):
        for _ in range(6):
            x = augment.noise(mixer.rng, kind, 20 * m.RATE, mixer.any_speech)
            x = (x * 0.9 / np.abs(x).max() * 10 ** -mixer.rng.uniform(0, 2)).astype(np.float32)
            polls = scorer.stream(x)
            tally[kind] += [candidates(polls, t) for t in THRESHOLDS]
            length += len(x)
    print(f"  noises   {length / m.RATE / 3600:.2f} h, candidates: " + ", ".join(f"{k} {v.astype(int).tolist()}" for k, v in tally.items()))


def demo(scorer):
    print("\nThe named voices, clean, 16 bits: longest run of polls >= 0.9, least over five poll phases and two loudnesses")
    espeak, fail = voices.Espeak(), []
    for engine, voice in DEMO:
        runs = []
        for text in DEMO_TEXTS:
            spoken = espeak.speak(text, voice, speed=175) if engine == "espeak" else voices.flite(text, voice)
            x = np.concatenate([np.zeros(m.RATE), spoken[0], np.zeros(m.RATE)])
            least = 99
            for gain in (1.0, 0.05):
                y = (np.round(x * gain * 32767) / 32768).astype(np.float32)
                for phase in range(0, POLL, POLL // 5):
                    run = best = 0
                    for _, p in scorer.stream(y, phase):
                        run = run + 1 if p >= 0.9 else 0
                        best = max(best, run)
                    least = min(least, best)
            runs.append(least)
        if min(runs) < 2:
            fail.append(voice)
        print(f"  {engine} {voice:9s} " + "  ".join(f"{t!r}: {r}" for t, r in zip(DEMO_TEXTS, runs)))
    return fail


def main():
    sys.stdout.reconfigure(line_buffering=True)
    work, path = sys.argv[1:3]
    scorer, mixer = Scorer(path), augment.Mixer(work, "eval", 11)
    fail = demo(scorer)
    recall(scorer, mixer)
    false_candidates(scorer, mixer)
    if fail:
        sys.exit(f"voices that do not wake in two polls running: {fail}")


if __name__ == "__main__":
    main()
