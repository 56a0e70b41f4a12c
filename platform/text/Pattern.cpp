#include "platform/text/Pattern.h"

#include "platform/text/Text.h"

#include <re2/re2.h>

namespace tavik {

namespace {

re2::StringPiece piece(std::string_view text) {
    return {text.data(), text.size()};
}

// The text itself, or a copy in `storage` when it has faulty bytes.
re2::StringPiece validPiece(std::string_view text, std::string& storage) {
    if (isValidUtf8(text))
        return piece(text);
    storage = validUtf8(text);
    return piece(storage);
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

std::optional<Pattern> Pattern::compile(std::string_view expression, Case letterCase,
                                        std::int64_t memory) {
    re2::RE2::Options options;
    options.set_case_sensitive(letterCase == Case::sensitive);
    options.set_log_errors(false);
    options.set_max_mem(memory);
    auto compiled = std::make_shared<const re2::RE2>(piece(expression), options);
    if (!compiled->ok())
        return std::nullopt;
    return Pattern(std::move(compiled));
}

bool Pattern::matches(std::string_view text) const {
    std::string storage;
    return re2::RE2::PartialMatch(validPiece(text, storage), *expression);
}

std::uint64_t Pattern::mostSteps(std::size_t bytes) const {
    return static_cast<std::uint64_t>(expression->ProgramSize()) * (bytes + 1);
}

std::optional<std::string> Pattern::firstMatch(std::string_view text) const {
    std::string storage;
    const re2::StringPiece valid = validPiece(text, storage);
    re2::StringPiece match;
    if (!expression->Match(valid, 0, valid.size(), re2::RE2::UNANCHORED, &match, 1))
        return std::nullopt;
    return std::string(match.data(), match.size());
}

std::string Pattern::replaceAll(std::string_view text, std::string_view replacement) const {
    std::string result = validUtf8(text);
    re2::RE2::GlobalReplace(&result, *expression, literal(replacement));
    return result;
}

} // namespace tavik
