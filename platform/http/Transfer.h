#pragma once

#include "platform/http/HttpSession.h"
#include "platform/http/KeptConnections.h"
#include "platform/http/PendingResponse.h"
#include "platform/http/ProxyList.h"
#include "platform/http/TransferFailure.h"
#include "platform/http/WebAddress.h"

#include <chrono>
#include <curl/curl.h>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

namespace tavik {

// One request on its way, between the thread that waits for it and the one that transfers it.
struct Exchange {
    enum class Purpose {
        answer,
        connection, // nobody waits: it leaves a connection behind for the next request
    };

    explicit Exchange(HttpRequest asked, Purpose use = Purpose::answer);

    HttpRequest request; // taken by the transfer; whoever waits leaves it alone
    const Purpose purpose;
    const std::chrono::steady_clock::time_point deadline; // for all redirects together
    PendingResponse pending;
};

// The network's side of an exchange: follows its redirects and settles it. Private to this folder;
// lives on the transferring thread.
class Transfer {
public:
    using RouteProbe = std::function<bool()>;

    struct Surroundings {
        CURLSH* share;
        KeptConnections& connections;
        RouteProbe hasRouteOut;
    };

    // `around` outlives the transfer, and its connections outlive those of libcurl.
    Transfer(std::shared_ptr<Exchange> served, const Surroundings& around);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // The server that the next request goes to; empty when there is none.
    std::string origin() const { return destination ? destination->origin() : ""; }

    // Whether the desktop is to be asked for the proxies before the next `prepare`.
    bool needsProxies() const { return !proxies; }
    void useProxies(ProxyList found) { proxies = std::move(found); }

    // The handle to be run, made ready for the next request; null when the exchange was settled
    // with a failure instead.
    CURL* prepare();

    // To be called when the handle has run, before it is taken out of libcurl's hands. True when a
    // redirect is to be followed or another proxy to be tried: `prepare` again. Otherwise the
    // exchange is settled.
    bool finish(CURLcode code);

    CURL* handle() const { return easy.get(); }

private:
    using HandleOwner = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
    using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

    static std::size_t takeBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
    static std::size_t takeHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept;

    template<typename Value>
    void set(CURLoption option, Value value);
    void findDestination();
    void setDestination(std::chrono::milliseconds remaining);
    void setHeaders();
    void setMethod();
    void setSecurity();
    void setCallbacks();
    void makeRoom();
    bool triesNextProxy(CURLcode code);
    bool followsRedirect();
    void rememberConnection();
    void fail(TransportFailure kind, const std::string& description);
    FailedTransfer failedTransfer(CURLcode code) const;

    const std::shared_ptr<Exchange> exchange;
    const Surroundings& surroundings;
    HandleOwner easy;
    HeaderList headerList;
    bool optionRefused = false;

    // The request as it stands after the redirects so far.
    HttpRequest current;
    std::optional<WebAddress> destination;
    std::optional<ProxyList> proxies; // nothing as long as they are unknown
    int redirectsLeft;

    HttpResponse response;
    std::size_t headerBytes = 0;
    bool tooLarge = false;
};

} // namespace tavik
