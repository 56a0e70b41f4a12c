#pragma once

#include <string_view>

namespace tavik {

// Names the calling thread for debuggers and `top`. Of a dotted name such as "ai.tavik.log" the
// system keeps the last 15 bytes.
void nameThisThread(std::string_view name);

} // namespace tavik
