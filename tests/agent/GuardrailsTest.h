#pragma once

#include "agent/Audit.h"
#include "agent/Guardrails.h"
#include "app/Log.h"
#include "app/Paths.h"

#include <filesystem>
#include <fmt/format.h>

namespace tavik {

inline ToolCall typing(std::string text) {
    return {"id", "type_text", {{"text", std::move(text)}}};
}

// What a check's result says: "runs", "held: REASON", "refused: REASON"; or the result itself, when
// it has none of the agreed forms.
inline std::string outcome(const std::optional<std::string>& result) {
    const std::string refusalEnd =
        ", which is never executed automatically. Tell the user it was refused. If they truly "
        "intend it, they can do it themselves or add an exemption to " +
        pathInHome("Library/Application Support/Tavik/guardrails.json");
    const std::string forms[][3] = {
        {"refused: ", "HARD-BLOCKED by Tavik's safety rules: this would run ", refusalEnd},
        {"held: ", "BLOCKED pending the user's confirmation: this is ",
         ", which is irreversible. Ask the user out loud whether to proceed, and do nothing else. "
         "Only if their next message clearly says yes, call this tool again with the same "
         "arguments and it will go through."},
        {"held for an agent: ", "BLOCKED pending user confirmation: this is ",
         ", which is irreversible. Ask your user explicitly whether to proceed; only after they "
         "clearly agree, call this tool again with the same arguments plus \"confirmed\": true."},
    };
    if (!result)
        return "runs";
    for (const auto& [word, begin, end] : forms)
        if (result->starts_with(begin) && result->ends_with(end))
            return word + result->substr(begin.size(), result->size() - begin.size() - end.size());
    return *result;
}

// Begins without an allowlist and with empty records.
struct FreshRecords {
    FreshRecords() {
        std::filesystem::remove_all(allowlistPath());
        Audit::clearHistory();
        TavikLog::clearHistory();
    }
};

// The clipboard's text can be changed, and made unreadable.
class GuardrailsTest : public testing::Test, FreshRecords {
protected:
    std::string check(const ToolCall& call, int turn = 0) {
        return outcome(guardrails.check(call, turn));
    }
    std::string check(const std::string& tool, Json arguments) {
        return check({"id", tool, std::move(arguments)});
    }

    std::optional<std::string> clipboard = "";
    int clipboardReads = 0;
    Guardrails guardrails{[this](std::stop_token) {
        ++clipboardReads;
        return clipboard;
    }};
};

} // namespace tavik
