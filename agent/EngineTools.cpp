#include "agent/EngineTools.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace tavik {

namespace {

constexpr std::size_t maximumResultCharacters = 16'000;

constexpr std::array<std::string_view, 20> vamoAllowed = {
    "ax_snapshot",  "list_windows",  "focus_window",  "wait_for",
    "read_text",    "click_element", "click",         "double_click",
    "fill_field",   "type_text",     "press_key",     "press_system_key",
    "scroll",       "click_menu",    "select_option", "handle_system_dialog",
    "take_control", "get_clipboard", "set_clipboard", "wait"};

// These change the screen, and report what came of it when asked to.
constexpr std::array<std::string_view, 8> vamoWrites = {
    "click_element", "click",     "double_click", "fill_field",
    "type_text",     "press_key", "scroll",       "select_option"};

constexpr const char* selectOptionDescription =
    "Select an option from a native dropdown, popup button, or combobox. Clicks the control at "
    "(x, y) to open it, then selects the option by name. Use for NSPopupButton, NSComboBox, and "
    "native macOS option controls.";

template<typename Names>
bool contains(const Names& names, std::string_view name) {
    return std::find(names.begin(), names.end(), name) != names.end();
}

std::string bounded(const std::string& text) {
    const std::string beginning = boundedCharacters(text, maximumResultCharacters);
    return beginning.size() < text.size() ? beginning + "\n…[truncated]" : text;
}

} // namespace

std::vector<ToolSpec> allowedEngineTools(const std::vector<MCPClient::ToolInfo>& tools) {
    std::vector<ToolSpec> specs;
    for (const MCPClient::ToolInfo& tool : tools)
        if (contains(vamoAllowed, tool.name))
            specs.push_back(
                {tool.name,
                 tool.name == "select_option" ? selectOptionDescription : tool.description,
                 tool.inputSchema});
    return specs;
}

Json engineArguments(const std::string& tool, const Json& arguments) {
    Json complete = arguments.is_object() ? arguments : Json::object();
    if (contains(vamoWrites, tool))
        complete["verify"] = true;
    return complete;
}

std::string runEngineTool(MCPHub& engine, const ToolCall& call, std::stop_token stop) {
    try {
        const ToolReply reply = engine.call(call.name, engineArguments(call.name, call.args), stop);
        return (reply.isError ? "TOOL ERROR: " : "") + bounded(reply.text);
    } catch (const BrainError& error) {
        return "TOOL ERROR: " + error.message;
    }
}

} // namespace tavik
