#include "platform/text/Text.h"

#include <fmt/ranges.h>
#include <memory>
#include <unicode/brkiter.h>
#include <unicode/datefmt.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utext.h>
#include <unicode/utf8.h>

namespace tavik {

namespace {

icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

std::string utf8(const icu::UnicodeString& text) {
    std::string result;
    text.toUTF8String(result);
    return result;
}

// A break iterator over UTF-8 bytes, made from a prototype: cloning is far cheaper than loading
// rules.
class Characters {
public:
    explicit Characters(std::string_view bytes) {
        UErrorCode status = U_ZERO_ERROR;
        text =
            utext_openUTF8(nullptr, bytes.data(), static_cast<std::int64_t>(bytes.size()), &status);
        iterator.reset(prototype().clone());
        iterator->setText(text, status);
    }
    ~Characters() {
        iterator.reset();
        utext_close(text);
    }
    Characters(const Characters&) = delete;
    Characters& operator=(const Characters&) = delete;

    // The byte offset of the next boundary, or -1 at the end.
    std::int32_t next() { return iterator->next(); }

private:
    static const icu::BreakIterator& prototype() {
        static const std::unique_ptr<icu::BreakIterator> rules = [] {
            UErrorCode status = U_ZERO_ERROR;
            return std::unique_ptr<icu::BreakIterator>(
                icu::BreakIterator::createCharacterInstance(icu::Locale::getRoot(), status));
        }();
        return *rules;
    }

    UText* text = nullptr;
    std::unique_ptr<icu::BreakIterator> iterator;
};

// Calls `visit(codePoint, begin, end)` for each code point; a faulty byte counts as a negative one.
template<typename Visit>
void forEachCodePoint(std::string_view text, Visit visit) {
    const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());
    const auto length = static_cast<std::int32_t>(text.size());
    for (std::int32_t position = 0; position < length;) {
        const std::int32_t begin = position;
        UChar32 codePoint = 0;
        U8_NEXT(bytes, position, length, codePoint);
        visit(codePoint, begin, position);
    }
}

} // namespace

std::size_t characterCount(std::string_view text) {
    Characters characters(text);
    std::size_t count = 0;
    while (characters.next() != icu::BreakIterator::DONE)
        ++count;
    return count;
}

std::string firstCharacters(std::string_view text, std::size_t count) {
    Characters characters(text);
    std::size_t end = 0;
    for (std::size_t seen = 0; seen < count; ++seen) {
        const std::int32_t boundary = characters.next();
        if (boundary == icu::BreakIterator::DONE)
            break;
        end = static_cast<std::size_t>(boundary);
    }
    return validUtf8(text.substr(0, end));
}

std::string boundedCharacters(std::string_view text, std::size_t count) {
    constexpr std::size_t bytesPerCharacter = 32;
    return firstCharacters(firstBytes(text, count * bytesPerCharacter), count);
}

std::string_view firstBytes(std::string_view text, std::size_t count) {
    if (text.size() <= count)
        return text;
    const auto continuesCodePoint = [&] {
        return (static_cast<unsigned char>(text[count]) & 0xC0) == 0x80;
    };
    // No code point has more than three such bytes.
    for (int step = 0; step < 3 && count > 0 && continuesCodePoint(); ++step)
        --count;
    return text.substr(0, count);
}

bool isValidUtf8(std::string_view text) {
    bool valid = true;
    forEachCodePoint(text, [&](UChar32 codePoint, auto, auto) { valid = valid && codePoint >= 0; });
    return valid;
}

std::string validUtf8(std::string_view text) {
    return isValidUtf8(text) ? std::string(text) : utf8(unicode(text));
}

std::string lowercased(std::string_view text) {
    return utf8(unicode(text).toLower(icu::Locale::getRoot()));
}

std::string capitalized(std::string_view text) {
    return utf8(unicode(text).toTitle(nullptr, icu::Locale::getRoot()));
}

std::string trimmed(std::string_view text) {
    std::int32_t begin = -1;
    std::int32_t end = 0;
    forEachCodePoint(text, [&](UChar32 codePoint, std::int32_t from, std::int32_t to) {
        if (codePoint >= 0 && u_isUWhiteSpace(codePoint))
            return;
        if (begin < 0)
            begin = from;
        end = to;
    });
    if (begin < 0)
        return "";
    return std::string(
        text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(end - begin)));
}

std::vector<std::string> words(std::string_view text) {
    std::vector<std::string> found;
    bool inWord = false;
    forEachCodePoint(text, [&](UChar32 codePoint, std::int32_t from, std::int32_t to) {
        const bool isWordCharacter = codePoint >= 0 && u_isalnum(codePoint);
        if (isWordCharacter) {
            if (!inWord)
                found.emplace_back();
            found.back().append(
                text.substr(static_cast<std::size_t>(from), static_cast<std::size_t>(to - from)));
        }
        inWord = isWordCharacter;
    });
    return found;
}

std::vector<std::string> splitDroppingEmpty(std::string_view text, char separator) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const std::size_t end = std::min(text.find(separator), text.size());
        if (end > 0)
            parts.emplace_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return parts;
}

std::string joined(const std::vector<std::string>& parts, std::string_view separator) {
    return fmt::format("{}", fmt::join(parts, separator));
}

std::string mediumDateShortTime(std::chrono::system_clock::time_point time) {
    const std::unique_ptr<icu::DateFormat> format(
        icu::DateFormat::createDateTimeInstance(icu::DateFormat::kMedium, icu::DateFormat::kShort));
    icu::UnicodeString text;
    if (!format)
        return "";
    format->format(
        static_cast<UDate>(
            std::chrono::duration_cast<std::chrono::milliseconds>(time.time_since_epoch()).count()),
        text);
    return utf8(text);
}

} // namespace tavik
