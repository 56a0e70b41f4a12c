#pragma once

#include <string>
#include <string_view>

namespace tavik::demo {

// The share, 0 to 1, of the words of `expected` that `heard` holds in the same order. Case,
// punctuation and the spelling of numbers do not count. 0 when nothing is expected.
double sharedWords(std::string_view expected, std::string_view heard);

// How alike the words heard aloud are to the answer that was to be spoken.
struct Verdict {
    static constexpr double threshold = 0.6;

    double share = 0;   // of the answer
    double control = 0; // of a sentence that has nothing to do with it

    // A control that passes as well would mean that the comparison tells nothing.
    bool isGood() const { return share >= threshold && control < threshold; }
};

Verdict compare(const std::string& answer, const std::string& heard);

} // namespace tavik::demo
