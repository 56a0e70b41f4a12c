#pragma once

#include "memory/summaries/Exchange.h"

#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

// How much words tell about a conversation: long ones more than short ones, those that come up
// everywhere less, and the small words of English nothing.
class WordWeights {
public:
    explicit WordWeights(const std::vector<Exchange>& conversation);

    // The sum over the different words of `text`.
    double of(std::string_view text) const;

private:
    std::map<std::string, int, std::less<>> exchangesWith; // how many have the word
};

} // namespace tavik
