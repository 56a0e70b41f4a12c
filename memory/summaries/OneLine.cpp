#include "memory/summaries/OneLine.h"

#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <algorithm>

namespace tavik {

namespace {

// More than any emoji of a family, and than any syllable.
constexpr std::size_t bytesPerCharacter = 32;

Pattern pattern(std::string_view expression) {
    return *Pattern::compile(expression, Pattern::Case::sensitive);
}

bool continuesCodePoint(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

std::string withoutEndOfClause(const std::string& text) {
    static const Pattern endOfClause = pattern(R"([\s\p{P}]+$)");
    return endOfClause.replaceAll(text, "");
}

// Up to the last gap, unless that takes away most of it: not all scripts have gaps.
std::string withoutDividedWord(const std::string& cut, std::string_view rest) {
    const std::size_t gap = cut.rfind(' ');
    if (rest.starts_with(' ') || gap == std::string::npos || gap < cut.size() / 2)
        return cut;
    return cut.substr(0, gap);
}

} // namespace

std::string oneLine(std::string_view text) {
    // Format characters but the joiners, which emoji and some scripts need.
    static const Pattern hidden =
        pattern(R"([^\P{Cf}\x{200C}\x{200D}]|[\p{Co}\x{E0000}-\x{E0FFF}\x{FFFD}]|\p{M}{9,})");
    static const Pattern gaps = pattern(R"([\s\p{Z}\p{Cc}]+)");
    return trimmed(gaps.replaceAll(hidden.replaceAll(text, ""), " "));
}

std::string_view beginning(std::string_view text, std::size_t bytes) {
    if (text.size() <= bytes)
        return text;
    // No code point has more than three such bytes.
    for (int step = 0; step < 3 && bytes > 0 && continuesCodePoint(text[bytes]); ++step)
        --bytes;
    return text.substr(0, bytes);
}

std::string shortened(const std::string& line, std::size_t limit) {
    const std::string_view visible = beginning(line, limit * bytesPerCharacter);
    if (visible.size() == line.size() && characterCount(visible) <= limit)
        return line;
    const std::string cut = firstCharacters(visible, std::max<std::size_t>(limit, 2) - 1);
    const std::string_view rest = std::string_view(line).substr(cut.size());
    return withoutEndOfClause(withoutDividedWord(cut, rest)) + "…";
}

} // namespace tavik
