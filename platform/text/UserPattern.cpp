#include "platform/text/UserPattern.h"

#include <unicode/regex.h>
#include <unicode/unistr.h>

namespace tavik {

namespace {

using Instant = UserPattern::Instant;

constexpr std::int64_t linearMemory = 256 * 1024;
constexpr std::uint64_t linearSteps = 400'000'000;

// ICU looks at the clock every ten thousand steps, and one step can take time in proportion to the
// text (a back reference) as compiling can to the expression.
constexpr std::size_t backtrackingExpression = 4096;
constexpr std::size_t backtrackingText = 16 * 1024;
constexpr std::int32_t backtrackingStack = 1024 * 1024;

icu::UnicodeString unicode(std::string_view text) {
    return icu::UnicodeString::fromUTF8(
        icu::StringPiece(text.data(), static_cast<std::int32_t>(text.size())));
}

UBool hasTimeLeft(const void* deadline) {
    return std::chrono::steady_clock::now() < *static_cast<const Instant*>(deadline) ? 1 : 0;
}

UBool goOnMatching(const void* deadline, std::int32_t) {
    return hasTimeLeft(deadline);
}

UBool goOnSearching(const void* deadline, std::int64_t) {
    return hasTimeLeft(deadline);
}

} // namespace

class UserPattern::Backtracking {
public:
    static std::shared_ptr<const Backtracking> compile(std::string_view expression) {
        if (expression.size() > backtrackingExpression)
            return nullptr;
        UErrorCode status = U_ZERO_ERROR;
        UParseError where;
        std::unique_ptr<const icu::RegexPattern> compiled(icu::RegexPattern::compile(
            unicode(expression), UREGEX_CASE_INSENSITIVE, where, status));
        if (U_FAILURE(status))
            return nullptr;
        return std::make_shared<const Backtracking>(std::move(compiled));
    }

    explicit Backtracking(std::unique_ptr<const icu::RegexPattern> compiled)
        : expression(std::move(compiled)) {}

    std::optional<bool> matches(std::string_view text, Instant deadline) const {
        if (text.size() > backtrackingText)
            return std::nullopt;
        const icu::UnicodeString input = unicode(text);
        UErrorCode status = U_ZERO_ERROR;
        const std::unique_ptr<icu::RegexMatcher> matcher(expression->matcher(input, status));
        if (!matcher)
            return std::nullopt;
        matcher->setStackLimit(backtrackingStack, status);
        matcher->setMatchCallback(goOnMatching, &deadline, status);
        matcher->setFindProgressCallback(goOnSearching, &deadline, status);
        const bool found = matcher->find(status);
        if (U_FAILURE(status))
            return std::nullopt;
        return found;
    }

private:
    std::unique_ptr<const icu::RegexPattern> expression;
};

std::optional<UserPattern> UserPattern::compile(std::string_view expression) {
    UserPattern result;
    if (expression.empty())
        return std::nullopt;
    result.linear = Pattern::compile(expression, Pattern::Case::insensitive, linearMemory);
    if (!result.linear)
        result.backtracking = Backtracking::compile(expression);
    if (!result.linear && !result.backtracking)
        return std::nullopt;
    return result;
}

std::optional<bool> UserPattern::matches(std::string_view text, Instant deadline) const {
    if (std::chrono::steady_clock::now() >= deadline)
        return std::nullopt;
    if (backtracking)
        return backtracking->matches(text, deadline);
    if (linear->mostSteps(text.size()) > linearSteps)
        return std::nullopt;
    return linear->matches(text);
}

} // namespace tavik
