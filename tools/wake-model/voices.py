"""Speech synthesisers of Debian behind one call: speak(text) -> (16 kHz float samples, [(phone, start_s), ...])."""
import ctypes
import os
import re
import subprocess
import tempfile
from fractions import Fraction

import numpy as np
from scipy.io import wavfile
from scipy.signal import resample_poly

RATE = 16000


def to_rate(x, rate):
    if rate == RATE:
        return x.astype(np.float32)
    f = Fraction(RATE, rate)
    return resample_poly(x, f.numerator, f.denominator).astype(np.float32)


class _EventId(ctypes.Union):
    _fields_ = [("number", ctypes.c_int), ("name", ctypes.c_char_p), ("string", ctypes.c_char * 8)]


class _Event(ctypes.Structure):
    _fields_ = [("type", ctypes.c_int), ("unique_identifier", ctypes.c_uint), ("text_position", ctypes.c_int),
                ("length", ctypes.c_int), ("audio_position", ctypes.c_int), ("sample", ctypes.c_int),
                ("user_data", ctypes.c_void_p), ("id", _EventId)]


_CALLBACK = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(ctypes.c_short), ctypes.c_int, ctypes.POINTER(_Event))


class Espeak:
    """espeak-ng through its library, because the library reports when each phoneme begins."""
    RATE_, PITCH, RANGE, WORDGAP = 1, 3, 4, 7

    def __init__(self):
        self.lib = ctypes.CDLL("libespeak-ng.so.1")
        self.rate = self.lib.espeak_Initialize(2, 0, None, 1)  # synchronous, with phoneme events
        self.pcm, self.events = [], []

        def collect(wav, n, events):
            if wav and n > 0:
                self.pcm.append(np.ctypeslib.as_array(wav, (n,)).copy())
            i = 0
            while events[i].type != 0:
                if events[i].type == 7:
                    self.events.append((events[i].id.string.decode("utf-8", "ignore"), events[i].audio_position / 1000.0))
                i += 1
            return 0
        self._keep = _CALLBACK(collect)
        self.lib.espeak_SetSynthCallback(self._keep)

    def speak(self, text, voice, speed=165, pitch=50, spread=50, gap=0):
        if self.lib.espeak_SetVoiceByName(voice.encode()) != 0:
            return None
        for key, value in ((self.RATE_, speed), (self.PITCH, pitch), (self.RANGE, spread), (self.WORDGAP, gap)):
            self.lib.espeak_SetParameter(key, value, 0)
        self.pcm, self.events = [], []
        data = text.encode() + b"\0"
        self.lib.espeak_Synth(data, len(data), 0, 1, 0, 1 | 0x100, None, None)  # UTF-8, [[phonemes]] allowed
        if not self.pcm:
            return None
        x = np.concatenate(self.pcm).astype(np.float32) / 32768
        return to_rate(x, self.rate), self.events


def flite(text, voice, stretch=1.0):
    with tempfile.TemporaryDirectory() as d:
        path = os.path.join(d, "a.wav")
        out = subprocess.run(["flite", "-voice", voice, "--setf", f"duration_stretch={stretch}", "-psdur",
                              "-t", text, "-o", path], capture_output=True, text=True).stdout
        rate, x = wavfile.read(path)
    phones, begin = [], 0.0
    for name, end in re.findall(r"([a-z@]+):([0-9.]+)", out):
        phones.append((name, begin))
        begin = float(end)
    return to_rate(x.astype(np.float32) / 32768, rate), phones


def festival(jobs, voice):
    """Speak a whole list [(text, stretch)] in one process; it is slow to start."""
    with tempfile.TemporaryDirectory() as d:
        script = [f"(voice_{voice})"]
        for i, (text, stretch) in enumerate(jobs):
            text = text.replace('"', "").replace("\\", "")
            script.append(f"(Parameter.set 'Duration_Stretch {stretch:.2f})")
            script.append(f'(set! u (SynthText0 "{text}"))')
            script.append(f'(utt.save.wave u "{d}/{i}.wav" \'riff)')
            script.append(f'(utt.save.segs u "{d}/{i}.lab")')
        script.insert(0, "(define (SynthText0 s) (utt.synth (eval (list 'Utterance 'Text s))))")
        path = os.path.join(d, "all.scm")
        open(path, "w").write("\n".join(script))
        subprocess.run(["festival", "-b", path], capture_output=True)
        out = []
        for i in range(len(jobs)):
            if not os.path.exists(f"{d}/{i}.lab"):
                out.append(None)
                continue
            rate, x = wavfile.read(f"{d}/{i}.wav")
            phones, begin = [], 0.0
            for line in open(f"{d}/{i}.lab"):
                part = line.split()
                if len(part) == 3:
                    phones.append((part[2], begin))
                    begin = float(part[0])
            out.append((to_rate(x.astype(np.float32) / 32768, rate), phones))
        return out
