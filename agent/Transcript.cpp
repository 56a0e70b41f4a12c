#include "agent/Transcript.h"

#include <cassert>

namespace tavik {

void Transcript::addUser(std::string text) {
    assert(pending.empty() && "a tool call was left without its result");
    entries.push_back(UserMessage{std::move(text)});
}

void Transcript::addReply(const BrainReply& reply) {
    assert(pending.empty() && "a tool call was left without its result");
    entries.push_back(AssistantMessage{reply.text, reply.toolCalls});
    pending.assign(reply.toolCalls.begin(), reply.toolCalls.end());
}

void Transcript::addResult(const std::string& text) {
    assert(!pending.empty() && "a result without a call");
    entries.push_back(ToolResultMessage{pending.front().id, pending.front().name, text});
    pending.pop_front();
}

void Transcript::closeBatch() {
    while (!pending.empty())
        addResult(
            "NOT EXECUTED: the action batch was stopped. Re-observe the desktop before planning "
            "another action.");
}

} // namespace tavik
