#include "brains/BrainKey.h"

#include "app/Paths.h"
#include "platform/files/AtomicFile.h"
#include "platform/text/Text.h"

#include <cstdlib>

namespace tavik {

namespace {

constexpr std::size_t maximumKeyBytes = 64 * 1024;

} // namespace

std::optional<std::string> brainKey(const std::string& provider,
                                    const std::string& environmentVariable) {
    const char* variable = std::getenv(environmentVariable.c_str());
    if (variable && *variable)
        return variable;
    const auto content = readWholeFile(legacyKeyPath(provider), maximumKeyBytes);
    if (!content || !isValidUtf8(*content))
        return std::nullopt;
    std::string key = trimmed(*content);
    return key.empty() ? std::nullopt : std::optional(std::move(key));
}

} // namespace tavik
