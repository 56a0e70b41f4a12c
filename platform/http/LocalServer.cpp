#include "platform/http/LocalServer.h"

#include "platform/http/WebAddress.h"
#include "platform/text/Text.h"

#include <utility>

namespace tavik {

namespace {

constexpr std::size_t longestAddress = 300;

std::string withoutEnding(std::string address, const std::string& ending) {
    if (address.ends_with(ending))
        address.resize(address.size() - ending.size());
    while (address.ends_with('/'))
        address.pop_back();
    return address;
}

} // namespace

std::optional<std::string> localServer(const std::string& written,
                                       const std::vector<std::string>& endings) {
    std::string server = trimmed(written);
    if (server.find("://") == std::string::npos)
        server = "http://" + server;
    server = withoutEnding(std::move(server), "");
    for (const std::string& ending : endings)
        server = withoutEnding(std::move(server), ending);
    // What is contacted is what has been checked: only a path is added to it.
    const auto address = server.size() <= longestAddress ? WebAddress::parse(server) : std::nullopt;
    if (!address || !address->isLoopback() || address->hasUser || address->hasQueryOrFragment)
        return std::nullopt;
    return server;
}

} // namespace tavik
