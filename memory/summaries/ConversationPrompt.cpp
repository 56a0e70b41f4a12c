#include "memory/summaries/ConversationPrompt.h"

#include "memory/summaries/OneLine.h"
#include "platform/text/Text.h"

#include <fmt/format.h>

namespace tavik {

namespace {

constexpr std::size_t bytesOfTurn = 1500;
constexpr std::size_t bytesOfPrompt = 12'000;

std::string lineOf(const ConversationTurn& turn) {
    const std::string text = oneLine(firstBytes(turn.text, bytesOfTurn));
    return fmt::format("{}: {}{}\n", turn.role == "user" ? "user" : "assistant", text,
                       turn.text.size() > bytesOfTurn ? "…" : "");
}

} // namespace

const char* const summaryInstructions =
    "You summarize one voice-assistant conversation in a single short, factual sentence — specific "
    "enough that reading it later reminds the user exactly what was discussed or done. Output ONLY "
    "that sentence: no preamble like \"Note:\" or \"Summary:\", no surrounding quotes, no \"the "
    "user\" — write it as a direct note to the user, e.g. \"You asked Tavik to open Xcode and it "
    "walked you through a build error.\"";

std::string conversationPrompt(const std::vector<ConversationTurn>& turns) {
    if (turns.empty())
        return "";
    const std::string first = lineOf(turns.front());
    std::string last;
    for (std::size_t index = turns.size() - 1; index > 0; --index) {
        const std::string line = lineOf(turns[index]);
        if (first.size() + last.size() + line.size() > bytesOfPrompt)
            return trimmed(fmt::format("{}…\n{}", first, last));
        last.insert(0, line);
    }
    return trimmed(first + last);
}

} // namespace tavik
