#pragma once

#include <string>
#include <string_view>

namespace tavik {

// A model's answer without what it was told to leave out: labels ("Note:", "Sure, here is the
// summary:"), bullets, emphasis, and quotes around the whole of it, in any order and a few times
// over. What remains keeps its line ends.
std::string withoutPreamble(std::string_view answer);

// The same on one line, up to the end of the first paragraph.
std::string stripPreamble(std::string_view answer);

} // namespace tavik
