#pragma once

#include <chrono>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

// Texts as people see them. All texts are UTF-8; bytes that are not are replaced by U+FFFD. A
// character is an extended grapheme cluster (Unicode Standard Annex 29). Safe from any thread.
namespace tavik {

std::size_t characterCount(std::string_view text);

// The first `count` characters; the whole text when it has no more.
std::string firstCharacters(std::string_view text, std::size_t count);

// The same, but of at most 32 bytes a character: a hostile text may spell a single one with any
// number of marks.
std::string boundedCharacters(std::string_view text, std::size_t count);

// At most the first `count` bytes; a code point is not cut.
std::string_view firstBytes(std::string_view text, std::size_t count);

// `text` with bytes that are not UTF-8 replaced.
std::string validUtf8(std::string_view text);

bool isValidUtf8(std::string_view text);

std::string lowercased(std::string_view text);

// The first letter of each word in upper case, the rest in lower case.
std::string capitalized(std::string_view text);

// Without white space and line ends at both ends.
std::string trimmed(std::string_view text);

// The pieces between the characters that are neither letters nor digits; empty pieces are dropped.
std::vector<std::string> words(std::string_view text);

// The pieces of `text` between single `separator`s, empty ones dropped.
std::vector<std::string> splitDroppingEmpty(std::string_view text, char separator);

std::string joined(const std::vector<std::string>& parts, std::string_view separator);

// Date in the medium style and time in the short style of the user's locale and time zone.
std::string mediumDateShortTime(std::chrono::system_clock::time_point time);

} // namespace tavik
