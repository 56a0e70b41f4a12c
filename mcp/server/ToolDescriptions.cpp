#include "mcp/server/ToolDescriptions.h"

#include <algorithm>
#include <array>
#include <set>

namespace tavik {

namespace {

struct Forwarded {
    const char* exposedName;
    const char* engineTool;
};

constexpr std::array<Forwarded, 4> forwarded = {{{"snapshot", "ax_snapshot"},
                                                 {"click", "click_element"},
                                                 {"type", "type_text"},
                                                 {"hotkey", "press_key"}}};

constexpr const char* forwardedNote =
    " (Executed by Tavik on this Mac; irreversible actions require user confirmation.)";
constexpr const char* confirmedDescription =
    "Set true only after the user explicitly confirmed an action Tavik flagged as irreversible.";

Json ownTool(const char* name, const char* description, const char* property,
             const char* propertyDescription) {
    return {
        {"name", name},
        {"description", description},
        {"inputSchema",
         {{"type", "object"},
          {"properties", {{property, {{"type", "string"}, {"description", propertyDescription}}}}},
          {"required", Json::array({property})}}}};
}

// An engine's schema may be anything; what it lacks of an object's is added.
Json withConfirmation(const Json& engineSchema) {
    Json schema = engineSchema.is_object() ? engineSchema : Json::object();
    if (!schema.contains("type"))
        schema["type"] = "object";
    if (!schema.contains("properties") || !schema["properties"].is_object())
        schema["properties"] = Json::object();
    schema["properties"]["confirmed"] = {{"type", "boolean"},
                                         {"description", confirmedDescription}};
    return schema;
}

} // namespace

Json ownToolDescriptions() {
    return Json::array(
        {ownTool("focus_app",
                 "Launch a Mac app or bring it to the front by name (e.g. 'Cursor', 'Safari', "
                 "'Terminal').",
                 "name", "App display name"),
         ownTool("open_url", "Open an http(s) URL in the default browser.", "url",
                 "Full URL including https://"),
         ownTool("web_search", "Search the live web and get a concise, sourced answer.", "query",
                 "What to search for"),
         ownTool("speak",
                 "Say something out loud through Tavik's voice (for eyes-off notifications, e.g. "
                 "'the build finished').",
                 "text", "Plain prose to speak")});
}

Json forwardedToolDescriptions(const std::vector<MCPClient::ToolInfo>& engineTools) {
    Json descriptions = Json::array();
    std::set<std::string> described; // an engine that lists a tool twice has one of that name
    for (const MCPClient::ToolInfo& tool : engineTools) {
        const auto* entry =
            std::find_if(forwarded.begin(), forwarded.end(),
                         [&](const Forwarded& each) { return tool.name == each.engineTool; });
        if (entry != forwarded.end() && described.insert(tool.name).second)
            descriptions.push_back({{"name", entry->exposedName},
                                    {"description", tool.description + forwardedNote},
                                    {"inputSchema", withConfirmation(tool.inputSchema)}});
    }
    return descriptions;
}

std::optional<std::string> forwardedTool(std::string_view exposedName) {
    const auto* entry =
        std::find_if(forwarded.begin(), forwarded.end(),
                     [&](const Forwarded& each) { return exposedName == each.exposedName; });
    return entry == forwarded.end() ? std::nullopt : std::optional<std::string>(entry->engineTool);
}

} // namespace tavik
