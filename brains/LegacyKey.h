#pragma once

#include <optional>
#include <string>

namespace tavik {

// No key is longer.
inline constexpr std::size_t maximumKeyBytes = 64 * 1024;

// The key in the provider's key file, without the white space around it; none when there is no such
// file, or no text in it.
std::optional<std::string> legacyKey(const std::string& provider);

} // namespace tavik
