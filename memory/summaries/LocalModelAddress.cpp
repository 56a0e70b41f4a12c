#include "memory/summaries/LocalModelAddress.h"

#include "platform/http/LocalServer.h"

namespace tavik {

std::optional<std::string> localModelServer(const std::string& setting) {
    return localServer(setting, {"/chat/completions", "/models", "/v1"});
}

} // namespace tavik
