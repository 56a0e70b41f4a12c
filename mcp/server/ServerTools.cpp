#include "mcp/server/ServerTools.h"

#include "agent/Audit.h"
#include "agent/EngineTools.h"
#include "app/Log.h"
#include "mcp/server/ToolDescriptions.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"

#include <chrono>
#include <utility>

namespace tavik {

namespace {

using std::chrono::steady_clock;

// A client makes up the names that it calls.
constexpr std::size_t maximumNameCharacters = 200;

constexpr const char* cancelledText =
    "External agent access is disabled or the request was cancelled.";

ToolReply failure(std::string text) {
    return {std::move(text), true};
}

std::string textArgument(const Json& arguments, std::string_view name) {
    return stringMember(arguments, name).value_or("");
}

long long millisecondsSince(steady_clock::time_point start) {
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - start)
        .count();
}

// Takes the caller's word for its user's consent out of the arguments.
bool takeConfirmation(Json& arguments) {
    const Json* flag = member(arguments, "confirmed");
    const bool isConfirmed = flag && flag->is_boolean() && flag->get<bool>();
    arguments.erase("confirmed");
    return isConfirmed;
}

} // namespace

ServerTools::ServerTools(ServerToolServices given)
    : services(std::move(given))
    , guardrails(services.clipboard) {}

bool ServerTools::isEnabled() const {
    return services.defaults->boolean("mcpEnabled").value_or(false);
}

Json ServerTools::toolSpecs(std::stop_token stop) {
    if (!isEnabled())
        return Json::array();
    Json specs = ownToolDescriptions();
    try {
        for (Json& spec : forwardedToolDescriptions(services.engine->tools(std::move(stop))))
            specs.push_back(std::move(spec));
    } catch (const BrainError&) {
        log("[tavik-mcp] desktop tools unavailable; discovery will retry");
    } catch (const Cancelled&) {
        // The server stops, and nobody will read the list.
    }
    return specs;
}

ToolReply ServerTools::execute(const std::string& name, const Json& arguments,
                               std::stop_token stop) {
    const auto start = steady_clock::now();
    ToolReply reply;
    try {
        reply = run(name, arguments, std::move(stop));
    } catch (const Cancelled&) {
        reply = failure(cancelledText);
    } catch (const std::exception& error) {
        reply = failure(std::string("Desktop action failed: ") + error.what());
    }
    Audit::record("tool", {{"source", "mcp"},
                           {"name", boundedCharacters(name, maximumNameCharacters)},
                           {"success", !reply.isError},
                           {"ms", millisecondsSince(start)}});
    return reply;
}

ToolReply ServerTools::run(const std::string& name, const Json& arguments, std::stop_token stop) {
    if (!isEnabled() || stop.stop_requested())
        return failure(cancelledText);
    if (name == "focus_app")
        return focusApp(textArgument(arguments, "name"), std::move(stop));
    if (name == "open_url")
        return openUrl(textArgument(arguments, "url"), std::move(stop));
    if (name == "web_search")
        return webSearch(textArgument(arguments, "query"), std::move(stop));
    if (name == "speak")
        return speak(textArgument(arguments, "text"), std::move(stop));
    if (const auto engineTool = forwardedTool(name))
        return forward(*engineTool, arguments, std::move(stop));
    return failure("Unknown tool: " + name);
}

ToolReply ServerTools::focusApp(const std::string& name, std::stop_token stop) {
    if (name.empty())
        return failure("Missing app name.");
    try {
        if (services.applications->open(name, std::move(stop)))
            return {"Opened " + name + "."};
        return failure("Couldn't launch " + name + ": no app of that name was found.");
    } catch (const LaunchError& error) {
        return failure("Couldn't launch " + name + ": " + error.what());
    }
}

ToolReply ServerTools::openUrl(const std::string& url, std::stop_token stop) {
    if (url.empty())
        return failure("Missing URL.");
    if (!services.applications->openUrl(url, std::move(stop)))
        return failure("The URL couldn't be opened.");
    return {"Opened " + url + " in the default browser."};
}

ToolReply ServerTools::webSearch(const std::string& query, std::stop_token stop) {
    if (query.empty())
        return failure("Missing search query.");
    const auto brain = services.makeBrain(stop);
    if (!brain)
        return failure("No API key configured in Tavik.");
    try {
        return {brain->webSearch(query, std::move(stop))};
    } catch (const Cancelled&) {
        throw;
    } catch (const std::exception&) {
        return failure("Web search failed.");
    }
}

ToolReply ServerTools::speak(const std::string& text, std::stop_token stop) {
    if (text.empty())
        return failure("Missing text.");
    try {
        services.announcer->speak(text, std::move(stop));
        return {"Spoken."};
    } catch (const SpeechError& error) {
        return failure(std::string("Couldn't speak: ") + error.what());
    }
}

ToolReply ServerTools::forward(const std::string& engineTool, Json arguments,
                               std::stop_token stop) {
    const bool isConfirmed = takeConfirmation(arguments);
    const ToolCall call{"mcp", engineTool, arguments};
    if (auto held = guardrails.checkMCP(call, isConfirmed, stop))
        return failure(std::move(*held));
    return services.engine->call(engineTool, engineArguments(engineTool, arguments),
                                 std::move(stop));
}

} // namespace tavik
