#pragma once

#include "platform/text/Pattern.h"

#include <optional>
#include <string>

namespace tavik {

// A text in which the safety rules look for something dangerous. They look twice: at the text as it
// stands, and at a copy in which nothing is disguised. In the copy, characters that do not show
// (format and control characters, faulty bytes) are left out and every kind of blank is a plain
// one. What matches either of them counts.
class GuardedText {
public:
    explicit GuardedText(std::string text);

    const std::string& asItStands() const { return original; }

    bool matches(const Pattern& pattern) const;
    // The first match in the text as it stands, or else in the copy.
    std::optional<std::string> firstMatch(const Pattern& pattern) const;

private:
    std::string original;
    std::optional<std::string> undisguised; // where it differs
};

} // namespace tavik
