#!/usr/bin/env python3
"""Writes the dictionary and the language model with which the wake phrase is verified.

Both are small: the most frequent words of PocketSphinx's US English model, the words that sound like the
wake word, and the wake word itself in the spellings that count. The probabilities of the ordinary words
come from the general model; the wake phrase gets a share of its own, since a window is only looked at
when a detector believes to have heard it.
"""

import argparse
import collections
import ctypes
import math
import pathlib

MODELS = pathlib.Path("/usr/share/pocketsphinx/model/en-us")
START, END = "<s>", "</s>"
# After the vowel of "hey" the recogniser often hears the V as an M or an L, most of all from a
# synthetic voice.
WAKE_WORDS = {"vessa": ["V EH S AH", "M EH S AH", "L EH S AH", "M AE S AH"],
              "vessas": ["V EH S AH Z"], "vesa": ["V EY S AH"], "wessa": ["W EH S AH"]}
# How the phrase may begin, with the chance of each.
OPENINGS = {"hey": 0.92, "hi": 0.02, "hello": 0.02, "okay": 0.02, "a": 0.02}
WAKE_SHARES = {"vessa": 0.88, "vesa": 0.05, "wessa": 0.05, "vessas": 0.02}

# How much less likely the phrase is after the end of other talk than at the start of the window.
AFTER_OTHER_WORDS = 0.2
# Who else is called by a "hey", and how large a part of such calls is theirs.
NAMES = """alex alexa amanda amy andrew anna anthony barbara ben betty bob brian charles chris daniel
    dave david debbie eddie emily emma eric frank george grace harry helen jack james jane jason jeff
    jennifer jessica jim joe john julia kate kelly kevin larry laura linda lisa lucy maria mark martha
    mary matt melissa michael mike molly nancy nick nina oliver pamela patrick paul peter rachel
    rebecca richard robert rose ryan sam sandra sara sarah scott sharon siri sophia stephen steve
    susan teresa thomas tim tom tony vanessa veronica victor victoria virginia william""".split()
CALLS_BY_NAME = 0.1


class GeneralModel:
    """PocketSphinx's binary n-gram model, read through its own library."""

    def __init__(self, path):
        self.lib = ctypes.CDLL("libsphinxbase.so.3")
        for function in ("logmath_init", "ngram_model_read"):
            getattr(self.lib, function).restype = ctypes.c_void_p
        self.lib.err_set_logfp(None)
        self.lib.logmath_log_to_log10.restype = ctypes.c_double
        self.lib.logmath_init.argtypes = [ctypes.c_double, ctypes.c_int, ctypes.c_int]
        self.logs = ctypes.c_void_p(self.lib.logmath_init(1.0001, 0, 0))
        self.model = ctypes.c_void_p(
            self.lib.ngram_model_read(None, str(path).encode(), 0, self.logs))
        if not self.model:
            raise SystemExit(f"{path} cannot be read.")
        self.used = ctypes.c_int()
        self.nepers = math.log(1.0001)

    def identifier(self, word):
        found = self.lib.ngram_wid(self.model, word.encode())
        return None if found == self.lib.ngram_unknown_wid(self.model) else found

    def unigram(self, word):
        score = self.lib.ngram_ng_prob(self.model, word, None, 0, ctypes.byref(self.used))
        return math.exp(score * self.nepers)

    def bigram(self, word, before):
        """p(word | before), or None when the model does not hold the pair."""
        score = self.lib.ngram_bg_score(self.model, word, before, ctypes.byref(self.used))
        return math.exp(score * self.nepers) if self.used.value == 2 else None


def read_dictionary(path):
    entries = collections.defaultdict(list)
    for line in path.read_text().splitlines():
        spelling, _, phones = line.partition(" ")
        entries[spelling.partition("(")[0]].append((spelling, phones))
    return entries


def distance(one, other):
    row = list(range(len(other) + 1))
    for index, phone in enumerate(one, 1):
        previous, row[0] = row[0], index
        for at, against in enumerate(other, 1):
            previous, row[at] = row[at], min(row[at] + 1, row[at - 1] + 1,
                                             previous + (phone != against))
    return row[-1]


def sounds_alike(phones):
    return len(phones.split()) >= 3 and any(
        distance(phones.split(), wake.split()) <= 1 for wake in WAKE_WORDS["vessa"])


def choose_words(general, dictionary, count, alike_count):
    """Word to identifier in the general model: the most frequent words, and those that could be
    mistaken for the wake word."""
    known = {}
    for word in dictionary:
        if (found := general.identifier(word)) is not None and word not in WAKE_WORDS:
            known[word] = found
    chances = {word: general.unigram(found) for word, found in known.items()}
    ranked = sorted(known, key=lambda word: (-chances[word], word))
    alike = [word for word in ranked if any(sounds_alike(p) for _, p in dictionary[word])]
    rivals = alike[:alike_count] + [name for name in NAMES if name in known]
    return {word: known[word] for word in ranked[:count] + rivals}, sorted(set(rivals))


def general_bigrams(general, words, unigrams, count):
    """The pairs that change the model most when they are left out."""
    scored = []
    start, end = general.identifier(START), general.identifier(END)
    for before, before_id in [(START, start), *words.items()]:
        weight = unigrams.get(before, 0.05)
        for word, word_id in [*words.items(), (END, end)]:
            chance = general.bigram(word_id, before_id)
            if chance and chance > unigrams[word]:
                gain = weight * chance * math.log(chance / unigrams[word])
                scored.append((gain, before, word, chance))
    scored.sort(reverse=True)
    pairs = collections.defaultdict(dict)
    for _, before, word, chance in scored[:count]:
        pairs[before][word] = min(chance, 0.9)
    return pairs


def add_rivals(unigrams, pairs, rivals):
    """Lets "hey" be followed by somebody else's name."""
    followers = {word: chance * (1 - CALLS_BY_NAME) for word, chance in pairs["hey"].items()}
    for rival in rivals:
        unigrams[rival] = max(unigrams[rival], 1e-5)
        followers[rival] = max(followers.get(rival, 0), CALLS_BY_NAME / len(rivals))
    pairs["hey"] = followers


def add_wake_phrase(unigrams, pairs, share):
    """Gives the phrase `share` of what an utterance may begin with."""
    for word, part in WAKE_SHARES.items():
        unigrams[word] = share * 1e-2 * part
        pairs[word] = {END: 0.7}
    for opening, part in OPENINGS.items():
        started = pairs[START].get(opening, unigrams[opening])
        unigrams[opening] += share * part * AFTER_OTHER_WORDS
        pairs[START][opening] = share * part + (1 - share) * started
        # What follows the opening is the wake word as often as the phrase is what began with it.
        wake = share * part / (share * part + (1 - share) * max(started, 1e-3))
        pairs[opening] = {word: chance * (1 - wake) for word, chance in pairs[opening].items()}
        for word, portion in WAKE_SHARES.items():
            pairs[opening][word] = wake * portion


def scaled_below_one(followers):
    total = sum(followers.values())
    return followers if total < 0.98 else {w: c * 0.98 / total for w, c in followers.items()}


def write_arpa(unigrams, pairs, path):
    total = sum(unigrams.values())
    unigrams = {word: chance / total for word, chance in unigrams.items()}
    pairs = {before: scaled_below_one(followers) for before, followers in pairs.items()}
    with path.open("w") as out:
        out.write(f"\\data\\\nngram 1={len(unigrams) + 1}\n")
        out.write(f"ngram 2={sum(map(len, pairs.values()))}\n\n\\1-grams:\n")
        for word in sorted([*unigrams, START]):
            followers = pairs.get(word, {})
            left = 1 - sum(followers.values())
            backoff = left / max(1e-4, 1 - sum(unigrams[each] for each in followers))
            chance = math.log10(unigrams[word]) if word in unigrams else -99
            out.write(f"{chance:.3f} {word} {math.log10(backoff):.3f}\n")
        out.write("\n\\2-grams:\n")
        for before in sorted(pairs):
            for word, chance in sorted(pairs[before].items()):
                out.write(f"{math.log10(chance):.3f} {before} {word}\n")
        out.write("\n\\end\\\n")


def write_dictionary(words, dictionary, path):
    with path.open("w") as out:
        for word in sorted(words):
            for spelling, phones in dictionary[word]:
                out.write(f"{spelling} {phones}\n")
        for word, variants in WAKE_WORDS.items():
            for number, phones in enumerate(variants, 1):
                out.write(f"{word if number == 1 else f'{word}({number})'} {phones}\n")


def main():
    folder = pathlib.Path(__file__).parent.parent.parent / "resources/language"
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--out", type=pathlib.Path, default=folder)
    parser.add_argument("--words", type=int, default=2000)
    parser.add_argument("--alike", type=int, default=60)
    parser.add_argument("--pairs", type=int, default=20000)
    parser.add_argument("--share", type=float, default=0.05)
    options = parser.parse_args()
    general = GeneralModel(MODELS / "en-us.lm.bin")
    dictionary = read_dictionary(MODELS / "cmudict-en-us.dict")
    words, rivals = choose_words(general, dictionary, options.words, options.alike)
    unigrams = {word: max(general.unigram(found), 1e-6) for word, found in words.items()}
    unigrams[END] = 0.05
    pairs = general_bigrams(general, words, unigrams, options.pairs)
    add_rivals(unigrams, pairs, rivals)
    add_wake_phrase(unigrams, pairs, options.share)
    write_arpa(unigrams, pairs, options.out / "wake.arpa")
    write_dictionary(words, dictionary, options.out / "wake.dict")


if __name__ == "__main__":
    main()
