#pragma once

#include <string_view>

namespace tavik {

// Whether a header can carry `key` and a provider could have issued it: visible ASCII characters
// without white space, at most 4096 of them.
bool isPlausibleKey(std::string_view key);

} // namespace tavik
