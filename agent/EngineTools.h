#pragma once

#include "brains/Brain.h"
#include "mcp/MCPHub.h"

#include <stop_token>
#include <string>
#include <vector>

// The tools of the desktop-control engine, as far as they are offered to the model.
namespace tavik {

// The engine's tools that may be offered, in the engine's order.
std::vector<ToolSpec> allowedEngineTools(const std::vector<MCPClient::ToolInfo>& tools);

// What the engine gets for a call of its tool: `arguments`, as far as they are an object, and the
// request to report what came of it when the tool changes the screen.
Json engineArguments(const std::string& tool, const Json& arguments);

// Runs an engine tool and returns the text for the model; a failure begins with "TOOL ERROR: ".
// Throws Cancelled.
std::string runEngineTool(MCPHub& engine, const ToolCall& call, std::stop_token stop);

} // namespace tavik
