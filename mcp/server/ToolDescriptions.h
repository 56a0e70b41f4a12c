#pragma once

#include "mcp/MCPClient.h"
#include "platform/json/Json.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

// The tools as external agents see them.
namespace tavik {

// Our own.
Json ownToolDescriptions();

// Those of the engine's tools that are forwarded, under the names that agents know.
Json forwardedToolDescriptions(const std::vector<MCPClient::ToolInfo>& engineTools);

// The engine's tool behind an agent's name for it; nothing for a name that is not forwarded.
std::optional<std::string> forwardedTool(std::string_view exposedName);

} // namespace tavik
