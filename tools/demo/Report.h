#pragma once

#include "tools/demo/Findings.h"

#include <string>

namespace tavik::demo {

// The stages of the conversation, each with its time and what it took, as far as it came.
std::string timelineOf(const Findings& findings);

} // namespace tavik::demo
