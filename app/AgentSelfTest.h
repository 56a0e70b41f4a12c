#pragma once

#include <stop_token>
#include <string>

namespace tavik {

// Carries out one task with the configured brain and logs the answer, or why there is none. Blocks.
void runAgentSelfTest(const std::string& task, std::stop_token stop);

} // namespace tavik
