#include "brains/LegacyKey.h"

#include "app/Paths.h"
#include "platform/files/AtomicFile.h"
#include "platform/text/Text.h"

namespace tavik {

std::optional<std::string> legacyKey(const std::string& provider) {
    const auto content = readWholeFile(legacyKeyPath(provider), maximumKeyBytes);
    if (!content || !isValidUtf8(*content))
        return std::nullopt;
    std::string key = trimmed(*content);
    return key.empty() ? std::nullopt : std::optional(std::move(key));
}

} // namespace tavik
