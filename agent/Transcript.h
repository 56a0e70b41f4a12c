#pragma once

#include "brains/Brain.h"

#include <deque>
#include <string>
#include <vector>

namespace tavik {

// A conversation as the model sees it. It only grows. Between two commands every tool call in it
// has exactly one result, in the order of the calls, so that any provider can continue it. For one
// thread at a time.
class Transcript {
public:
    void addUser(std::string text);
    // A reply whose tool calls now wait for their results. None may be waiting already.
    void addReply(const BrainReply& reply);
    // Answers the call that has waited longest.
    void addResult(const std::string& text);
    // Answers what still waits with the word that it was not executed.
    void closeBatch();

    const std::vector<AgentMessage>& messages() const { return entries; }

private:
    std::vector<AgentMessage> entries;
    std::deque<ToolCall> pending; // of the last reply, not yet answered
};

} // namespace tavik
