#pragma once

#include "brains/Keychain.h"

#include <optional>
#include <stop_token>
#include <string>

namespace tavik {

// The user's key for `provider`: from the keyring, else from the environment variable, else from
// the provider's key file; without the white space around it. Never logged. Waits a second at most
// for a keyring that hangs; throws Cancelled.
std::optional<std::string> brainKey(const std::string& provider,
                                    const std::string& environmentVariable,
                                    std::stop_token stop = {},
                                    Keychain& keychain = Keychain::standard());

} // namespace tavik
