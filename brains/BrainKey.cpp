#include "brains/BrainKey.h"

#include "brains/LegacyKey.h"
#include "platform/text/Environment.h"
#include "platform/text/Text.h"

namespace tavik {

std::optional<std::string> brainKey(const std::string& provider,
                                    const std::string& environmentVariable, std::stop_token stop,
                                    Keychain& keychain) {
    const std::string kept = trimmed(keychain.get(provider, std::move(stop)).value_or(""));
    if (!kept.empty())
        return kept;
    if (std::string variable = environmentValue(environmentVariable.c_str()); !variable.empty())
        return variable;
    return legacyKey(provider);
}

} // namespace tavik
