#include "agent/PageDecoding.h"

#include "platform/text/Pattern.h"
#include "platform/text/Text.h"

#include <memory>
#include <unicode/ucnv.h>

namespace tavik {

namespace {

using Converter = std::unique_ptr<UConverter, decltype(&ucnv_close)>;

// Where a page's own declaration must stand.
constexpr std::size_t declarationBytes = 1024;
constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

// What stands behind the "=" of the first match, without quotes.
std::string charsetIn(std::string_view text, const Pattern& declaration) {
    const std::string match = declaration.firstMatch(text).value_or("");
    std::string name = lowercased(match.substr(match.rfind('=') + 1));
    return trimmed(name.substr(std::min(name.find_first_not_of(" \t\"'"), name.size())));
}

std::string charsetOfHeader(std::string_view contentType) {
    static const Pattern pattern =
        *Pattern::compile(R"(charset\s*=\s*["']?[^"'\s;]+)", Pattern::Case::insensitive);
    return charsetIn(contentType, pattern);
}

std::string charsetOfPage(std::string_view bytes) {
    static const Pattern pattern = *Pattern::compile(R"(<meta[^>]*charset\s*=\s*["']?[^"'\s;/>]+)",
                                                     Pattern::Case::insensitive);
    return charsetIn(bytes.substr(0, declarationBytes), pattern);
}

bool hasUtf16Mark(std::string_view bytes) {
    return bytes.starts_with("\xFF\xFE") || bytes.starts_with("\xFE\xFF");
}

std::string declaredCharset(std::string_view bytes, std::string_view contentType) {
    std::string name = charsetOfHeader(contentType);
    if (name.empty())
        name = hasUtf16Mark(bytes) ? "utf-16" : charsetOfPage(bytes);
    // Pages that say Latin-1 mean its superset, as browsers read them.
    return name == "iso-8859-1" || name == "latin1" || name == "us-ascii" ? "windows-1252" : name;
}

Converter openConverter(const std::string& charset) {
    UErrorCode status = U_ZERO_ERROR;
    Converter converter(ucnv_open(charset.c_str(), &status), &ucnv_close);
    if (converter)
        ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                            &status);
    return U_SUCCESS(status) ? std::move(converter) : Converter(nullptr, &ucnv_close);
}

std::optional<std::string> convert(UConverter* converter, const std::string& bytes) {
    std::string text(bytes.size() * 3, '\0');
    while (true) {
        UErrorCode status = U_ZERO_ERROR;
        const std::int32_t length = ucnv_toAlgorithmic(
            UCNV_UTF8, converter, text.data(), static_cast<std::int32_t>(text.size()), bytes.data(),
            static_cast<std::int32_t>(bytes.size()), &status);
        const bool tooShort = status == U_BUFFER_OVERFLOW_ERROR;
        if (!tooShort && U_FAILURE(status))
            return std::nullopt;
        text.resize(static_cast<std::size_t>(length));
        if (!tooShort)
            return text;
    }
}

std::optional<std::string> decode(const std::string& bytes, const std::string& charset) {
    if (!charset.empty() && charset != "utf-8" && charset != "utf8")
        if (const Converter converter = openConverter(charset))
            return convert(converter.get(), bytes);
    if (!isValidUtf8(bytes))
        return std::nullopt;
    return bytes;
}

} // namespace

std::optional<std::string> decodedPage(const std::string& bytes, std::string_view contentType) {
    auto text = decode(bytes, declaredCharset(bytes, contentType));
    if (!text || text->find('\0') != std::string::npos) // no text holds this character
        return std::nullopt;
    if (text->starts_with(byteOrderMark))
        text->erase(0, byteOrderMark.size());
    return text;
}

} // namespace tavik
