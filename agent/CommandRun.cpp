#include "agent/CommandRun.h"

#include "agent/Audit.h"
#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/json/Json.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>

namespace tavik {

namespace {

constexpr int maximumSteps = 40;
constexpr int maximumAttempts = 3;
constexpr int failuresToMention = 3;
constexpr std::size_t shownOfRefusal = 160;

bool hasCall(const BrainReply& reply, std::string_view name) {
    return std::any_of(reply.toolCalls.begin(), reply.toolCalls.end(),
                       [name](const ToolCall& call) { return call.name == name; });
}

// The name comes from the model: it must not be able to forge a line of the log.
std::string loggable(const std::string& name) {
    std::string shown = firstCharacters(name, 100);
    std::replace_if(
        shown.begin(), shown.end(), [](unsigned char byte) { return byte < 0x20 || byte == 0x7F; },
        ' ');
    return shown;
}

std::string providerWord(const std::string& label) {
    const std::string word = label.substr(0, label.find('/'));
    return word.empty() ? "The brain" : capitalized(word);
}

AgentResult stoppedAtLimit() {
    Audit::record("answer", {{"ok", false}, {"reason", "max_steps"}});
    return {
        fmt::format("I stopped after {} steps without finishing — tell me to keep going, or try "
                    "rephrasing the task.",
                    maximumSteps)};
}

} // namespace

CommandRun::CommandRun(Brain& model, const DesktopToolbox& tools, Transcript& conversation,
                       Clock& time, GuardedTurn turn, RunCancellation givenUp)
    : brain(model)
    , toolbox(tools)
    , transcript(conversation)
    , clock(time)
    , userTurn(turn)
    , cancellation(std::move(givenUp)) {}

CommandRun::~CommandRun() {
    transcript.closeBatch();
}

AgentResult CommandRun::run() {
    for (int step = 1; step <= maximumSteps; ++step)
        if (auto result = takeStep())
            return *result;
    return stoppedAtLimit();
}

std::optional<AgentResult> CommandRun::takeStep() {
    throwIfStopped(cancellation.stop);
    if (cancellation.requested())
        return AgentResult{};
    const BrainReply reply = brain.chat(transcript.messages(), toolbox.specs(), cancellation.stop);
    if (cancellation.requested())
        return AgentResult{};
    transcript.addReply(reply);
    if (auto end = endOf(reply))
        return end;
    return runCalls(reply);
}

std::optional<AgentResult> CommandRun::endOf(const BrainReply& reply) const {
    const std::string text = reply.text.value_or("");
    if (hasCall(reply, "end_conversation")) {
        Audit::record("answer", {{"ok", true}, {"endConversation", true}});
        return AgentResult{text, AgentOutcome::endConversation};
    }
    if (hasCall(reply, "pause_listening")) {
        Audit::record("answer", {{"ok", true}, {"pauseListening", true}});
        return AgentResult{text, AgentOutcome::pauseListening};
    }
    if (reply.toolCalls.empty())
        return answer(text);
    return std::nullopt;
}

AgentResult CommandRun::answer(const std::string& text) const {
    if (text.empty())
        throw BrainError(providerWord(brain.label()) + " sent back an empty answer. Try again.");
    Audit::record("answer", {{"ok", true}, {"chars", characterCount(text)}});
    return {text};
}

std::optional<AgentResult> CommandRun::runCalls(const BrainReply& reply) {
    for (const ToolCall& call : reply.toolCalls) {
        if (cancellation.requested())
            return AgentResult{};
        log("[agent] → " + loggable(call.name));
        if (auto end = guard(call))
            return end;
        if (!suppressRepeat(call))
            runCall(call);
    }
    return std::nullopt;
}

std::optional<AgentResult> CommandRun::guard(const ToolCall& call) {
    const auto refusal = userTurn.guardrails.check(call, userTurn.number, cancellation.stop);
    if (!refusal)
        return std::nullopt;
    log("[agent] ⛔ " + firstCharacters(*refusal, shownOfRefusal));
    transcript.addResult(*refusal);
    if (refusal->starts_with("HARD-BLOCKED"))
        return AgentResult{
            "I refused that action because it could seriously damage your Mac or files."};
    return AgentResult{userTurn.guardrails.confirmationQuestion()};
}

bool CommandRun::suppressRepeat(const ToolCall& call) {
    const int count = ++attempts[call.name + "|" + sortedJson(call.args)];
    if (count <= maximumAttempts)
        return false;
    log(fmt::format("[agent] ⛔ identical call #{} suppressed: {}", count, loggable(call.name)));
    Audit::record("guard", {{"decision", "repeat_suppressed"}, {"tool", call.name}});
    transcript.addResult(
        "NOT EXECUTED: this exact call has already been tried 3 times. Do not repeat "
        "it. Try a genuinely different approach, or stop and tell the user plainly "
        "what failed.");
    return true;
}

void CommandRun::runCall(const ToolCall& call) {
    const auto start = clock.now();
    std::string result = execute(call);
    const auto duration =
        std::chrono::duration_cast<std::chrono::milliseconds>(clock.now() - start);
    const bool failed = result.starts_with("TOOL ERROR");
    Audit::record("tool", {{"name", call.name}, {"success", !failed}, {"ms", duration.count()}});
    result = withFailureNote(call, std::move(result), failed);
    log("[agent] ← " + loggable(call.name) + ": " + (failed ? "failed" : "completed"));
    transcript.addResult(result);
}

std::string CommandRun::execute(const ToolCall& call) {
    std::string result = toolbox.execute(call, brain, cancellation.stop);
    if (cancellation.stop.stop_requested())
        return "TOOL ERROR: Interrupted while waiting. The action may already have happened; "
               "observe "
               "the desktop before deciding what to do next.";
    return result;
}

// Said once, at the third failure in a row.
std::string CommandRun::withFailureNote(const ToolCall& call, std::string result, bool failed) {
    int& streak = failures[call.name];
    streak = failed ? streak + 1 : 0;
    if (streak == failuresToMention)
        result += "\n[Tavik: this tool has now failed 3 times in a row. Stop retrying it — use a "
                  "different tool or strategy, or tell the user plainly what failed.]";
    return result;
}

} // namespace tavik
