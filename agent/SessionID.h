#pragma once

#include <string>

namespace tavik {

// A random identifier (UUID, version 4) for a conversation.
std::string makeSessionID();

} // namespace tavik
