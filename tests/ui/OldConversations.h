#pragma once

#include <string>

namespace tavik {

// Writes so many conversations into the store at `path`, all at once, an hour apart: the user's
// turn "remind me of item 7", and the summary "You asked for item 7." after `prefix`.
void writeOldConversations(const std::string& path, int count, const std::string& prefix = "");

} // namespace tavik
