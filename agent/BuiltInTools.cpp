#include "agent/BuiltInTools.h"

#include "platform/json/Json.h"

namespace tavik {

namespace {

constexpr const char* webSearchDescription =
    "Search the live web and get a concise, up-to-date answer. Use for anything current or "
    "outside your knowledge: news, weather, prices, schedules, recent facts.";

constexpr const char* fetchUrlDescription =
    "Fetch a web page and return its readable text (capped). Use when you need the actual "
    "contents of a specific page.";

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

} // namespace

std::vector<ToolSpec> builtInToolSpecs() {
    return {
        {"web_search", webSearchDescription, withText("query", "What to search for")},
        {"fetch_url", fetchUrlDescription, withText("url", "Full URL including https://")},
        {"end_conversation", endConversationDescription, withoutParameters()},
        {"pause_listening", pauseListeningDescription, withoutParameters()},
    };
}

} // namespace tavik
