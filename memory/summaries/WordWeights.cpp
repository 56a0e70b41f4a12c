#include "memory/summaries/WordWeights.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <set>

namespace tavik {

namespace {

constexpr double charactersOfOneWord = 4;
// More words than this tell of a talkative person.
constexpr double most = 20;

std::set<std::string> tellingWords(std::string_view text) {
    static const std::set<std::string, std::less<>> small = {
        "a",     "about", "all",   "an",    "and",       "any",        "are",    "as",
        "at",    "be",    "but",   "by",    "can",       "could",      "did",    "do",
        "does",  "for",   "from",  "good",  "great",     "has",        "have",   "her",
        "here",  "his",   "how",   "i",     "if",        "in",         "is",     "it",
        "its",   "just",  "ll",    "me",    "my",        "no",         "not",    "of",
        "ok",    "okay",  "on",    "one",   "or",        "our",        "please", "question",
        "re",    "s",     "so",    "some",  "sure",      "t",          "thank",  "thanks",
        "that",  "the",   "their", "them",  "then",      "there",      "they",   "thing",
        "this",  "to",    "um",    "uh",    "up",        "ve",         "was",    "we",
        "what",  "when",  "where", "which", "who",       "why",        "will",   "with",
        "would", "yes",   "you",   "your",  "certainly", "absolutely", "course", "done"};
    std::set<std::string> telling;
    for (std::string& word : words(lowercased(text)))
        if (!small.contains(word))
            telling.insert(std::move(word));
    return telling;
}

} // namespace

WordWeights::WordWeights(const std::vector<Exchange>& conversation) {
    for (const Exchange& exchange : conversation)
        for (const std::string& word : tellingWords(exchange.request + " " + exchange.answer))
            ++exchangesWith[word];
}

double WordWeights::of(std::string_view text) const {
    double sum = 0;
    for (const std::string& word : tellingWords(text)) {
        const auto known = exchangesWith.find(word);
        const int count = known == exchangesWith.end() ? 1 : known->second;
        // Languages without gaps have long words.
        const double length = static_cast<double>(characterCount(word)) / charactersOfOneWord;
        sum += std::clamp(length, 0.5, 5.0) / count;
    }
    return std::min(sum, most);
}

} // namespace tavik
