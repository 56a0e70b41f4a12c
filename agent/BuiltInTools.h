#pragma once

#include "brains/Brain.h"

#include <vector>

namespace tavik {

// The tools that every conversation offers to the model, as it sees them.
std::vector<ToolSpec> builtInToolSpecs();

} // namespace tavik
