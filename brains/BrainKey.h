#pragma once

#include <optional>
#include <string>

namespace tavik {

// The user's key for `provider`: from the environment variable, else from the provider's key file.
// Never logged.
std::optional<std::string> brainKey(const std::string& provider,
                                    const std::string& environmentVariable);

} // namespace tavik
