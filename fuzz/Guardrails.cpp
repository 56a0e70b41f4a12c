#include "agent/Guardrails.h"
#include "agent/ActionRules.h"
#include "fuzz/FixedReply.h"
#include "fuzz/ShortRecords.h"
#include "fuzz/Targets.h"
#include "platform/text/Text.h"

#include <cstdlib>

namespace tavik::fuzz {

namespace {

constexpr const char* tools[] = {
    "type_text",    "fill_field", "set_clipboard", "click_element",        "click",
    "double_click", "click_menu", "select_option", "handle_system_dialog", "press_key",
    "ax_snapshot",  "open_url",
};

} // namespace

void judgeCall(std::string_view input) {
    if (input.empty())
        return;
    keepRecordsShort();
    const auto choice = static_cast<unsigned char>(input.front());
    const std::string text(input.substr(1));
    const ToolCall call = {"id", tools[choice % std::size(tools)],
                           parseJson(text).value_or(Json{{"text", text}})};
    Guardrails guardrails([&](std::stop_token) -> std::optional<std::string> {
        return choice < 128 ? std::optional(text) : std::nullopt;
    });

    const auto decision = guardrails.check(call, 0);
    check(guardrails.checkMCP(call, false).has_value() == decision.has_value());
    if (!decision)
        return;
    check(isValidUtf8(*decision) && isGuardedTool(call.name));
    const bool refused = decision->starts_with("HARD-BLOCKED");
    check(guardrails.checkMCP(call, true).has_value() == refused);
    guardrails.beginUserTurn("no", 1);
    check(guardrails.check(call, 1) == decision);
    guardrails.beginUserTurn("Yes.", 2);
    check(guardrails.check(call, 2).has_value() == refused);
    check(guardrails.check(call, 2) == decision);
}

} // namespace tavik::fuzz
