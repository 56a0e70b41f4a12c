#include "fuzz/FixedReply.h"
#include "fuzz/Targets.h"
#include "memory/Summarizer.h"
#include "memory/summaries/ExtractiveSummary.h"
#include "memory/summaries/LocalModelSummarizer.h"
#include "platform/text/Text.h"

#include <functional>

namespace tavik::fuzz {

namespace {

// A turn a line, from the user and the assistant in an order that the lines' lengths decide.
std::vector<ConversationTurn> turnsIn(const std::string& text) {
    std::vector<ConversationTurn> turns;
    for (const std::string& line : splitDroppingEmpty(text, '\n'))
        turns.push_back({"session", line.size() % 3 ? "user" : "assistant", line, {}});
    return turns;
}

// Both what a server lists and what its model says.
std::string replyWith(const std::string& content) {
    const Json message = {{"message", {{"content", content}}}};
    return compactJson(
        {{"data", Json::array({{{"id", "m"}}})}, {"choices", Json::array({message})}});
}

std::string modelSummary(std::string body) {
    FixedReply session({.status = 200, .headers = {}, .body = std::move(body)});
    return LocalModelSummarizer({"http://localhost", "m"}, session).summarize(turnsIn("hi"), {});
}

void checkSummary(const std::function<std::string()>& make, std::size_t limit) {
    try {
        const std::string summary = make();
        check(!summary.empty() && isValidUtf8(summary) && characterCount(summary) <= limit);
        for (const char* hidden : {"\n", "\r", "\u202E", "\u2066", "\u2028"})
            check(summary.find(hidden) == std::string::npos);
    } catch (const SummaryError&) {
    }
}

} // namespace

void readSummary(std::string_view input) {
    if (input.empty())
        return;
    const std::string text(input.substr(1));
    switch (static_cast<unsigned char>(input.front()) % 3) {
    case 0:
        return checkSummary([&] { return modelSummary(text); }, 300);
    case 1:
        return checkSummary([&] { return modelSummary(replyWith(text)); }, 300);
    default:
        return checkSummary([&] { return extractiveSummary(turnsIn(text)); }, 200);
    }
}

} // namespace tavik::fuzz
