#include "platform/http/TransferLoop.h"

#include "platform/concurrency/ThreadName.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr milliseconds idlePoll = 60s;
// After so long a desktop that does not say its proxies is taken to have none.
constexpr milliseconds proxyPatience = 3s;
constexpr long maximumIdleConnections = 16;

} // namespace

TransferLoop::TransferLoop(Transfer::RouteProbe routeProbe)
    : share(curl_share_init(), curl_share_cleanup)
    , multi(curl_multi_init(), curl_multi_cleanup)
    , surroundings{share.get(), connections, std::move(routeProbe)} {
    if (!share || !multi)
        throw std::runtime_error("The HTTP library could not be started.");
    // Used by one thread only, and so without locks.
    curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
    curl_multi_setopt(multi.get(), CURLMOPT_MAXCONNECTS, maximumIdleConnections);
    thread = std::thread([this] { run(); });
}

TransferLoop::~TransferLoop() {
    close();
}

void TransferLoop::start(std::shared_ptr<Exchange> exchange) {
    const std::lock_guard lock(mutex);
    if (closed) {
        exchange->pending.settle(Cancelled());
        return;
    }
    orders.started.push_back(std::move(exchange));
    curl_multi_wakeup(multi.get());
}

void TransferLoop::abandon(std::shared_ptr<Exchange> exchange) {
    const std::lock_guard lock(mutex);
    orders.abandoned.push_back(std::move(exchange));
    curl_multi_wakeup(multi.get());
}

void TransferLoop::close() {
    {
        const std::lock_guard lock(mutex);
        closed = true;
        curl_multi_wakeup(multi.get());
    }
    if (thread.joinable())
        thread.join();
}

void TransferLoop::run() {
    nameThisThread("ai.tavik.http");
    while (carryOutOrders()) {
        int running = 0;
        curl_multi_perform(multi.get(), &running);
        settleFinished();
        stopWaitingForProxies();
        curl_multi_poll(multi.get(), nullptr, 0, pollMilliseconds(), nullptr);
    }
    while (!transfers.empty())
        end(transfers.begin()->first);
}

bool TransferLoop::carryOutOrders() {
    Orders current;
    bool isClosed = false;
    {
        const std::lock_guard lock(mutex);
        current = std::exchange(orders, {});
        isClosed = closed;
    }
    for (auto& [exchange, proxies] : current.proxiesFound)
        useProxies(exchange, std::move(proxies));
    for (auto& exchange : current.started)
        begin(std::move(exchange));
    for (const auto& exchange : current.abandoned)
        end(exchange);
    return !isClosed;
}

void TransferLoop::begin(std::shared_ptr<Exchange> exchange) {
    auto made = std::make_unique<Transfer>(exchange, surroundings);
    Transfer& transfer = *made;
    if (exchange->purpose == Exchange::Purpose::connection && hasConnectionTo(transfer.origin()))
        return;
    transfers.emplace(exchange, std::move(made));
    proceed(exchange, transfer);
}

bool TransferLoop::hasConnectionTo(const std::string& origin) const {
    int busy = 0;
    for (const auto& [exchange, transfer] : transfers) {
        if (transfer->origin() != origin)
            continue;
        if (exchange->purpose == Exchange::Purpose::connection)
            return true;
        ++busy;
    }
    return connections.usableFor(origin) > busy;
}

void TransferLoop::askForProxies(const std::shared_ptr<Exchange>& exchange,
                                 const Transfer& transfer) {
    const auto limit = std::min(steady_clock::now() + proxyPatience, exchange->deadline);
    // It is given up before this loop ends.
    const auto found = [this, exchange](ProxyList proxies) {
        const std::lock_guard lock(mutex);
        orders.proxiesFound.emplace_back(exchange, std::move(proxies));
        curl_multi_wakeup(multi.get());
    };
    lookups.try_emplace(exchange, transfer.origin() + "/", limit, found);
}

void TransferLoop::useProxies(const std::shared_ptr<Exchange>& exchange, ProxyList proxies) {
    if (lookups.erase(exchange) == 0)
        return; // given up meanwhile
    Transfer& transfer = *transfers.at(exchange);
    transfer.useProxies(std::move(proxies));
    proceed(exchange, transfer);
}

void TransferLoop::stopWaitingForProxies() {
    std::vector<std::shared_ptr<Exchange>> overdue;
    for (const auto& [exchange, lookup] : lookups)
        if (lookup.limit <= steady_clock::now())
            overdue.push_back(exchange);
    for (const auto& exchange : overdue)
        useProxies(exchange, {""});
}

int TransferLoop::pollMilliseconds() const {
    milliseconds patience = idlePoll;
    for (const auto& [exchange, lookup] : lookups)
        patience =
            std::min(patience, std::chrono::ceil<milliseconds>(lookup.limit - steady_clock::now()));
    return static_cast<int>(std::max(patience, 0ms).count());
}

void TransferLoop::proceed(const std::shared_ptr<Exchange>& exchange, Transfer& transfer) {
    if (transfer.needsProxies())
        return askForProxies(exchange, transfer);
    CURL* handle = transfer.prepare();
    if (!handle || curl_multi_add_handle(multi.get(), handle) != CURLM_OK)
        end(exchange);
}

void TransferLoop::end(const std::shared_ptr<Exchange>& exchange) {
    const auto found = transfers.find(exchange);
    if (found == transfers.end())
        return;
    // Counts only where nothing else came first.
    exchange->pending.settle(Cancelled());
    lookups.erase(exchange);
    curl_multi_remove_handle(multi.get(), found->second->handle());
    transfers.erase(found);
}

void TransferLoop::settleFinished() {
    int waiting = 0;
    while (CURLMsg* message = curl_multi_info_read(multi.get(), &waiting)) {
        const CURLcode code = message->data.result;
        const auto found = std::find_if(transfers.begin(), transfers.end(), [&](const auto& entry) {
            return entry.second->handle() == message->easy_handle;
        });
        if (found == transfers.end())
            continue;
        const auto exchange = found->first;
        const bool goesOn = found->second->finish(code);
        curl_multi_remove_handle(multi.get(), found->second->handle());
        if (goesOn)
            proceed(exchange, *found->second);
        else
            end(exchange);
    }
}

} // namespace tavik
