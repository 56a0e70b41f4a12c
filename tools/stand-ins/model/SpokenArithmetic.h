#pragma once

#include <optional>
#include <string>

namespace tavik {

// The result of a sum such as "what is twenty one plus three", "seven times 6" or "ten minus four",
// as a number. Nothing when the text holds none.
std::optional<long long> spokenResult(const std::string& text);

} // namespace tavik
