#pragma once

#include "agent/GuardAllowlist.h"
#include "agent/GuardedCall.h"
#include "brains/Brain.h"

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>

namespace tavik {

// Decides about every tool call that would act on the desktop: it runs, it is held until the user
// confirms it, or it is refused outright. Each decision against or about a dangerous call is logged
// and audited.
//
// A call that is held in one turn of the user passes in the next one, once, if that turn is a plain
// yes and the call is the same; anything else that the user says forgets it. What cannot be judged
// never passes: text that is too long is refused, and pasting a clipboard that cannot be read is
// held.
//
// One instance serves one conversation, one thread at a time, or the external agents, from any
// number of threads at once. Throws Cancelled, when it is stopped while it reads the clipboard, and
// nothing else.
class Guardrails {
public:
    // Reads the allowlist. Without a `clipboard`, pasting is always held; with one, it is called by
    // whichever thread checks a paste.
    explicit Guardrails(ClipboardReader clipboard = {});

    // To be called for every utterance of the user before any tool runs for it.
    void beginUserTurn(std::string_view text, int turn);

    // Nothing lets the call run; a text is its result instead. It begins with "HARD-BLOCKED" when
    // the call was refused for good.
    std::optional<std::string> check(const ToolCall& call, int turn, std::stop_token stop = {});

    // The same for an external agent, which asks its own user and says so with `confirmed`. Safe
    // from any thread.
    std::optional<std::string> checkMCP(const ToolCall& call, bool confirmed,
                                        std::stop_token stop = {}) const;

    // What to ask the user about the call that was held last.
    const std::string& confirmationQuestion() const { return question; }

private:
    struct Judgement;

    Judgement judge(const ToolCall& call, std::stop_token stop) const;
    Judgement judgeText(const ToolCall& call, const GuardedCall& guarded) const;

    const ClipboardReader clipboardText;
    const GuardAllowlist allowlist;
    std::optional<std::string> pendingSignature;  // waits for the user's next turn
    std::optional<std::string> approvedSignature; // the user said yes to it in this turn
    int userTurn = 0;
    std::string question;
};

} // namespace tavik
