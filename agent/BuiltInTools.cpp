#include "agent/BuiltInTools.h"

#include "agent/ReadablePage.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/json/Json.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>

namespace tavik {

namespace {

constexpr const char* openAppDescription =
    "Launch a Mac app (or bring it to the front) by its name, e.g. 'Safari', 'System Settings', "
    "'Notes'. Use this first when the task involves an app that isn't frontmost.";

constexpr const char* openUrlDescription = "Open an http(s) URL in the default browser.";

constexpr const char* webSearchDescription =
    "Search the live web and get a concise, up-to-date answer. Use for anything current or "
    "outside your knowledge: news, weather, prices, schedules, recent facts.";

constexpr const char* fetchUrlDescription =
    "Fetch a web page and return its readable text (capped). Use when you need the actual "
    "contents of a specific page.";

constexpr const char* recallDescription =
    "Search past conversations with the user for something discussed in an earlier session. Use "
    "this when the user references something from before that isn't already in your current "
    "context — e.g. \"what did I ask you about the pricing model last week\", \"remind me what we "
    "decided about the wake threshold\". The immediately preceding session (if recent) is already "
    "given to you automatically at the start of this conversation, so you don't need this tool for "
    "\"what did we just talk about\" — reach for it only for older or less obvious references.";

constexpr const char* endConversationDescription =
    "Call this — instead of just replying with text — the moment the user indicates they "
    "want to stop, cancel, or end THIS CONVERSATION, in any phrasing: a bare \"stop\", "
    "\"stop yourself\", \"cancel that\", a rambling or hedged sentence that contains that "
    "intent, profanity-laced frustration, a correction like \"no, stop\", or anything to "
    "that effect, even mid-task. This only returns Tavik to listening for \"Hey Vessa\" — "
    "the microphone stays fully active. Do NOT call this if the user wants Tavik to stop "
    "listening altogether (see pause_listening) — that is a different, stronger request. You "
    "may also send a short spoken acknowledgment in the same turn (e.g. \"okay, stopping\") "
    "— it will be spoken, then Tavik goes idle. Never follow this with another question or "
    "another tool call.";

constexpr const char* pauseListeningDescription =
    "Call this — instead of just replying with text — the moment the user asks Tavik to stop "
    "LISTENING altogether, not just end the current conversation: phrases that reference "
    "listening, hearing, or the microphone itself, e.g. \"stop listening\", \"stop listening "
    "completely\", \"turn yourself off\", \"turn off your microphone\", \"mute yourself\", "
    "\"go to sleep\", \"quit listening to me\" — however rambling or hedged. This fully "
    "shuts the microphone off (equivalent to clicking Pause Listening in the menu bar): "
    "Tavik will not hear \"Hey Vessa\" or anything else again until the user manually "
    "resumes it from the menu bar or hotkey — voice cannot resume it. Do NOT call this for a "
    "plain \"stop\"/\"cancel\"/\"never mind\" that only means end this conversation — use "
    "end_conversation for that. You may send a short spoken acknowledgment in the same turn "
    "(e.g. \"okay, going quiet\") — it will be spoken, then Tavik pauses. Never follow this "
    "with another question or another tool call.";

Json withoutParameters() {
    return {{"type", "object"}, {"properties", Json::object()}};
}

Json withText(const char* name, const char* description) {
    return {{"type", "object"},
            {"properties", {{name, {{"type", "string"}, {"description", description}}}}},
            {"required", Json::array({name})}};
}

Json recallParameters() {
    Json parameters =
        withText("query", "Keywords to search for — a topic, project name, or decision.");
    parameters["properties"]["daysBack"] = {
        {"type", "integer"},
        {"description", "How many days back to search. Defaults to 30 if omitted."}};
    return parameters;
}

std::string textArgument(const ToolCall& call, std::string_view name) {
    return stringMember(call.args, name).value_or("");
}

std::string openApp(const std::string& name, Applications& applications, std::stop_token stop) {
    if (name.empty())
        return "Missing app name.";
    try {
        if (!applications.open(name, std::move(stop)))
            return fmt::format("No app named \"{}\" was found on this Mac.", name);
        return fmt::format("Opened {}. Give it a moment to appear, then check it with ax_snapshot.",
                           name);
    } catch (const LaunchError& error) {
        return fmt::format("Couldn't launch {}: {}", name, error.what());
    }
}

std::string openUrl(const std::string& url, Applications& applications, std::stop_token stop) {
    if (!applications.openUrl(url, std::move(stop)))
        return "Invalid URL.";
    return fmt::format("Opened {} in the default browser.", url);
}

std::string searchTheWeb(const std::string& query, Brain& brain, std::stop_token stop) {
    if (query.empty())
        return "Missing search query.";
    try {
        return brain.webSearch(query, std::move(stop));
    } catch (const Cancelled&) {
        throw;
    } catch (const std::exception& error) {
        return std::string("Web search failed: ") + error.what();
    }
}

std::string fetchPage(const std::string& url, HttpSession& http, std::stop_token stop) {
    if (url.empty())
        return "Missing URL.";
    return fetchReadable(url, http, std::move(stop));
}

int daysBackIn(const Json& arguments) {
    constexpr double usual = 30;
    constexpr double least = 1;
    constexpr double most = 365;
    const Json* days = member(arguments, "daysBack");
    const double asked = days && days->is_number() ? days->get<double>() : usual;
    return static_cast<int>(std::clamp(std::isfinite(asked) ? asked : usual, least, most));
}

std::string recall(const ToolCall& call, const ToolServices& services) {
    const auto query = stringMember(call.args, "query");
    if (!query)
        return "Missing search query.";
    return services.recall(*query, daysBackIn(call.args));
}

} // namespace

std::vector<ToolSpec> builtInToolSpecs() {
    return {
        {"open_app", openAppDescription, withText("name", "App display name")},
        {"open_url", openUrlDescription, withText("url", "Full URL including https://")},
        {"web_search", webSearchDescription, withText("query", "What to search for")},
        {"fetch_url", fetchUrlDescription, withText("url", "Full URL including https://")},
        {"recall_conversations", recallDescription, recallParameters()},
        {"end_conversation", endConversationDescription, withoutParameters()},
        {"pause_listening", pauseListeningDescription, withoutParameters()},
    };
}

bool endsRun(std::string_view tool) {
    return tool == "end_conversation" || tool == "pause_listening";
}

std::optional<std::string> runBuiltInTool(const ToolCall& call, const ToolServices& services,
                                          Brain& brain, std::stop_token stop) {
    if (call.name == "open_app")
        return openApp(textArgument(call, "name"), *services.applications, std::move(stop));
    if (call.name == "open_url")
        return openUrl(textArgument(call, "url"), *services.applications, std::move(stop));
    if (call.name == "web_search")
        return searchTheWeb(textArgument(call, "query"), brain, std::move(stop));
    if (call.name == "fetch_url")
        return fetchPage(textArgument(call, "url"), *services.http, std::move(stop));
    if (call.name == "recall_conversations")
        return recall(call, services);
    return std::nullopt;
}

} // namespace tavik
