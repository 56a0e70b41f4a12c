#include "platform/http/ProxyList.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <string_view>

namespace tavik {

namespace {

std::string inCapitals(std::string name) {
    std::transform(name.begin(), name.end(), name.begin(),
                   [](unsigned char letter) { return static_cast<char>(std::toupper(letter)); });
    return name;
}

struct Kind {
    std::string_view prefix;      // GIO's
    std::string_view replacement; // libcurl's
};

// A proxy that a desktop names resolves names itself, so that they do not leave by another way.
constexpr Kind kinds[] = {
    {"direct://", ""},           {"http://", "http://"},     {"https://", "https://"},
    {"socks5://", "socks5h://"}, {"socks://", "socks5h://"}, {"socks4a://", "socks4a://"},
    {"socks4://", "socks4://"},
};

std::string respelled(const std::string& uri, const Kind& kind) {
    if (kind.replacement.empty())
        return "";
    return std::string(kind.replacement) + uri.substr(kind.prefix.size());
}

} // namespace

ProxyList environmentProxies(const std::string& scheme) {
    for (const std::string& name : {scheme + "_proxy", std::string("all_proxy")})
        for (const std::string& spelled : {name, inCapitals(name)})
            if (const char* proxy = std::getenv(spelled.c_str()); proxy && *proxy)
                return {proxy};
    return {};
}

ProxyList desktopProxies(const std::vector<std::string>& uris) {
    ProxyList proxies;
    for (const std::string& uri : uris)
        for (const Kind& kind : kinds)
            if (uri.starts_with(kind.prefix))
                proxies.push_back(respelled(uri, kind));
    return proxies.empty() ? ProxyList{""} : proxies;
}

} // namespace tavik
