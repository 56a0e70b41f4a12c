#pragma once

#include "memory/Records.h"

#include <string>
#include <vector>

namespace tavik {

// One sentence of at most 200 characters about a conversation, made of its own words: what was
// asked first, what was asked that tells most, and the answer to that. Invents nothing, needs no
// model, and says the same of the same conversation every time. Throws SummaryError when nothing
// was said.
std::string extractiveSummary(const std::vector<ConversationTurn>& turns);

} // namespace tavik
