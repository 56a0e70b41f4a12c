#pragma once

#include <string>
#include <vector>

namespace tavik {

// Proxies as libcurl takes them, the preferred one first; an empty text stands for none at all.
using ProxyList = std::vector<std::string>;

// What the environment names for addresses of `scheme`: http_proxy or https_proxy, or else
// all_proxy, each also in capitals. Empty when it names nothing. The exceptions of no_proxy are
// libcurl's own business.
ProxyList environmentProxies(const std::string& scheme);

// The proxies that a desktop names, as GIO spells them. Kinds that libcurl does not know are left
// out; where nothing remains, no proxy is used.
ProxyList desktopProxies(const std::vector<std::string>& uris);

} // namespace tavik
