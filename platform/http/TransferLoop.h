#pragma once

#include "platform/http/ProxyLookup.h"
#include "platform/http/Transfer.h"

#include <curl/curl.h>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

namespace tavik {

// Runs all transfers of a session on one thread, which keeps the connections. Private to this
// folder; safe from any thread.
class TransferLoop {
public:
    explicit TransferLoop(Transfer::RouteProbe routeProbe);
    ~TransferLoop();
    TransferLoop(const TransferLoop&) = delete;
    TransferLoop& operator=(const TransferLoop&) = delete;

    // Settles `exchange` sooner or later. After `close` that is at once, as cancelled.
    void start(std::shared_ptr<Exchange> exchange);
    // Nobody waits for `exchange` any more.
    void abandon(std::shared_ptr<Exchange> exchange);
    // Cancels what is under way and joins the thread.
    void close();

private:
    struct Orders {
        std::vector<std::pair<std::shared_ptr<Exchange>, ProxyList>> proxiesFound;
        std::vector<std::shared_ptr<Exchange>> started;
        std::vector<std::shared_ptr<Exchange>> abandoned;
    };

    void run();
    bool carryOutOrders();
    bool hasConnectionTo(const std::string& origin) const;
    void begin(std::shared_ptr<Exchange> exchange);
    void proceed(const std::shared_ptr<Exchange>& exchange, Transfer& transfer);
    void askForProxies(const std::shared_ptr<Exchange>& exchange, const Transfer& transfer);
    void useProxies(const std::shared_ptr<Exchange>& exchange, ProxyList proxies);
    void stopWaitingForProxies();
    int pollMilliseconds() const;
    void end(const std::shared_ptr<Exchange>& exchange);
    void settleFinished();

    KeptConnections connections; // before what opens and closes them
    // Declared before the transfers, whose handles use both.
    const std::unique_ptr<CURLSH, decltype(&curl_share_cleanup)> share;
    const std::unique_ptr<CURLM, decltype(&curl_multi_cleanup)> multi;
    const Transfer::Surroundings surroundings;
    // The thread's own.
    std::map<std::shared_ptr<Exchange>, std::unique_ptr<Transfer>> transfers;
    std::map<std::shared_ptr<Exchange>, ProxyLookup> lookups; // of some of them

    std::mutex mutex;
    Orders orders;       // guarded by mutex
    bool closed = false; // guarded by mutex
    std::thread thread;  // last: it uses all of the above
};

} // namespace tavik
