#include "platform/http/WebAddress.h"

#include <arpa/inet.h>
#include <curl/curl.h>
#include <fmt/format.h>
#include <memory>

namespace tavik {

namespace {

using ParsedUrl = std::unique_ptr<CURLU, decltype(&curl_url_cleanup)>;

std::optional<std::string> part(const ParsedUrl& url, CURLUPart which, unsigned flags = 0) {
    char* text = nullptr;
    if (curl_url_get(url.get(), which, &text, flags) != CURLUE_OK)
        return std::nullopt;
    const std::unique_ptr<char, decltype(&curl_free)> owner(text, curl_free);
    return std::string(text);
}

std::string asciiLowercased(std::string text) {
    for (char& letter : text)
        if (letter >= 'A' && letter <= 'Z')
            letter = static_cast<char>(letter - 'A' + 'a');
    return text;
}

bool isUnreserved(char letter) {
    return (letter >= 'a' && letter <= 'z') || (letter >= 'A' && letter <= 'Z') ||
           (letter >= '0' && letter <= '9') || std::string_view("-._~").find(letter) < 4;
}

} // namespace

std::optional<WebAddress> WebAddress::parse(const std::string& url) {
    const ParsedUrl parsed(curl_url(), curl_url_cleanup);
    // The parser stops at a NUL, and so would read another address than the caller wrote.
    if (!parsed || url.find('\0') != std::string::npos ||
        curl_url_set(parsed.get(), CURLUPART_URL, url.c_str(), 0) != CURLUE_OK)
        return std::nullopt;
    WebAddress address;
    address.scheme = asciiLowercased(part(parsed, CURLUPART_SCHEME).value_or(""));
    address.host = asciiLowercased(part(parsed, CURLUPART_HOST).value_or(""));
    address.port = part(parsed, CURLUPART_PORT, CURLU_DEFAULT_PORT).value_or("");
    address.hasUser = part(parsed, CURLUPART_USER) || part(parsed, CURLUPART_PASSWORD);
    address.hasQueryOrFragment = url.find_first_of("?#") != std::string::npos; // even an empty one
    if ((address.scheme != "http" && address.scheme != "https") || address.host.empty())
        return std::nullopt;
    return address;
}

bool WebAddress::isLoopback() const {
    in_addr ipv4{};
    if (inet_pton(AF_INET, host.c_str(), &ipv4) == 1)
        return (ntohl(ipv4.s_addr) >> 24) == 127;
    return host == "localhost" || host == "[::1]";
}

std::string WebAddress::origin() const {
    return fmt::format("{}://{}:{}", scheme, host, port);
}

std::string pathComponent(std::string_view text) {
    if (text == "." || text == "..") // which would lead elsewhere
        return text == "." ? "%2E" : "%2E%2E";
    std::string escaped;
    for (const char letter : text) {
        if (isUnreserved(letter))
            escaped += letter;
        else
            escaped += fmt::format("%{:02X}", static_cast<unsigned char>(letter));
    }
    return escaped;
}

} // namespace tavik
