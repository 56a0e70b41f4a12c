#pragma once

#include <string>

namespace tavik {

// How a conversation goes on after a command.
enum class AgentOutcome {
    normal,          // an answer or a stop; a follow-up may come
    endConversation, // the user wants no more for now
    pauseListening,  // the user wants the microphone off
};

struct AgentResult {
    std::string text; // to be spoken; may be empty
    AgentOutcome outcome = AgentOutcome::normal;
};

} // namespace tavik
