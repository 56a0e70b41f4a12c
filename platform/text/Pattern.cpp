#include "platform/text/Pattern.h"

#include "platform/text/Text.h"

#include <re2/re2.h>

namespace tavik {

namespace {

re2::StringPiece piece(std::string_view text) {
    return {text.data(), text.size()};
}

std::string literal(std::string_view replacement) {
    std::string escaped;
    for (const char character : replacement) {
        if (character == '\\')
            escaped += '\\';
        escaped += character;
    }
    return escaped;
}

} // namespace

Pattern::Pattern(std::shared_ptr<const re2::RE2> compiled)
    : expression(std::move(compiled)) {}

std::optional<Pattern> Pattern::compile(std::string_view expression, Case letterCase) {
    re2::RE2::Options options;
    options.set_case_sensitive(letterCase == Case::sensitive);
    options.set_log_errors(false);
    auto compiled = std::make_shared<const re2::RE2>(piece(expression), options);
    if (!compiled->ok())
        return std::nullopt;
    return Pattern(std::move(compiled));
}

bool Pattern::matches(std::string_view text) const {
    return re2::RE2::PartialMatch(piece(validUtf8(text)), *expression);
}

std::optional<std::string> Pattern::firstMatch(std::string_view text) const {
    const std::string valid = validUtf8(text);
    re2::StringPiece match;
    if (!expression->Match(piece(valid), 0, valid.size(), re2::RE2::UNANCHORED, &match, 1))
        return std::nullopt;
    return std::string(match.data(), match.size());
}

std::string Pattern::replaceAll(std::string_view text, std::string_view replacement) const {
    std::string result = validUtf8(text);
    re2::RE2::GlobalReplace(&result, *expression, literal(replacement));
    return result;
}

} // namespace tavik
