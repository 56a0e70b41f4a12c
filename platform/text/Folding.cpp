#include "platform/text/Folding.h"

#include <algorithm>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace tavik {

namespace {

// Signs of a vowel or of none belong to the letter in the scripts of India; accents and points do
// not.
bool isDiacritic(UChar32 character) {
    constexpr int firstOfAccents = 10;
    return u_getCombiningClass(character) >= firstOfAccents;
}

bool isAscii(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](char letter) { return static_cast<unsigned char>(letter) < 0x80; });
}

std::string foldedAscii(std::string_view text) {
    std::string result(text);
    for (char& letter : result)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return result;
}

icu::UnicodeString withoutDiacritics(const icu::UnicodeString& decomposed) {
    icu::UnicodeString result;
    for (std::int32_t position = 0; position < decomposed.length();
         position = decomposed.moveIndex32(position, 1)) {
        const UChar32 character = decomposed.char32At(position);
        if (!isDiacritic(character))
            result.append(character);
    }
    return result;
}

} // namespace

std::string folded(std::string_view text) {
    if (isAscii(text))
        return foldedAscii(text);
    UErrorCode status = U_ZERO_ERROR;
    const icu::Normalizer2* decomposition = icu::Normalizer2::getNFDInstance(status);
    icu::UnicodeString unicode = icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
    unicode.foldCase(U_FOLD_CASE_DEFAULT);
    std::string result;
    withoutDiacritics(decomposition->normalize(unicode, status)).toUTF8String(result);
    return result;
}

} // namespace tavik
