#pragma once

#include "memory/Records.h"

#include <string>
#include <vector>

namespace tavik {

// What a language model is told when it is to sum up a conversation.
extern const char* const summaryInstructions;

// The conversation, a line a turn: "user: ..." or "assistant: ...". Long turns are shortened, and
// of a long conversation the middle is left out, so that it fits any small model: it has at most
// about 12,000 bytes.
std::string conversationPrompt(const std::vector<ConversationTurn>& turns);

} // namespace tavik
