#include "tools/stand-ins/model/DemoRules.h"

#include "platform/text/Text.h"
#include "tools/stand-ins/model/SpokenArithmetic.h"

#include <algorithm>
#include <chrono>
#include <ctime>
#include <fmt/chrono.h>
#include <fmt/format.h>

namespace tavik {

const char* const demoPagePath = "/opening-hours";

const char* const demoPage = R"(<!doctype html>
<html><head><title>Riverside Library</title>
<style>body { font-family: sans-serif }</style>
<script>document.title = "Opening hours: always closed.";</script></head>
<body><h1>Riverside Library</h1>
<p>Opening hours: Monday to Friday from <b>nine</b> in the morning to <b>eight</b> in the evening.</p>
<p>Saturday hours: from ten in the morning to four in the afternoon.</p>
<p>On Sundays &amp; holidays the library is closed.</p>
</body></html>
)";

namespace {

bool hearsAny(const ModelTurn& turn, const std::vector<std::string>& wanted) {
    return std::any_of(wanted.begin(), wanted.end(),
                       [&turn](const std::string& word) { return turn.hears(word); });
}

ModelRule whenHeard(std::vector<std::string> anyOf,
                    std::function<ModelReply(const ModelTurn&)> reply) {
    return {[anyOf = std::move(anyOf)](const ModelTurn& turn) { return hearsAny(turn, anyOf); },
            std::move(reply)};
}

// What the page says behind `label`, up to the end of the sentence.
std::string factIn(const std::string& page, const std::string& label) {
    const std::size_t found = page.find(label);
    if (found == std::string::npos)
        return "";
    const std::size_t begin = found + label.size();
    return trimmed(page.substr(begin, page.find('.', begin) - begin));
}

std::string answerFrom(const std::string& page, bool onSaturday) {
    const std::string fact = factIn(page, onSaturday ? "Saturday hours:" : "Opening hours:");
    if (fact.empty())
        return "I looked at the page, but I couldn't find the opening hours on it.";
    return fmt::format("The library is open {}{}.", onSaturday ? "on Saturday " : "", fact);
}

ModelReply readThePage(const ModelTurn& turn, const std::string& pageUrl) {
    const bool onSaturday = turn.hears("saturday") || turn.hears("weekend");
    if (!turn.toolResults.empty())
        return say(answerFrom(turn.toolResults.back(), onSaturday));
    if (!turn.earlierResults.empty())
        return say(answerFrom(turn.earlierResults.back(), onSaturday));
    return callTool("fetch_url", {{"url", pageUrl}});
}

ModelReply tellTheTime(const ModelTurn&) {
    const std::time_t now = std::chrono::system_clock::to_time_t(std::chrono::system_clock::now());
    std::tm local{};
    localtime_r(&now, &local);
    return say(fmt::format("It is {:%I:%M %p}.", local));
}

ModelReply endWith(const char* tool, const char* text) {
    ModelReply reply = callTool(tool, Json::object());
    reply.text = text;
    return reply;
}

ModelRule sums() {
    return {[](const ModelTurn& turn) { return spokenResult(turn.command).has_value(); },
            [](const ModelTurn& turn) {
                return say(fmt::format("The result of that calculation is {}.",
                                       *spokenResult(turn.command)));
            }};
}

ModelRule otherwise() {
    return {[](const ModelTurn&) { return true; },
            [](const ModelTurn& turn) { return say("You said: " + turn.command + "."); }};
}

} // namespace

std::vector<ModelRule> demoRules(std::string pageUrl) {
    return {
        whenHeard(
            {"listening", "microphone"},
            [](const ModelTurn&) { return endWith("pause_listening", "Okay, going quiet."); }),
        whenHeard({"stop", "cancel", "goodbye"},
                  [](const ModelTurn&) { return endWith("end_conversation", "Okay."); }),
        whenHeard({"library", "opening", "hours", "page", "saturday"},
                  [pageUrl](const ModelTurn& turn) { return readThePage(turn, pageUrl); }),
        sums(),
        whenHeard({"time", "clock"}, tellTheTime),
        whenHeard({"hello", "hi"}, [](const ModelTurn&) { return say("Hello. How can I help?"); }),
        otherwise(),
    };
}

} // namespace tavik
