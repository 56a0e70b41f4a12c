#pragma once

#include <chrono>
#include <string>
#include <vector>

// What is remembered of conversations, as plain values.
namespace tavik {

using WallTime = std::chrono::system_clock::time_point;

// One utterance of a conversation.
struct ConversationTurn {
    std::string sessionID; // the conversation's UUID, which all its turns share
    std::string role;      // "user" or "assistant"
    std::string text;      // as transcribed, or as spoken back
    WallTime timestamp;

    bool operator==(const ConversationTurn&) const = default;
};

// One short factual sentence about a conversation that has ended.
struct ConversationSummary {
    std::string sessionID;
    std::string summary;
    WallTime endedAt;

    bool operator==(const ConversationSummary&) const = default;
};

// One row of the history list.
struct ConversationHistoryEntry {
    std::string id; // the conversation's sessionID
    std::string summary;
    WallTime endedAt;

    bool operator==(const ConversationHistoryEntry&) const = default;
};

} // namespace tavik
