#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tavik {

// `text` on one line with single spaces, without what cannot be seen: control characters, marks
// that turn the direction of writing, hidden tags, and heaps of accents. What is not UTF-8 is
// dropped.
std::string oneLine(std::string_view text);

// At most `limit` characters of a single line, and at least two; what is longer ends between words
// if it can, with "…".
std::string shortened(const std::string& line, std::size_t limit);

} // namespace tavik
