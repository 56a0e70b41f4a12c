#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace tavik {

// A piece of the conversation with the words of ours around it.
struct SummaryPart {
    std::string before;
    std::string text;
    std::string after;
};

// The parts as one sentence of at most `limit` characters. Where that is too short for all of
// them the longest ones are shortened.
std::string sentenceOf(const std::vector<SummaryPart>& parts, std::size_t limit);

} // namespace tavik
