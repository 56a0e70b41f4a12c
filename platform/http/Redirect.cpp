#include "platform/http/Redirect.h"

#include "platform/http/WebAddress.h"

#include <algorithm>
#include <initializer_list>
#include <strings.h>

namespace tavik {

namespace {

bool isOneOf(const std::string& name, std::initializer_list<const char*> names) {
    return std::any_of(names.begin(), names.end(), [&](const char* candidate) {
        return strcasecmp(candidate, name.c_str()) == 0;
    });
}

bool becomesGet(const std::string& method, int status) {
    if (status == 303)
        return method != "HEAD";
    return method == "POST" && (status == 301 || status == 302);
}

bool staysWithServer(const std::string& from, const std::string& to) {
    const auto old = WebAddress::parse(from);
    const auto next = WebAddress::parse(to);
    return old && next && old->hasOriginOf(*next);
}

} // namespace

bool isRedirect(int status) {
    return status == 301 || status == 302 || status == 303 || status == 307 || status == 308;
}

HttpRequest redirectedRequest(HttpRequest request, int status, const std::string& url) {
    if (becomesGet(request.method, status)) {
        request.method = "GET";
        request.body.clear();
        std::erase_if(request.headers,
                      [](const auto& header) { return isOneOf(header.first, {"Content-Type"}); });
    }
    if (!staysWithServer(request.url, url))
        std::erase_if(request.headers, [](const auto& header) {
            return !isOneOf(header.first,
                            {"User-Agent", "Accept", "Accept-Language", "Content-Type"});
        });
    request.url = url;
    return request;
}

} // namespace tavik
