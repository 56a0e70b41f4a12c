#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tavik {

// The sentences of a single line, each with its full stop and without white space around it.
// A title such as "Dr." ends none. (Unicode Standard Annex 29, section 5.)
std::vector<std::string> sentences(std::string_view line);

} // namespace tavik
