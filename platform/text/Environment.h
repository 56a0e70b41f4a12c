#pragma once

#include <string>

namespace tavik {

// Of the environment; empty for a variable that is not set.
std::string environmentValue(const char* name);

} // namespace tavik
