#pragma once

#include <string>
#include <string_view>

namespace tavik {

// A text as the protocol carries it after SPEAK: lines that end in CR LF, a dot doubled at the
// begin of a line, a line with a single dot at the end. Control characters become spaces.
std::string ssipText(std::string_view text);

} // namespace tavik
