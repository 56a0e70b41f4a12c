#include "platform/http/Transfer.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/http/Redirect.h"
#include "platform/http/TransferFailure.h"

#include <algorithm>
#include <cstdlib>
#include <fcntl.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr std::size_t maximumHeaderBytes = 256 * 1024;
constexpr milliseconds longestTimeout = 24h;
// A connection whose peer acknowledges nothing for so long is dead, as after a change of networks.
constexpr int unacknowledgedMilliseconds = 15'000;

int tuneSocket(void*, curl_socket_t descriptor, curlsocktype) {
    // Where the option is missing, the request's own timeout still holds.
    setsockopt(descriptor, IPPROTO_TCP, TCP_USER_TIMEOUT, &unacknowledgedMilliseconds,
               sizeof unacknowledgedMilliseconds);
    fcntl(descriptor, F_SETFD, FD_CLOEXEC); // a program that we start would hold it open
    return CURL_SOCKOPT_OK;
}

int closeSocket(void* connections, curl_socket_t descriptor) {
    static_cast<KeptConnections*>(connections)->forget(descriptor);
    return close(descriptor);
}

bool hasControlCharacter(const std::string& text) {
    return std::any_of(text.begin(), text.end(), [](unsigned char letter) {
        return (letter < 0x20 && letter != '\t') || letter == 0x7f;
    });
}

// A line end in a header would smuggle in another header, or another request.
bool isSendable(const HttpRequest& request) {
    return !request.method.empty() && !hasControlCharacter(request.method) &&
           std::none_of(request.headers.begin(), request.headers.end(), [](const auto& header) {
               return hasControlCharacter(header.first) || hasControlCharacter(header.second);
           });
}

HttpRequest::Header parsedHeader(std::string_view line) {
    const auto withoutSpace = [](std::string_view text) {
        const std::size_t begin = text.find_first_not_of(" \t\r\n");
        if (begin == std::string_view::npos)
            return std::string();
        return std::string(text.substr(begin, text.find_last_not_of(" \t\r\n") + 1 - begin));
    };
    const std::size_t colon = line.find(':');
    return {withoutSpace(line.substr(0, colon)), withoutSpace(line.substr(colon + 1))};
}

} // namespace

Exchange::Exchange(HttpRequest asked, Purpose use)
    : request(std::move(asked))
    , purpose(use)
    , deadline(steady_clock::now() + std::clamp(request.timeout, 0ms, longestTimeout)) {}

Transfer::Transfer(std::shared_ptr<Exchange> served, const Surroundings& around)
    : exchange(std::move(served))
    , surroundings(around)
    , easy(curl_easy_init(), curl_easy_cleanup)
    , headerList(nullptr, curl_slist_free_all)
    , current(std::move(exchange->request))
    , redirectsLeft(current.maximumRedirects) {
    findDestination();
}

void Transfer::findDestination() {
    const std::string before = origin();
    destination = WebAddress::parse(current.url);
    if (proxies && destination && origin() == before)
        return;
    proxies.reset();
    if (!destination || destination->isLoopback())
        proxies = {""};
    else if (const ProxyList named = environmentProxies(destination->scheme); !named.empty())
        proxies = named;
}

CURL* Transfer::prepare() {
    const auto remaining =
        std::chrono::ceil<milliseconds>(exchange->deadline - steady_clock::now());
    if (!destination) {
        fail(TransportFailure::badUrl, "This is not an http or https address.");
    } else if (!isSendable(current)) {
        fail(TransportFailure::other, "The request holds a header that cannot be sent.");
    } else if (remaining <= 0ms) {
        fail(TransportFailure::timedOut, "The request timed out.");
    } else if (easy) {
        curl_easy_reset(easy.get());
        setDestination(remaining);
        setHeaders();
        setMethod();
        setSecurity();
        setCallbacks();
        if (!optionRefused)
            return easy.get();
    }
    fail(TransportFailure::other, "The request could not be prepared.");
    return nullptr;
}

template<typename Value>
void Transfer::set(CURLoption option, Value value) {
    optionRefused = optionRefused || curl_easy_setopt(easy.get(), option, value) != CURLE_OK;
}

void Transfer::setDestination(milliseconds remaining) {
    set(CURLOPT_URL, current.url.c_str());
    set(CURLOPT_TIMEOUT_MS, static_cast<long>(remaining.count()));
    set(CURLOPT_NOSIGNAL, 1L);
    // Otherwise whoever cancels waits for the resolver's thread.
    set(CURLOPT_QUICK_EXIT, 1L);
    set(CURLOPT_SHARE, surroundings.share);
    set(CURLOPT_MAXAGE_CONN, static_cast<long>(KeptConnections::longestIdle.count()));
    set(CURLOPT_PROXY, proxies->front().c_str());
}

void Transfer::setHeaders() {
    headerList.reset();
    const auto append = [this](const std::string& line) {
        if (curl_slist* extended = curl_slist_append(headerList.get(), line.c_str())) {
            static_cast<void>(headerList.release());
            headerList.reset(extended);
        } else {
            optionRefused = true;
        }
    };
    append("Expect:");
    // Nobody said that the body is a form; a type among the request's own headers comes after this.
    append("Content-Type:");
    for (const auto& [name, value] : current.headers)
        append(value.empty() ? name + ";" : fmt::format("{}: {}", name, value));
    set(CURLOPT_HTTPHEADER, headerList.get());
    set(CURLOPT_USERAGENT, "Tavik/1.0");
    set(CURLOPT_ACCEPT_ENCODING, ""); // everything that can be decoded here
}

void Transfer::setMethod() {
    if (current.method == "HEAD") {
        set(CURLOPT_NOBODY, 1L);
    } else if (current.method != "GET" || !current.body.empty()) {
        set(CURLOPT_POSTFIELDSIZE_LARGE, static_cast<curl_off_t>(current.body.size()));
        set(CURLOPT_POSTFIELDS, current.body.data());
        set(CURLOPT_CUSTOMREQUEST, current.method.c_str());
    }
}

void Transfer::setSecurity() {
    set(CURLOPT_PROTOCOLS_STR, "http,https");
    set(CURLOPT_REDIR_PROTOCOLS_STR, "http,https");
    set(CURLOPT_FOLLOWLOCATION, 0L); // libcurl would take the keys along
    // The parsed certificates are kept between connections only when they come from one file.
    set(CURLOPT_CAPATH, static_cast<char*>(nullptr));
    if (const char* file = std::getenv("SSL_CERT_FILE"))
        set(CURLOPT_CAINFO, file);
}

void Transfer::setCallbacks() {
    set(CURLOPT_SOCKOPTFUNCTION, tuneSocket);
    set(CURLOPT_CLOSESOCKETFUNCTION, closeSocket);
    set(CURLOPT_CLOSESOCKETDATA, &surroundings.connections);
    set(CURLOPT_SUPPRESS_CONNECT_HEADERS, 1L);
    set(CURLOPT_WRITEFUNCTION, takeBody);
    set(CURLOPT_WRITEDATA, this);
    set(CURLOPT_HEADERFUNCTION, takeHeader);
    set(CURLOPT_HEADERDATA, this);
}

std::size_t Transfer::takeBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept {
    auto& transfer = *static_cast<Transfer*>(self);
    std::string& body = transfer.response.body;
    transfer.tooLarge = size > transfer.current.maximumResponseBytes - body.size();
    if (transfer.tooLarge)
        return 0; // which ends the transfer
    if (body.empty())
        transfer.makeRoom();
    body.append(bytes, size);
    return size;
}

// A body that grows bit by bit would need the double for a while.
void Transfer::makeRoom() {
    curl_off_t announced = -1;
    curl_easy_getinfo(easy.get(), CURLINFO_CONTENT_LENGTH_DOWNLOAD_T, &announced);
    if (announced > 0)
        response.body.reserve(
            std::min(static_cast<std::size_t>(announced), current.maximumResponseBytes));
}

std::size_t Transfer::takeHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept {
    auto& transfer = *static_cast<Transfer*>(self);
    transfer.headerBytes += size;
    transfer.tooLarge = transfer.headerBytes > maximumHeaderBytes;
    if (transfer.tooLarge)
        return 0;
    const std::string_view line(bytes, size);
    if (line.substr(0, 5) == "HTTP/")
        transfer.response.headers.clear(); // what came before was an interim response
    else if (line.find(':') != std::string_view::npos)
        transfer.response.headers.push_back(parsedHeader(line));
    return size;
}

bool Transfer::finish(CURLcode code) {
    if (tooLarge) {
        fail(TransportFailure::responseTooLarge, "The response is too large.");
        return false;
    }
    if (triesNextProxy(code))
        return true;
    if (code != CURLE_OK) {
        exchange->pending.settle(transportError(failedTransfer(code), surroundings.hasRouteOut));
        return false;
    }
    rememberConnection();
    long status = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_RESPONSE_CODE, &status);
    response.status = static_cast<int>(status);
    if (current.maximumRedirects > 0 && isRedirect(response.status) && followsRedirect())
        return true;
    // The first outcome counts: a redirect too many has settled the exchange already.
    exchange->pending.settle(std::move(response));
    return false;
}

bool Transfer::triesNextProxy(CURLcode code) {
    const bool isUnreachable =
        code == CURLE_COULDNT_RESOLVE_PROXY || code == CURLE_COULDNT_CONNECT || code == CURLE_PROXY;
    if (!isUnreachable || proxies->size() < 2)
        return false;
    proxies->erase(proxies->begin());
    return true;
}

void Transfer::rememberConnection() {
    curl_socket_t kept = CURL_SOCKET_BAD;
    curl_easy_getinfo(easy.get(), CURLINFO_ACTIVESOCKET, &kept);
    if (kept != CURL_SOCKET_BAD)
        surroundings.connections.keep(kept, origin());
}

bool Transfer::followsRedirect() {
    const char* url = nullptr;
    curl_easy_getinfo(easy.get(), CURLINFO_REDIRECT_URL, &url);
    if (!url)
        return false;
    if (redirectsLeft-- == 0) {
        fail(TransportFailure::other, "The address was redirected too often.");
        return false;
    }
    current = redirectedRequest(std::move(current), response.status, std::string(url));
    findDestination();
    response = {};
    headerBytes = 0;
    return true;
}

void Transfer::fail(TransportFailure kind, const std::string& description) {
    exchange->pending.settle(TransportError(kind, description));
}

FailedTransfer Transfer::failedTransfer(CURLcode code) const {
    long systemError = 0;
    curl_easy_getinfo(easy.get(), CURLINFO_OS_ERRNO, &systemError);
    return {code, static_cast<int>(systemError), destination->host, destination->isLoopback()};
}

} // namespace tavik
