#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavik {

// `text` on one line with single spaces, without what cannot be seen: control characters, marks
// that turn the direction of writing, hidden tags, and heaps of accents. What is not UTF-8 is
// dropped.
std::string oneLine(std::string_view text);

// The first `bytes` of a text, or a little less so as not to divide a code point.
std::string_view beginning(std::string_view text, std::size_t bytes);

// At most `limit` characters of a single line, and at least two; what is longer ends between words
// if it can, with "…".
std::string shortened(const std::string& line, std::size_t limit);

} // namespace tavik
