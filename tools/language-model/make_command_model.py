#!/usr/bin/env python3
"""Writes the language model of spoken assistant commands, as an ARPA file.

Sentences are drawn from the patterns in commands.txt, and a trigram model with Witten-Bell smoothing is
estimated from them. The same patterns and seed give the same file.
"""

import argparse
import collections
import math
import pathlib
import random
import re

START, END = "<s>", "</s>"
CHOICE = re.compile(r"\[(\w+)\]|\(([^()\[\]]*(?:\[\w+\][^()\[\]]*)*)\)")


def read_patterns(path):
    lists, sentences = {}, []
    for line in path.read_text().splitlines():
        line = line.strip()
        if not line or line.startswith("#"):
            continue
        name, equals, fillings = line.partition(" = ")
        if equals:
            lists[name] = [filling.strip() for filling in fillings.split("|")]
        else:
            sentences.append(line)
    return lists, sentences


def fill(pattern, lists, rng):
    """The pattern with every choice made at random."""
    def choose(match):
        options = lists[match[1]] if match[1] else match[2].split("|")
        return rng.choice(options)
    while CHOICE.search(pattern):
        pattern = CHOICE.sub(choose, pattern, count=1)
    return pattern.split()


def choices(pattern, lists):
    """How many sentences a pattern stands for, roughly."""
    count = 1
    for match in CHOICE.finditer(pattern):
        count *= len(lists[match[1]]) if match[1] else match[2].count("|") + 1
    return count


def draw_sentences(lists, patterns, rng):
    """More of the patterns that stand for more, so that their fillings meet; no pattern too often."""
    for pattern in patterns:
        for _ in range(min(30 + choices(pattern, lists), 400)):
            words = fill(pattern, lists, rng)
            if rng.random() < 0.12:
                words = rng.choice(lists["polite"]).split() + words
            if rng.random() < 0.12:
                words = words + rng.choice(lists["thanks"]).split()
            yield words


def count_ngrams(sentences, order):
    counts = [collections.Counter() for _ in range(order)]
    for words in sentences:
        padded = [START] + words + [END]
        for size in range(1, order + 1):
            for end in range(size, len(padded) + 1):
                counts[size - 1][tuple(padded[end - size:end])] += 1
    del counts[0][(START,)]
    return counts


class WittenBell:
    """p(w|h) = (c(hw) + t(h) p(w|shorter h)) / (c(h) + t(h)), t(h) being the kinds of word after h."""

    def __init__(self, counts, rarest_trigram):
        counts[2] = {gram: n for gram, n in counts[2].items() if n >= rarest_trigram}
        self.counts = counts
        self.followers, self.total = collections.Counter(), collections.Counter()
        for level in counts:
            for gram, count in level.items():
                self.followers[gram[:-1]] += 1
                self.total[gram[:-1]] += count

    def probability(self, gram):
        if not gram:
            return 1 / len(self.counts[0])
        history = gram[:-1]
        lower = self.probability(gram[1:])
        total = self.total[history]
        if not total:
            return lower
        count = self.counts[len(gram) - 1].get(gram, 0)
        kinds = self.followers[history]
        return (count + kinds * lower) / (total + kinds)

    def backoff(self, history):
        """The share of the shorter history after `history`."""
        total, kinds = self.total[history], self.followers[history]
        return kinds / (total + kinds) if total else 1.0


def write_arpa(model, path):
    order = len(model.counts)
    with path.open("w") as out:
        out.write("\\data\\\n")
        levels = [sorted(level) for level in model.counts]
        levels[0] = sorted(levels[0] + [(START,)])
        for size, grams in enumerate(levels, 1):
            out.write(f"ngram {size}={len(grams)}\n")
        for size, grams in enumerate(levels, 1):
            out.write(f"\n\\{size}-grams:\n")
            for gram in grams:
                log = -99.0 if gram == (START,) else math.log10(model.probability(gram))
                backoff = "" if size == order else f" {math.log10(model.backoff(gram)):.3f}"
                out.write(f"{log:.3f} {' '.join(gram)}{backoff}\n")
        out.write("\n\\end\\\n")


def main():
    here = pathlib.Path(__file__).parent
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--patterns", type=pathlib.Path, default=here / "commands.txt")
    parser.add_argument("--out", type=pathlib.Path,
                        default=here.parent.parent / "resources/language/commands.arpa")
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--rarest-trigram", type=int, default=3)
    parser.add_argument("--sentences", type=pathlib.Path, help="also write the sentences here")
    options = parser.parse_args()
    lists, patterns = read_patterns(options.patterns)
    sentences = list(draw_sentences(lists, patterns, random.Random(options.seed)))
    if options.sentences:
        options.sentences.write_text("\n".join(map(" ".join, sentences)) + "\n")
    write_arpa(WittenBell(count_ngrams(sentences, 3), options.rarest_trigram), options.out)


if __name__ == "__main__":
    main()
