#pragma once

#include "platform/text/UserPattern.h"

#include <string>
#include <string_view>
#include <vector>

namespace tavik {

// The user's own exemptions from the guardrails: a file with a JSON object whose member "allow" is
// a list of regular expressions. Immutable and safe from any thread.
class GuardAllowlist {
public:
    // Empty when there is no such file. Expressions that do not compile are skipped.
    explicit GuardAllowlist(const std::string& path);

    // Whether an expression matches a part of `text`. What cannot be told within a bounded time
    // exempts nothing.
    bool exempts(std::string_view text) const;

private:
    std::vector<UserPattern> patterns;
};

} // namespace tavik
