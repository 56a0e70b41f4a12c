#include "tools/demo/Verdict.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <memory>
#include <unicode/rbnf.h>
#include <vector>

namespace tavik::demo {

namespace {

constexpr const char* unrelated =
    "Bring two umbrellas, because heavy rain will reach the harbour before midnight.";

// "21" becomes "twenty-one", as it is spoken.
std::string spelledOut(const std::string& word) {
    if (word.size() > 9 || !std::all_of(word.begin(), word.end(),
                                        [](char digit) { return digit >= '0' && digit <= '9'; }))
        return word;
    UErrorCode error = U_ZERO_ERROR;
    const icu::RuleBasedNumberFormat format(icu::URBNF_SPELLOUT, icu::Locale::getUS(), error);
    if (U_FAILURE(error))
        return word;
    icu::UnicodeString spelled;
    format.format(std::stoi(word), spelled);
    std::string result;
    return spelled.toUTF8String(result);
}

// "I'll" stays one word: "ill".
std::string withoutApostrophes(std::string text) {
    for (const std::string_view apostrophe : {"'", "’"})
        for (std::size_t found; (found = text.find(apostrophe)) != std::string::npos;)
            text.erase(found, apostrophe.size());
    return text;
}

std::vector<std::string> spokenWords(std::string_view text) {
    std::vector<std::string> result;
    for (const std::string& word : words(withoutApostrophes(lowercased(text))))
        for (std::string& spoken : words(spelledOut(word)))
            result.push_back(std::move(spoken));
    return result;
}

std::size_t longestCommonSubsequence(const std::vector<std::string>& first,
                                     const std::vector<std::string>& second) {
    std::vector<std::size_t> lengths(second.size() + 1); // for the words of `first` seen so far
    for (const std::string& word : first) {
        std::size_t diagonal = 0;
        for (std::size_t i = 0; i < second.size(); ++i) {
            const std::size_t above = lengths[i + 1];
            lengths[i + 1] = word == second[i] ? diagonal + 1 : std::max(above, lengths[i]);
            diagonal = above;
        }
    }
    return lengths.back();
}

} // namespace

double sharedWords(std::string_view expected, std::string_view heard) {
    const auto wanted = spokenWords(expected);
    if (wanted.empty())
        return 0;
    return static_cast<double>(longestCommonSubsequence(wanted, spokenWords(heard))) /
           static_cast<double>(wanted.size());
}

Verdict compare(const std::string& answer, const std::string& heard) {
    return {sharedWords(answer, heard), sharedWords(unrelated, heard)};
}

} // namespace tavik::demo
