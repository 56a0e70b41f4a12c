#include "tests/agent/ScriptedBrain.h"

#include "agent/Audit.h"
#include "agent/BuiltInTools.h"
#include "platform/text/Text.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

namespace tavik {

BrainReply ScriptedBrain::chat(const std::vector<AgentMessage>&, const std::vector<ToolSpec>&,
                               std::stop_token stop) {
    ++chats;
    if (steps.empty())
        return saying("Done.");
    const Step step = std::move(steps.front());
    steps.pop_front();
    return step(stop);
}

std::string ScriptedBrain::webSearch(const std::string& query, std::stop_token stop) {
    searches.push_back(query);
    return search(query, stop);
}

void ScriptedBrain::will(BrainReply reply) {
    steps.push_back([reply = std::move(reply)](std::stop_token) { return reply; });
}

BrainReply saying(std::string text) {
    return {std::move(text), {}};
}

BrainReply calling(std::vector<ToolCall> calls) {
    return {std::nullopt, std::move(calls)};
}

ToolCall searchFor(std::string id, std::string query) {
    return {std::move(id), "web_search", {{"query", std::move(query)}}};
}

AgentSurroundings surroundedBy(HttpSession& http) {
    AgentSurroundings around;
    around.buildToolbox = [&http](std::stop_token) {
        return DesktopToolbox(builtInToolSpecs(), std::nullopt, {.http = &http});
    };
    around.recap = [](const std::string&) { return std::nullopt; };
    return around;
}

std::vector<std::string> toolResults(const std::vector<AgentMessage>& messages) {
    std::vector<std::string> results;
    for (const AgentMessage& message : messages)
        if (const auto* result = std::get_if<ToolResultMessage>(&message))
            results.push_back(result->text);
    return results;
}

void waitForStop(std::stop_token stop) {
    systemClock().sleepFor(std::chrono::seconds(30), stop);
}

std::vector<std::string> auditedEvents() {
    Audit::flush();
    std::vector<std::string> events;
    for (const std::string& line : splitDroppingEmpty(readFile(Audit::path()), '\n')) {
        Json event = Json::parse(line);
        event.erase("ts");
        events.push_back(event.dump());
    }
    return events;
}

} // namespace tavik
