#pragma once

#include <string>
#include <string_view>

namespace tavik {

// `text` without the differences that a search ignores: case, diacritics and the ways to spell a
// character. A text contains another one, for people, when its folded form contains the other's
// byte for byte. Bytes that are not UTF-8 become U+FFFD. Safe from any thread.
// Case folding and decomposition are Unicode's (Standard, chapter 3.13; Standard Annex 15).
std::string folded(std::string_view text);

} // namespace tavik
