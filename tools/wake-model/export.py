"""Write the networks and prove that OpenCV computes what torch computes: export.py WORK_DIR OUT_DIR"""
import os
import sys
import time

import cv2
import numpy as np
import torch

import model as m
from augment import Mixer, noise

TORCH_TOLERANCE = 1e-3
LONG_TOLERANCE = 0.01         # of cepstra, which are some tens, and of factors and loudness


def odd_windows():
    rng, t = np.random.default_rng(1), np.arange(m.WINDOW)
    odd = {"digital silence": np.zeros(m.WINDOW), "DC +1": np.ones(m.WINDOW), "DC -0.3": np.full(m.WINDOW, -0.3),
           "full-scale white noise": rng.uniform(-1, 1, m.WINDOW), "full-scale +-1 noise": np.sign(rng.standard_normal(m.WINDOW)),
           "one-sample click": (t == 12000) * 1.0, "1 LSB noise": rng.integers(-1, 2, m.WINDOW) / 32768,
           "denormal numbers": np.full(m.WINDOW, 1e-40), "alternating denormals": (-1.0) ** t * 1e-39,
           "full-scale 440 Hz": np.sin(t * 2 * np.pi * 440 / m.RATE), "full-scale pink": noise(np.random.default_rng(2), "pink", m.WINDOW),
           "full-scale square wave, 100 Hz": np.sign(np.sin(t * 2 * np.pi * 100.01 / m.RATE)),
           "full-scale square wave, 1 kHz": np.sign(np.sin(t * 2 * np.pi * 1000.1 / m.RATE)),
           "silence, then full scale": np.where(t < 12000, 0.0, np.sign(np.sin(t * 0.3 + 0.1)))}
    odd["full-scale pink"] /= np.abs(odd["full-scale pink"]).max()
    return odd


def export_long(work, net, out, answer):
    net = net.eval()
    torch.onnx.export(net, torch.zeros(1, net.SAMPLES), out, input_names=["audio"], output_names=[answer],
                      opset_version=11, do_constant_folding=True)
    cvnet, mixer, worst = cv2.dnn.readNetFromONNX(out), Mixer(work, "dev", 6), 0.0
    for _ in range(40):
        x = np.concatenate([mixer.window("speech"), mixer.window("phrase")])[-net.SAMPLES:]
        cvnet.setInput(x[None], "audio")
        with torch.no_grad():
            worst = max(worst, float(np.abs(cvnet.forward() - net(torch.from_numpy(x)[None]).numpy()).max()))
    assert worst < LONG_TOLERANCE, worst
    print(f"  {os.path.basename(out)}: differs by at most {worst:.2g}, {os.path.getsize(out)} bytes")


def main():
    torch.set_num_threads(1)
    cv2.setNumThreads(1)
    work, folder = sys.argv[1:3]
    out = f"{folder}/HeyVessa_runtime.onnx"
    net = m.load(work)
    export_long(work, m.CleanSpeech(net.cleaner), f"{folder}/CleanSpeech.onnx", "cepstra")
    export_long(work, m.NoiseReduction(m.load_cleaner(f"{work}/cleaner.pt")), f"{folder}/NoiseReduction.onnx", "factors")
    torch.onnx.export(net, torch.zeros(1, m.WINDOW), out, input_names=["audio"], output_names=["probabilities"],
                      opset_version=11, do_constant_folding=True)
    cvnet = cv2.dnn.readNetFromONNX(out)

    def by_opencv(x):
        cvnet.setInput(x.reshape(1, -1).astype(np.float32), "audio")
        return cvnet.forward().copy()

    mixer = Mixer(work, "dev", 5)
    windows = [mixer.window(kind) for kind in ("phrase", "partial", "speech", "noise") for _ in range(200)]
    worst = 0.0
    for x in windows:
        with torch.no_grad():
            expect = net(torch.from_numpy(x)[None]).numpy()
            quick = net.fast(torch.from_numpy(x)[None]).numpy()
        assert np.abs(quick - expect).max() < TORCH_TOLERANCE, np.abs(quick - expect).max()  # training saw what is exported
        got = by_opencv(x)
        assert got.shape == (1, 2), got.shape
        worst = max(worst, float(np.abs(got - expect).max()))
    assert worst < TORCH_TOLERANCE, worst
    for name, x in odd_windows().items():
        p = float(by_opencv(x)[0, 1])
        assert np.isfinite(p) and p < 0.3, (name, p)
        print(f"  {name}: {p:.5f}")
    times = []
    for x in windows[:100]:
        began = time.perf_counter()
        by_opencv(x)
        times.append(time.perf_counter() - began)
    trained = sum(p.numel() for part in (net.cleaner, net.head) for p in part.parameters())
    print(f"OpenCV {cv2.__version__} and torch differ by at most {worst:.2g} over {len(windows)} windows; "
          f"{1000 * np.median(times):.2f} ms a prediction on one thread (median; least {1000 * min(times):.2f} ms), "
          f"{os.path.getsize(out)} bytes, {trained} trained parameters")


if __name__ == "__main__":
    main()
