#include "voice/PhraseMatching.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

namespace tavik {

namespace {

using Words = std::vector<std::string>;
using Phrases = std::set<std::string, std::less<>>;

const Phrases& stopPhrases() {
    static const Phrases phrases = {
        "stop",
        "stop yourself",
        "stop it",
        "stop the convo",
        "stop the conversation",
        "cancel",
        "cancel that",
        "cancel the conversation",
        "never mind",
        "nevermind",
        "that's all",
        "that's it",
        "that's enough",
        "that will be all",
        "goodbye",
        "bye",
        "forget it",
        "nothing",
        "no thanks",
        "no thank you",
        "no more",
        "i'm done",
        "we're done",
        "i'm good",
        "we're good",
        "all good",
        "that's fine",
        "all done",
    };
    return phrases;
}

const Phrases& pausePhrases() {
    static const Phrases phrases = {
        "stop listening",           "stop listening completely",
        "stop listening entirely",  "pause listening",
        "quit listening",           "quit listening to me",
        "turn yourself off",        "turn off your microphone",
        "turn off your mic",        "shut yourself off",
        "shut off your microphone", "mute yourself",
        "mute your microphone",     "go to sleep",
    };
    return phrases;
}

const std::vector<Words>& leadingFillers() {
    static const std::vector<Words> fillers = {
        {"please"}, {"can", "you"}, {"could", "you"}, {"you", "can"}, {"just"},
        {"ok"},     {"okay"},       {"now"},          {"so"},         {"no"}};
    return fillers;
}

const std::vector<Words>& trailingFillers() {
    static const std::vector<Words> fillers = {{"please"}, {"now"}, {"thanks"}, {"thank", "you"}};
    return fillers;
}

std::string withoutMarks(const std::string& word) {
    constexpr std::string_view marks = ".!?,";
    const auto begin = word.find_first_not_of(marks);
    if (begin == std::string::npos)
        return "";
    return word.substr(begin, word.find_last_not_of(marks) - begin + 1);
}

Words spokenWords(std::string_view utterance) {
    Words spoken;
    for (const std::string& piece : splitDroppingEmpty(lowercased(utterance), ' '))
        if (std::string word = withoutMarks(piece); !word.empty())
            spoken.push_back(std::move(word));
    return spoken;
}

// One walk over the fillers at the front (or the end); true when anything was removed. Something
// always stays.
bool stripLeading(Words& spoken) {
    bool removed = false;
    for (const Words& filler : leadingFillers()) {
        if (spoken.size() <= filler.size() ||
            !std::equal(filler.begin(), filler.end(), spoken.begin()))
            continue;
        spoken.erase(spoken.begin(), spoken.begin() + static_cast<std::ptrdiff_t>(filler.size()));
        removed = true;
    }
    return removed;
}

bool stripTrailing(Words& spoken) {
    bool removed = false;
    for (const Words& filler : trailingFillers()) {
        if (spoken.size() <= filler.size() ||
            !std::equal(filler.rbegin(), filler.rend(), spoken.rbegin()))
            continue;
        spoken.erase(spoken.end() - static_cast<std::ptrdiff_t>(filler.size()), spoken.end());
        removed = true;
    }
    return removed;
}

bool matchesPhrase(std::string_view utterance, const Phrases& phrases) {
    Words spoken = spokenWords(utterance);
    if (phrases.contains(joined(spoken, " ")))
        return true;
    while (stripLeading(spoken)) {
    }
    while (stripTrailing(spoken)) {
    }
    return phrases.contains(joined(spoken, " "));
}

} // namespace

bool isStopPhrase(std::string_view utterance) {
    return matchesPhrase(utterance, stopPhrases());
}

bool isPausePhrase(std::string_view utterance) {
    return matchesPhrase(utterance, pausePhrases());
}

} // namespace tavik
