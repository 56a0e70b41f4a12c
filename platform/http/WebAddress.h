#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

// An http or https address, taken apart by the same parser that sends the requests.
struct WebAddress {
    // Nothing for anything else, a missing scheme included.
    static std::optional<WebAddress> parse(const std::string& url);

    std::string scheme; // in lower case
    std::string host;   // in lower case; an IPv6 address stands in brackets
    std::string port;   // the scheme's own when the address names none
    bool hasUser = false;
    bool hasQueryOrFragment = false;

    bool isEncrypted() const { return scheme == "https"; }
    // This machine: 127.0.0.0/8, localhost or [::1].
    bool isLoopback() const;
    // Scheme, host and port as an address.
    std::string origin() const;
    // Whether both lead to the same server in the same way.
    bool hasOriginOf(const WebAddress& other) const { return origin() == other.origin(); }
};

// `text` as one component of an address's path, with everything but letters, digits and -._~
// escaped.
std::string pathComponent(std::string_view text);

} // namespace tavik
