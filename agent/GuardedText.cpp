#include "agent/GuardedText.h"

#include <algorithm>
#include <cstdint>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

namespace tavik {

namespace {

bool isPlainByte(char byte) {
    return (byte >= ' ' && byte <= '~') || byte == '\n' || byte == '\t' || byte == '\r';
}

bool isInvisible(UChar32 codePoint) {
    constexpr UChar32 replacementCharacter = 0xFFFD;
    return codePoint < 0 || codePoint == replacementCharacter || u_iscntrl(codePoint) ||
           u_hasBinaryProperty(codePoint, UCHAR_DEFAULT_IGNORABLE_CODE_POINT);
}

std::string withoutDisguise(const std::string& text) {
    std::string result;
    result.reserve(text.size());
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t position = 0; position < length;) {
        const auto begin = static_cast<std::size_t>(position);
        UChar32 codePoint = 0;
        U8_NEXT(text.data(), position, length, codePoint);
        const std::size_t size = static_cast<std::size_t>(position) - begin;
        if (size == 1 && isPlainByte(text[begin]))
            result += text[begin];
        else if (codePoint >= 0 && u_isUWhiteSpace(codePoint))
            result += ' ';
        else if (!isInvisible(codePoint))
            result.append(text, begin, size);
    }
    return result;
}

} // namespace

GuardedText::GuardedText(std::string text)
    : original(std::move(text)) {
    if (!std::all_of(original.begin(), original.end(), isPlainByte))
        undisguised = withoutDisguise(original);
    if (undisguised == original)
        undisguised.reset();
}

bool GuardedText::matches(const Pattern& pattern) const {
    return pattern.matches(original) || (undisguised && pattern.matches(*undisguised));
}

std::optional<std::string> GuardedText::firstMatch(const Pattern& pattern) const {
    auto match = pattern.firstMatch(original);
    if (!match && undisguised)
        match = pattern.firstMatch(*undisguised);
    return match;
}

} // namespace tavik
