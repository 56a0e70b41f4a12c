#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace re2 {
class RE2;
}

namespace tavik {

// A regular expression in RE2's syntax (https://github.com/google/re2/wiki/Syntax), matched in time
// linear in the text whatever the text is. Texts that are not UTF-8 are matched with the faulty
// bytes replaced. Immutable and safe from any thread.
class Pattern {
public:
    enum class Case { sensitive, insensitive };
    static constexpr std::int64_t usualMemory = 8 * 1024 * 1024;

    // Nothing when the expression does not compile, or not into about `memory` bytes. A match that
    // finds too little of them left goes on more slowly; it never ends without a result.
    static std::optional<Pattern> compile(std::string_view expression, Case letterCase,
                                          std::int64_t memory = usualMemory);

    bool matches(std::string_view text) const;
    // How many steps, of some nanoseconds each, a match in so many bytes takes at the most.
    std::uint64_t mostSteps(std::size_t bytes) const;
    // The text of the first match.
    std::optional<std::string> firstMatch(std::string_view text) const;
    // `text` with every match replaced by `replacement`, taken literally.
    std::string replaceAll(std::string_view text, std::string_view replacement) const;

private:
    explicit Pattern(std::shared_ptr<const re2::RE2> compiled);

    std::shared_ptr<const re2::RE2> expression;
};

} // namespace tavik
