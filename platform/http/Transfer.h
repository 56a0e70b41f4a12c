#pragma once

#include "platform/http/HttpSession.h"
#include "platform/http/PendingResponse.h"
#include "platform/http/TransferFailure.h"
#include "platform/http/WebAddress.h"

#include <chrono>
#include <curl/curl.h>
#include <functional>
#include <memory>
#include <string>

namespace tavik {

// One request on its way, between the thread that waits for it and the one that transfers it.
struct Exchange {
    explicit Exchange(HttpRequest asked);

    HttpRequest request; // taken by the transfer; whoever waits leaves it alone
    const std::chrono::steady_clock::time_point deadline; // for all redirects together
    PendingResponse pending;
};

// The network's side of an exchange: follows its redirects and settles it. Private to this folder;
// lives on the transferring thread.
class Transfer {
public:
    using RouteProbe = std::function<bool()>;

    Transfer(std::shared_ptr<Exchange> served, CURLSH* sharedState, RouteProbe routeProbe);
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    // The handle to be run, made ready for the next request; null when the exchange was settled
    // with a failure instead.
    CURL* prepare();

    // To be called when the handle has run. True when a redirect is to be followed: `prepare`
    // again. Otherwise the exchange is settled.
    bool finish(CURLcode code);

    CURL* handle() const { return easy.get(); }

private:
    using HandleOwner = std::unique_ptr<CURL, decltype(&curl_easy_cleanup)>;
    using HeaderList = std::unique_ptr<curl_slist, decltype(&curl_slist_free_all)>;

    static std::size_t takeBody(char* bytes, std::size_t, std::size_t size, void* self) noexcept;
    static std::size_t takeHeader(char* bytes, std::size_t, std::size_t size, void* self) noexcept;

    template<typename Value>
    void set(CURLoption option, Value value);
    void setDestination(std::chrono::milliseconds remaining);
    void setHeaders();
    void setMethod();
    void setSecurity();
    void setCallbacks();
    bool followsRedirect();
    void fail(TransportFailure kind, const std::string& description);
    FailedTransfer failedTransfer(CURLcode code) const;

    const std::shared_ptr<Exchange> exchange;
    CURLSH* const share;
    const RouteProbe hasRouteOut;
    HandleOwner easy;
    HeaderList headerList;
    bool optionRefused = false;

    // The request as it stands after the redirects so far.
    HttpRequest current;
    WebAddress destination;
    int redirectsLeft;

    HttpResponse response;
    std::size_t headerBytes = 0;
    bool tooLarge = false;
};

} // namespace tavik
