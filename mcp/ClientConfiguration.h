#pragma once

#include <string>

namespace tavik {

// What a user pastes into the configuration of a coding agent, so that the agent starts our shim: a
// JSON object on several lines.
std::string mcpConfigJSON();

} // namespace tavik
