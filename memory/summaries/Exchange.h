#pragma once

#include "memory/Records.h"

#include <string>
#include <vector>

namespace tavik {

// What the user asked for and what came of it, each on one line; one of them may be empty. A "yes"
// to a question of the assistant belongs to the request before it, and what followed is the answer.
struct Exchange {
    std::string request;
    std::string answer;
};

// The exchanges of a conversation in their order, without its courtesies unless there is nothing
// else. Of a very long conversation, the first and the last ones.
std::vector<Exchange> exchangesOf(const std::vector<ConversationTurn>& turns);

} // namespace tavik
