"""Hear real people who say other things: people.py WORK_DIR MODEL.onnx HEARING

They speak in packages of the distribution: announcements of telephone systems in five languages, words read for children
in some twenty, and an adventure with actors, where many a line begins with "Hey".  The packages are fetched into
WORK_DIR/people and unpacked, not installed.  Nothing is trained or decided on them.  Each recording is heard clean and in
one of the other conditions; the noise comes from WORK_DIR's test voices.  Writes WORK_DIR/people.md.
"""
import io
import itertools
import pathlib
import struct
import subprocess
import sys

import numpy as np
import soundfile

import augment
import conditions
import evaluate
import voices
from conditions import RATE
from train import POLL, say

PACKAGES = [*(f"asterisk-core-sounds-{language}-g722" for language in ("en", "es", "fr", "it", "ru")),
            "asterisk-prompt-es-co", "asterisk-prompt-fr-armelle", "asterisk-prompt-it-menardi-wav",
            "ktuberling-data", "flight-of-the-amazon-queen"]
SHORTEST = 0.1          # seconds; what is shorter is empty or holds no word
ANNOUNCEMENTS, WORDS, ACTORS = "announcements", "words for children", "actors"
OTHERS = [condition for condition in conditions.CONDITIONS if condition != "clean"]
KINDS = (ANNOUNCEMENTS, WORDS, ACTORS)


def unpacked(folder):
    folder.mkdir(exist_ok=True)
    missing = [name for name in PACKAGES if not (folder / name).is_dir()]
    if missing:
        subprocess.run(["apt-get", "download", *missing], cwd=folder, check=True)
    for name in missing:
        package, = folder.glob(f"{name}_*.deb")
        subprocess.run(["dpkg-deb", "-x", package, folder / f"{name}.part"], check=True)
        (folder / f"{name}.part").rename(folder / name)


def files_in(folder, *suffixes):
    return sorted(path for path in folder.rglob("*") if path.suffix in suffixes and "silence" not in str(path))


def read(source, **form):
    x, rate = soundfile.read(source, dtype="float32", always_2d=True, **form)
    return voices.to_rate(x.mean(axis=1), rate)


def read_g722(paths):
    """Files of two samples a byte, decoded as one."""
    sizes = [path.stat().st_size for path in paths]
    out = subprocess.run(["ffmpeg", "-v", "error", "-f", "g722", "-i", "-", "-f", "s16le", "-"], check=True,
                         input=b"".join(path.read_bytes() for path in paths), stdout=subprocess.PIPE).stdout
    return np.split(np.frombuffer(out, "<i2").astype(np.float32) / 32768, 2 * np.cumsum(sizes)[:-1])


def lines_of_actors(path):
    """The MP3 files inside an archive: a big-endian table of name (12), a byte, offset (4) and length (4) after 15 bytes."""
    data = path.read_bytes()
    count, = struct.unpack_from(">H", data, 13)
    for name, _, begin, length in struct.iter_unpack(">12sBII", data[15:15 + 21 * count]):
        if name.rstrip(b"\0").endswith(b".SB"):
            yield read(io.BytesIO(data[begin:begin + length]))


def clips_of(folder, package):
    if package.endswith("g722"):
        return ANNOUNCEMENTS, read_g722(files_in(folder, ".g722"))
    if package.startswith("asterisk"):
        gsm = {"format": "RAW", "subtype": "GSM610", "channels": 1, "samplerate": 8000}
        return ANNOUNCEMENTS, [read(path, **(gsm if path.suffix == ".gsm" else {})) for path in files_in(folder, ".gsm", ".wav")]
    if package.startswith("ktuberling"):
        return WORDS, [read(path) for path in files_in(folder, ".ogg", ".opus", ".wav")]
    archive, = files_in(folder, ".1c")
    return ACTORS, list(lines_of_actors(archive))


def recordings(folder, rng):
    for package in PACKAGES:
        kind, clips = clips_of(folder / package, package)
        for sound in conditions.in_recordings(rng, (clip for clip in clips if len(clip) >= SHORTEST * RATE)):
            yield kind, sound


def heard_in(mixer, batch, program, model):
    """[(kind, condition, seconds, lines of HEARING)], each recording clean and in the next other condition."""
    jobs, meaning = [], []
    for number, (kind, sound) in enumerate(batch):
        for condition in ("clean", OTHERS[number % len(OTHERS)]):
            jobs.append((conditions.disturbed(mixer, sound, condition), int(mixer.rng.integers(0, POLL))))
            meaning.append((kind, condition, len(sound) / RATE))
    return [(*means, lines) for means, lines in zip(meaning, evaluate.hear(program, model, jobs))]


def main():
    work, model, program = sys.argv[1:4]
    folder = pathlib.Path(work) / "people"
    unpacked(folder)
    mixer = augment.Mixer(work, "test", 12)
    rows, sounds = [], recordings(folder, mixer.rng)
    while batch := list(itertools.islice(sounds, 100)):
        rows += heard_in(mixer, batch, program, model)
        say(f"{sum(r[2] for r in rows) / 3600:.1f} h heard")
    shown = {f"{kind}, {label}": (lambda r, k=kind, clean=clean: r[0] == k and (r[1] == "clean") == clean)
             for clean, label in ((True, "clean"), (False, "disturbed")) for kind in KINDS}
    shown.update({"**clean**": lambda r: r[1] == "clean", "**disturbed**": lambda r: r[1] != "clean"})
    shown.update({condition: (lambda r, c=condition: r[1] == c) for condition in OTHERS})
    lines = []
    evaluate.print_false(lines.append, rows, shown)
    print("\n".join(lines))
    (pathlib.Path(work) / "people.md").write_text("\n".join(lines) + "\n")


if __name__ == "__main__":
    main()
