#include "agent/Guardrails.h"

#include "agent/ActionRules.h"
#include "agent/Audit.h"
#include "app/Log.h"
#include "app/Paths.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"

#include <exception>
#include <fmt/format.h>
#include <utility>

namespace tavik {

namespace {

constexpr std::size_t targetCharacters = 200;

enum class Outcome { allowed, needsConfirmation, refused };
enum class Asker { user, externalAgent };

} // namespace

struct Guardrails::Judgement {
    Outcome outcome = Outcome::allowed;
    std::string reason;
    std::string text;      // what was judged
    std::string signature; // of a call that needs confirmation
};

namespace {

void record(const char* decision, const std::string& tool, const std::string& reason,
            std::optional<std::string_view> text, Asker asker) {
    Json fields = {{"decision", decision}, {"tool", tool}, {"reason", reason}};
    if (text)
        fields["target"] = boundedCharacters(*text, targetCharacters);
    if (asker == Asker::externalAgent)
        fields["source"] = "mcp";
    Audit::record("guard", std::move(fields));
}

std::string refuse(const std::string& tool, const std::string& reason, std::string_view text,
                   Asker asker) {
    log("[guard] HARD BLOCK " + tool + ": " + reason);
    record("hard_block", tool, reason, text, asker);
    return fmt::format(
        "HARD-BLOCKED by Tavik's safety rules: this would run {}, which is never executed "
        "automatically. Tell the user it was refused. If they truly intend it, they can do it "
        "themselves or add an exemption to {}",
        reason, allowlistPath());
}

} // namespace

Guardrails::Guardrails(ClipboardReader clipboard)
    : clipboardText(std::move(clipboard))
    , allowlist(allowlistPath()) {}

void Guardrails::beginUserTurn(std::string_view text, int turn) {
    userTurn = turn;
    approvedSignature = isAffirmative(text) ? std::move(pendingSignature) : std::nullopt;
    pendingSignature.reset();
}

std::optional<std::string> Guardrails::check(const ToolCall& call, int turn, std::stop_token stop) {
    Judgement judgement = judge(call, std::move(stop));
    const std::string& reason = judgement.reason;
    if (judgement.outcome == Outcome::allowed)
        return std::nullopt;
    if (judgement.outcome == Outcome::refused)
        return refuse(call.name, reason, judgement.text, Asker::user);
    if (turn == userTurn && approvedSignature == judgement.signature) {
        approvedSignature.reset();
        log(fmt::format("[guard] confirmed after user turn — allowing {} ({})", call.name, reason));
        record("confirmed", call.name, reason, std::nullopt, Asker::user);
        return std::nullopt;
    }
    pendingSignature = std::move(judgement.signature);
    question =
        fmt::format("This involves {}. Do you want me to proceed? Please say yes or no.", reason);
    log("[guard] CONFIRM required for " + call.name + ": " + reason);
    record("confirm_required", call.name, reason, judgement.text, Asker::user);
    return fmt::format(
        "BLOCKED pending the user's confirmation: this is {}, which is irreversible. Ask the user "
        "out loud whether to proceed, and do nothing else. Only if their next message clearly says "
        "yes, call this tool again with the same arguments and it will go through.",
        reason);
}

std::optional<std::string> Guardrails::checkMCP(const ToolCall& call, bool confirmed,
                                                std::stop_token stop) const {
    const Judgement judgement = judge(call, std::move(stop));
    const std::string& reason = judgement.reason;
    if (judgement.outcome == Outcome::allowed)
        return std::nullopt;
    if (judgement.outcome == Outcome::refused)
        return refuse(call.name, reason, judgement.text, Asker::externalAgent);
    if (confirmed) {
        log(fmt::format("[guard] mcp caller confirmed — allowing {} ({})", call.name, reason));
        record("confirmed", call.name, reason, std::nullopt, Asker::externalAgent);
        return std::nullopt;
    }
    log("[guard] CONFIRM required for mcp " + call.name + ": " + reason);
    record("confirm_required", call.name, reason, judgement.text, Asker::externalAgent);
    return fmt::format(
        "BLOCKED pending user confirmation: this is {}, which is irreversible. Ask your user "
        "explicitly whether to proceed; only after they clearly agree, call this tool again with "
        "the same arguments plus \"confirmed\": true.",
        reason);
}

Guardrails::Judgement Guardrails::judge(const ToolCall& call, std::stop_token stop) const {
    if (!isGuardedTool(call.name))
        return {};
    try {
        const auto guarded = guardedCall(call, clipboardText, std::move(stop));
        return guarded ? judgeText(call, *guarded) : Judgement{};
    } catch (const Cancelled&) {
        throw;
    } catch (const std::exception&) {
        return {Outcome::refused, "an action that couldn't be checked", "", ""};
    }
}

Guardrails::Judgement Guardrails::judgeText(const ToolCall& call,
                                            const GuardedCall& guarded) const {
    const GuardedText& text = guarded.text;
    if (guarded.isComplete && allowlist.exempts(text.asItStands()))
        return {};
    const std::string tool = guarded.isPaste ? "type_text" : call.name;
    if (const auto reason = hardBlockReason(tool, text))
        return {Outcome::refused, *reason, text.asItStands(), ""};
    auto reason = confirmationReason(tool, text);
    if (!guarded.isComplete)
        reason = "pasting text that couldn't be checked";
    if (!reason)
        return {};
    return {Outcome::needsConfirmation, *reason, text.asItStands(), signatureOf(call, text)};
}

} // namespace tavik
