#pragma once

#include <stop_token>

namespace tavik {

// "--selftest-mcp": serves external agents, without anything else of the program, until it is
// stopped, at a socket of its own, so that it never takes over the one of a running Tavik.
void runMCPSelfTest(std::stop_token stop);

} // namespace tavik
