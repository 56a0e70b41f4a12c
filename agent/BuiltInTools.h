#pragma once

#include "agent/ToolServices.h"
#include "brains/Brain.h"

#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

namespace tavik {

// The tools that every conversation offers to the model, as it sees them.
std::vector<ToolSpec> builtInToolSpecs();

// Whether a call of this tool ends the run instead of being carried out.
bool endsRun(std::string_view tool);

// Runs a built-in tool and returns the text for the model; nothing when it is none. What fails
// inside has a text, too. Throws Cancelled.
std::optional<std::string> runBuiltInTool(const ToolCall& call, const ToolServices& services,
                                          Brain& brain, std::stop_token stop);

} // namespace tavik
