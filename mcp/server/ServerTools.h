#pragma once

#include "agent/Guardrails.h"
#include "brains/MakeBrain.h"
#include "mcp/MCPHub.h"
#include "mcp/server/Announcer.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/desktop/Applications.h"
#include "platform/desktop/Clipboard.h"

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

namespace tavik {

// What the tools for external agents work with; as it stands, the real things. All of it outlives
// them.
struct ServerToolServices {
    UserDefaults* defaults = &UserDefaults::standard();
    Applications* applications = &desktopApplications();
    MCPHub* engine = &MCPHub::shared();
    Announcer* announcer = &Announcer::shared();
    ClipboardReader clipboard = clipboardText;
    std::function<std::unique_ptr<Brain>(std::stop_token)> makeBrain = [](std::stop_token stop) {
        return tavik::makeBrain(std::move(stop));
    };
};

// The tools that external agents are offered: four of our own, and four of the desktop-control
// engine under names of their own. Safe from any thread.
class ServerTools {
public:
    explicit ServerTools(ServerToolServices services);

    // Whether the user lets external agents in, at this moment.
    bool isEnabled() const;

    // The descriptions for "tools/list". Without the engine, or stopped while it starts, our own
    // four; none while agents are not let in.
    Json toolSpecs(std::stop_token stop);

    // Runs a tool and writes the audit record. Every failure is a reply; a stop is one.
    ToolReply execute(const std::string& name, const Json& arguments, std::stop_token stop);

private:
    ToolReply run(const std::string& name, const Json& arguments, std::stop_token stop);
    ToolReply focusApp(const std::string& name, std::stop_token stop);
    ToolReply openUrl(const std::string& url, std::stop_token stop);
    ToolReply webSearch(const std::string& query, std::stop_token stop);
    ToolReply speak(const std::string& text, std::stop_token stop);
    ToolReply forward(const std::string& engineTool, Json arguments, std::stop_token stop);

    const ServerToolServices services;
    const Guardrails guardrails;
};

} // namespace tavik
