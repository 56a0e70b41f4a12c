"""Speak all clips: synthesise.py WORK_DIR [SPLIT ...].  Writes {train,dev,test}_{phrase,speech}.npz (16 kHz int16, with times).

Whole voices are kept apart: "train" makes the weights, "dev" every decision, "test" only the last table.
"""
import os
import random
import sys
import time

import numpy as np

import speech_sounds
import texts
import voices

SEED = 20240611
ACCENTS = ["en-us", "en-us", "en-us", "en", "en", "en-gb-x-rp", "en-gb-x-gbclan", "en-us-nyc"]  # "en" is British; the
                                                                        # West Midlands voice drops its h
HELD_ACCENTS = {"dev": ["en-gb-scotland"], "test": ["en-029"]}
VARIANTS = ["", "", "", "f1", "f3", "f3", "f5", "m1", "m2", "m3", "m5", "m6", "m8", "adam", "Alex", "Andy", "Annie", "antonio",
            "aunty", "belinda", "benjamin", "boris", "caleb", "david", "Denis", "Diogo", "ed", "edward", "edward2",
            "Gene", "Gene2", "Henrique", "Hugo", "iven", "iven2", "Jacky", "Lee", "marcelo", "Marco",
            "max", "michel", "miguel", "mike", "Nguyen", "pablo", "paul", "pedro", "quincy", "rob", "robert",
            "steph", "steph2", "steph3", "Storm", "travis", "zac", "anika", "norbert", "sandro", "shelby", "klatt",
            "klatt2", "klatt4", "grandma", "grandpa", "whisper", "croak", "AnxiousAndy"]
HELD_VARIANTS = {"dev": ["f2", "m4", "Andrea", "victor", "John", "klatt3"],
                 "test": ["f4", "m7", "linda", "Alicia", "Michael", "Mario"]}
FOREIGN = ["de", "fr", "it", "es", "nl", "pl", "sv", "da", "nb", "fi", "pt", "pt-br", "cs", "hu", "el", "ro", "tr", "hi"]
HELD_FOREIGN = {"dev": ["sk"], "test": ["es-419", "et"]}
FOREIGN_PHRASES = ["[[h'eI v'Es@]]", "[[h'eI v'Esa]]", "[[heI v'Es@]]", "[[h'eI_:v'Es@]]", "[[h'e v'Es@]]",
                   "[[h'ei v'esa]]", "[[hei v'esa]]", "[[h'ei_: v'esa]]"]
ENGLISH_PHONES = ["[[h'eI v'EsV]]", "[[heI v'Es@]]", "[[h'eI_: v'Es@]]", "[[h'eI v'Esa#]]"]
FLITE = {"train": ["slt", "rms", "awb"], "dev": [], "test": []}
FESTIVAL = {"train": ["cmu_us_slt_arctic_hts"], "dev": ["kal_diphone"], "test": ["ked_diphone"]}
# Recorded people whose languages spell the phrase with nearly the same sounds.
ABROAD = {"train": ["czech_dita", "czech_krb", "czech_ph", "hy_fi_mv_diphone"], "dev": ["suo_fi_lj_diphone"],
          "test": ["czech_machac"]}
# Recorded people whose languages lack a sound of the phrase: they say other things only.
OTHERS = {"train": ["lp_diphone", "upc_ca_ona_hts"], "dev": [], "test": ["pc_diphone", "msu_ru_nsh_clunits"]}
# Clips: phrases by espeak-ng (others in proportion), ordinary and nearly right speech.
AMOUNTS = {"dev": (400, 1500, 900), "test": (500, 6600, 1500), "train": (3000, 5500, 5500)}
# Shares of ordinary speech by espeak-ng and flite (slow); Festival speaks the rest.
SHARES = {"dev": (0.6, 0.0), "test": (0.6, 0.0), "train": (0.8, 0.1)}


def phrase_times(phones):
    """Begin of "Hey", begin of the s and end of "Vessa" in seconds, or None where the phones do not say so."""
    names = [p for p, _ in phones]
    for k in range(3, len(names) - 1):
        if names[k][0] != "s" or names[k - 2] != "v":
            continue
        for h in range(k - 3, max(-1, k - 8), -1):
            if names[h] in ("h", "hh"):
                end = phones[k + 2][1] if k + 2 < len(phones) else phones[k + 1][1] + 0.1
                return phones[h][1], phones[k][1], end
    return None


class Clips:
    def __init__(self):
        self.audio, self.rows, self.phones = [], [], []

    def add(self, spoken, voice, family, text, phrase):
        if spoken is None or len(spoken[0]) < 1600:
            return
        x, sounds = spoken
        times = (-1.0, -1.0, -1.0)
        if phrase:
            times = phrase_times(sounds)
            if times is None or times[2] - times[0] > 1.3:
                return
        peak = float(np.max(np.abs(x)))
        if peak < 0.01:
            return
        self.audio.append((x * (0.7 / peak) * 32767).astype(np.int16))
        self.rows.append((voice, family, text, *[int(t * voices.RATE) for t in times]))
        self.phones.append(self.phone_at_each_step(sounds, voice, len(x)))

    @staticmethod
    def phone_at_each_step(sounds, voice, samples):
        spoken = speech_sounds.as_phones(sounds, voice, samples / voices.RATE)
        out = np.full(-(-samples // speech_sounds.STEP), speech_sounds.UNKNOWN, np.uint8)
        for phone, begin in spoken:
            out[int(begin * voices.RATE) // speech_sounds.STEP:] = phone
        return out

    def save(self, path):
        lengths = np.array([len(a) for a in self.audio])
        np.savez(path, audio=np.concatenate(self.audio), begin=np.concatenate([[0], np.cumsum(lengths)]),
                 voice=np.array([r[0] for r in self.rows]), family=np.array([r[1] for r in self.rows]),
                 phones=np.concatenate(self.phones), phones_begin=np.cumsum([0] + [len(p) for p in self.phones]),
                 text=np.array([r[2] for r in self.rows]), times=np.array([r[3:] for r in self.rows]))
        per = {f: sum(r[1] == f for r in self.rows) for f in sorted({r[1] for r in self.rows})}
        print(f"{path}: {len(self.rows)} clips, {lengths.sum() / voices.RATE / 60:.0f} min, {per}", flush=True)


def phrase_text(rng):
    text = rng.choice(texts.PHRASE_FORMS)
    if rng.random() < 0.5:
        text = text.rstrip("!?.") + rng.choice([", ", " ", " ", "! ", ". "]) + rng.choice(texts.FOLLOW_ONS)
    if rng.random() < 0.2:
        text = rng.choice(texts.LEAD_INS) + " " + text
    return text


def espeak_voice(rng, split):
    if split == "train":
        accent, variant = rng.choice(ACCENTS), rng.choice(VARIANTS)
    elif rng.random() < 0.75:
        accent, variant = rng.choice(ACCENTS + HELD_ACCENTS[split]), rng.choice(HELD_VARIANTS[split])
    else:
        accent, variant = rng.choice(HELD_ACCENTS[split]), ""
    return accent + ("+" + variant if variant else "")


def manner(rng):
    return dict(speed=int(rng.triangular(110, 240, 165)), pitch=int(rng.triangular(10, 95, 50)),
                spread=rng.choice([20, 40, 50, 50, 70, 90]), gap=rng.choice([0, 0, 0, 2, 5, 10]))


def foreign_phrase(espeak, rng, voice):
    """A form of the phrase, and how it is spoken: a language stops at the first phone that it has not got."""
    for text in rng.sample(FOREIGN_PHRASES, len(FOREIGN_PHRASES)):
        spoken = espeak.speak(text, voice, **manner(rng))
        if spoken and phrase_times(spoken[1]):
            return text, spoken
    sys.exit(f"{voice} can say the phrase in none of its forms")


def phrases(espeak, split, rng, n):
    clips = Clips()
    for _ in range(n):
        voice = espeak_voice(rng, split)
        text = rng.choice(ENGLISH_PHONES) if rng.random() < 0.12 else phrase_text(rng)
        clips.add(espeak.speak(text, voice, **manner(rng)), voice, "espeak", text, True)
    for _ in range(n // 4):
        base = rng.choice(FOREIGN if split == "train" else HELD_FOREIGN[split])
        variant = rng.choice([v for v in VARIANTS if v] if split == "train" else HELD_VARIANTS[split])
        text, spoken = foreign_phrase(espeak, rng, f"{base}+{variant}")
        clips.add(spoken, f"{base}+{variant}", "espeak-foreign", text, True)
    for voice in FLITE[split]:
        for _ in range(n // 8):
            text = phrase_text(rng)
            clips.add(voices.flite(text, voice, round(rng.uniform(0.75, 1.35), 2)), "flite-" + voice, "flite-" + voice, text, True)
    for voice in FESTIVAL[split]:
        jobs = [(phrase_text(rng), rng.uniform(0.8, 1.3)) for _ in range(n // 8)]
        for job, spoken in zip(jobs, voices.festival(jobs, voice)):
            clips.add(spoken, "festival-" + voice, "festival-" + voice, job[0], True)
    for voice in ABROAD[split]:
        hey = "hei" if "_fi_" in voice else "hej"
        jobs = [(hey + rng.choice([" vesa", " vesa", ", vesa"]) + rng.choice(["", ".", ". "  + texts.abroad(rng, hey), " " + texts.abroad(rng, hey)]),
                 rng.uniform(0.8, 1.4)) for _ in range(n // 10)]
        for job, spoken in zip(jobs, voices.festival(jobs, voice)):
            clips.add(spoken, voice, voice, job[0], True)
    return clips


def speech(espeak, split, rng, n_generic, n_near):
    clips, prose, lexicon = Clips(), texts.licence_sentences(split), texts.Lexicon(split)
    for count, source, tag in ((n_generic, lambda: texts.generic(rng, prose, lexicon), "generic"),
                               (n_near, lambda: texts.near_miss(rng, lexicon), "near")):
        festival_jobs = {v: [] for v in FESTIVAL[split]}
        for i in range(count):
            text, k = source(), rng.random()
            if k < SHARES[split][0]:
                voice = espeak_voice(rng, split)
                clips.add(espeak.speak(text, voice, **manner(rng)), voice, tag, text, False)
            elif k < sum(SHARES[split]):
                voice = rng.choice(FLITE[split])
                clips.add(voices.flite(text, voice, round(rng.uniform(0.75, 1.3), 2)), "flite-" + voice, tag, text, False)
            else:
                festival_jobs[rng.choice(FESTIVAL[split])].append((text, rng.uniform(0.8, 1.3)))
        speak_all(clips, festival_jobs, tag, "festival-")
    for tag, share in (("generic", 20), ("near", 15)):
        jobs = {}
        for voice in ABROAD[split] + OTHERS[split]:
            hey = "hei" if "_fi_" in voice else "hej"
            source = texts.abroad if tag == "generic" else texts.abroad_near
            jobs[voice] = [(texts.in_script(source(rng, hey), voice), rng.uniform(0.7, 1.3)) for _ in range(n_generic // share)]
        speak_all(clips, jobs, tag, "")
    return clips


def speak_all(clips, jobs, tag, prefix):
    for voice, todo in jobs.items():
        for job, spoken in zip(todo, voices.festival(todo, voice)):
            clips.add(spoken, prefix + voice, tag, job[0], False)


def main():
    work = sys.argv[1]
    os.makedirs(work, exist_ok=True)
    espeak = voices.Espeak()
    began = time.time()
    for i, (split, (n_phrases, n_generic, n_near)) in enumerate(AMOUNTS.items()):
        if split not in (sys.argv[2:] or AMOUNTS):
            continue
        rng = random.Random(SEED + i)
        phrases(espeak, split, rng, n_phrases).save(f"{work}/{split}_phrase.npz")
        speech(espeak, split, rng, n_generic, n_near).save(f"{work}/{split}_speech.npz")
        print(f"{split}: {time.time() - began:.0f} s", flush=True)


if __name__ == "__main__":
    main()
