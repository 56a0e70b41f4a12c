#include "agent/ActionRules.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <stdexcept>
#include <vector>

namespace tavik {

namespace {

constexpr std::string_view guardedTools[] = {
    "type_text",  "fill_field",    "click_element",        "click",     "double_click",
    "click_menu", "select_option", "handle_system_dialog", "press_key", "set_clipboard",
};

constexpr std::string_view textTools[] = {"type_text", "fill_field", "set_clipboard"};

constexpr std::string_view affirmativeReplies[] = {
    "yes",   "yes please", "yes do it", "yes go ahead", "go ahead",
    "do it", "confirm",    "confirmed", "proceed",      "yes proceed",
};

struct Row {
    const char* expression;
    const char* label;
};

constexpr Row hardBlocks[] = {
    {R"(\brm\s+(?:-\w+\s+)*(?:-\w*[rR]\w*|--recursive)\s+(?:-\w+\s+)*(?:--\s+)?)"
     R"((?:"(?:/|~/?|\$HOME/?)(?:\*)?"|'(?:/|~/?|\$HOME/?)(?:\*)?'|(?:/|~/?|\$HOME/?)(?:\*)?))"
     R"((?:\s|$))",
     "recursive delete of the root or home directory"},
    {R"(\bsudo\s+rm\b)", "rm as root"},
    {R"(\bmkfs)", "formatting a filesystem"},
    {R"(\bdiskutil\s+(erase|reformat|partitionDisk|zeroDisk))", "erasing a disk"},
    {R"(\bdd\s+[^\n]*\bof=/dev/)", "writing raw bytes to a device"},
    {R"(>\s*/dev/(disk|rdisk))", "writing to a raw disk"},
    {R"(:\(\)\s*\{[^}]*\|[^}]*&[^}]*\})", "a fork bomb"},
    {R"(\bchmod\s+(-\w+\s+)*000\s+/)", "locking out the root directory"},
    {R"(\blaunchctl\s+(bootout|unload)\s+system)", "unloading system services"},
    {R"(\bcsrutil\s+disable)", "disabling System Integrity Protection"},
};

constexpr Row confirmations[] = {
    {R"(\brm\s)", "deleting files with rm"},
    {R"(\bsudo\b)", "running a command as root"},
    {R"(\bgit\s+push\b)", "pushing to a remote repository"},
    {R"(\bgit\s+reset\s+--hard\b)", "discarding local changes"},
    {R"(\bgit\s+clean\b)", "deleting untracked files"},
    {R"(\bkillall\b)", "force-quitting apps"},
    {R"(\b(shutdown|reboot)\b)", "shutting down or restarting the Mac"},
};

Pattern compiled(const std::string& expression) {
    return Pattern::compile(expression, Pattern::Case::insensitive).value();
}

// Most texts match none of a table's patterns, so they are searched for all of them at once first.
class RuleTable {
public:
    template<std::size_t count>
    explicit RuleTable(const Row (&rows)[count])
        : any(compiled(alternation(rows))) {
        for (const Row& row : rows)
            rules.push_back({compiled(row.expression), row.label});
    }

    std::optional<std::string> firstLabel(const GuardedText& text) const {
        if (!text.matches(any))
            return std::nullopt;
        for (const Rule& rule : rules)
            if (text.matches(rule.pattern))
                return rule.label;
        throw std::logic_error("a table of rules contradicts itself");
    }

private:
    struct Rule {
        Pattern pattern;
        const char* label;
    };

    template<std::size_t count>
    static std::string alternation(const Row (&rows)[count]) {
        std::vector<std::string> expressions;
        for (const Row& row : rows)
            expressions.push_back(row.expression);
        return joined(expressions, "|");
    }

    Pattern any;
    std::vector<Rule> rules;
};

template<std::size_t count>
bool contains(const std::string_view (&list)[count], std::string_view word) {
    return std::find(std::begin(list), std::end(list), word) != std::end(list);
}

bool emptiesTrash(const GuardedText& text) {
    static const Pattern deleteKey = compiled("delete");
    static const Pattern shift = compiled("shift");
    static const Pattern command = compiled("cmd|command");
    return text.matches(deleteKey) && text.matches(shift) && text.matches(command);
}

std::optional<std::string> activationReason(const GuardedText& text) {
    static const Pattern dangerousLabel = compiled(
        R"(\b(delete|empty trash|move to trash|erase|format|send|buy|purchase|pay|place order|)"
        R"(uninstall|shut down|restart|log out|sign out)\b)");
    const auto match = text.firstMatch(dangerousLabel);
    if (!match)
        return std::nullopt;
    return "activating \"" + *match + "\"";
}

} // namespace

bool isGuardedTool(std::string_view tool) {
    return contains(guardedTools, tool);
}

std::optional<std::string> hardBlockReason(std::string_view tool, const GuardedText& text) {
    static const RuleTable table(hardBlocks);
    return contains(textTools, tool) ? table.firstLabel(text) : std::nullopt;
}

std::optional<std::string> confirmationReason(std::string_view tool, const GuardedText& text) {
    static const RuleTable table(confirmations);
    if (contains(textTools, tool))
        return table.firstLabel(text);
    if (tool != "press_key")
        return activationReason(text);
    if (emptiesTrash(text))
        return "emptying the Trash";
    return std::nullopt;
}

bool isPaste(std::string_view tool, const GuardedText& arguments) {
    static const Pattern paste = compiled("paste");
    static const Pattern letterKey = compiled(R"((?:^|[^\pL\pM\pN])v(?:$|[^\pL\pM\pN]))");
    static const Pattern commandKey =
        compiled(R"((?:^|[^\pL\pM\pN])(?:cmd|command)(?:$|[^\pL\pM\pN]))");
    if (tool == "click_menu")
        return arguments.matches(paste);
    return tool == "press_key" && arguments.matches(letterKey) && arguments.matches(commandKey);
}

bool isAffirmative(std::string_view utterance) {
    static const Pattern separators = compiled(R"([\pP\t-\r\x{85}\pZ]+)");
    return contains(affirmativeReplies, trimmed(separators.replaceAll(lowercased(utterance), " ")));
}

} // namespace tavik
