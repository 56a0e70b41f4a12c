#pragma once

#include "platform/text/Pattern.h"

#include <chrono>
#include <memory>
#include <optional>
#include <string_view>

namespace tavik {

// A regular expression that a user wrote, in which letters of either case are alike. RE2 matches it
// where it can; what RE2 lacks, such as a look-ahead or a back reference, is left to ICU
// (https://unicode-org.github.io/icu/userguide/strings/regexp.html), which may take for ever and
// is therefore stopped. Immutable and safe from any thread.
class UserPattern {
public:
    using Instant = std::chrono::steady_clock::time_point;

    // Nothing when neither of them takes the expression, or when it is empty.
    static std::optional<UserPattern> compile(std::string_view expression);

    // Whether the expression matches a part of `text`. Nothing when that cannot be told: the
    // deadline is over, or the text is too long for such an expression.
    std::optional<bool> matches(std::string_view text, Instant deadline) const;

private:
    class Backtracking;

    std::optional<Pattern> linear; // when RE2 takes the expression
    std::shared_ptr<const Backtracking> backtracking;
};

} // namespace tavik
