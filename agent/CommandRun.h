#pragma once

#include "agent/AgentResult.h"
#include "agent/DesktopToolbox.h"
#include "agent/Guardrails.h"
#include "agent/Transcript.h"
#include "brains/Brain.h"
#include "platform/concurrency/Clock.h"

#include <functional>
#include <map>
#include <optional>
#include <stop_token>
#include <string>

namespace tavik {

// The two ways in which a command is given up.
struct RunCancellation {
    const std::function<bool()>& isCancelled; // may be empty
    std::stop_token stop;

    bool requested() const { return stop.stop_requested() || (isCancelled && isCancelled()); }
};

// The safety rules, and the user's turn that the command is.
struct GuardedTurn {
    Guardrails& guardrails;
    int number;
};

// The steps of one command, from the user's words at the end of the transcript to what is spoken.
// Ends at a call that the safety rules hold or refuse. Counts what must not go on for ever: steps,
// identical calls, failures in a row. Destruction leaves no tool call in the transcript without a
// result.
class CommandRun {
public:
    CommandRun(Brain& model, const DesktopToolbox& tools, Transcript& conversation, Clock& time,
               GuardedTurn turn, RunCancellation givenUp);
    ~CommandRun();
    CommandRun(const CommandRun&) = delete;
    CommandRun& operator=(const CommandRun&) = delete;

    // To be called once. Throws BrainError or Cancelled.
    AgentResult run();

private:
    // Each returns the end of the run, or nothing when it goes on.
    std::optional<AgentResult> takeStep();
    std::optional<AgentResult> endOf(const BrainReply& reply) const;
    std::optional<AgentResult> runCalls(const BrainReply& reply);
    std::optional<AgentResult> guard(const ToolCall& call);

    AgentResult answer(const std::string& text) const;
    void runCall(const ToolCall& call);
    bool suppressRepeat(const ToolCall& call);
    std::string execute(const ToolCall& call);
    std::string withFailureNote(const ToolCall& call, std::string result, bool failed);

    Brain& brain;
    const DesktopToolbox& toolbox;
    Transcript& transcript;
    Clock& clock;
    const GuardedTurn userTurn;
    const RunCancellation cancellation;
    std::map<std::string, int> attempts; // times seen, by what is called with what
    std::map<std::string, int> failures; // in a row, by tool
};

} // namespace tavik
