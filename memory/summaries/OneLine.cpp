#include "memory/summaries/OneLine.h"

#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <algorithm>

namespace tavik {

namespace {

Pattern pattern(std::string_view expression) {
    return *Pattern::compile(expression, Pattern::Case::sensitive);
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

std::string shortened(const std::string& line, std::size_t limit) {
    if (boundedCharacters(line, limit) == line)
        return line;
    const std::string cut = boundedCharacters(line, std::max<std::size_t>(limit, 2) - 1);
    const std::string_view rest = std::string_view(line).substr(cut.size());
    return withoutEndOfClause(withoutDividedWord(cut, rest)) + "…";
}

} // namespace tavik
