#include "memory/summaries/LocalModelAddress.h"

#include "platform/http/WebAddress.h"
#include "platform/text/Text.h"

namespace tavik {

namespace {

constexpr std::size_t longestAddress = 300;

std::string withoutEnding(std::string address, std::string_view ending) {
    if (address.ends_with(ending))
        address.resize(address.size() - ending.size());
    while (address.ends_with('/'))
        address.pop_back();
    return address;
}

} // namespace

std::optional<std::string> localModelServer(const std::string& setting) {
    std::string server = trimmed(setting);
    if (server.find("://") == std::string::npos)
        server = "http://" + server;
    for (const char* ending : {"", "/chat/completions", "/models", "/v1"})
        server = withoutEnding(std::move(server), ending);
    // What is contacted is what has been checked: only a path is added to it.
    const auto address = server.size() <= longestAddress ? WebAddress::parse(server) : std::nullopt;
    if (!address || !address->isLoopback() || address->hasUser || address->hasQueryOrFragment)
        return std::nullopt;
    return server;
}

} // namespace tavik
