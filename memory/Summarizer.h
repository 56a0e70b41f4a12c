#pragma once

#include "memory/Records.h"

#include <stdexcept>
#include <stop_token>
#include <string>
#include <vector>

namespace tavik {

// No summary could be made; `what()` says why, without a word of the conversation.
class SummaryError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// Makes one sentence of a conversation, on this machine. Safe to use from any thread.
class Summarizer {
public:
    virtual ~Summarizer() = default;

    // Which model answers now, and why not a better one. May take as long as a look at a server on
    // this machine takes, a second at most.
    virtual std::string availability(std::stop_token stop) = 0;

    // A single short factual sentence about the conversation, whose turns are in time order. Blocks
    // for a bounded time. Throws SummaryError or Cancelled.
    virtual std::string summarize(const std::vector<ConversationTurn>& turns,
                                  std::stop_token stop) = 0;
};

} // namespace tavik
