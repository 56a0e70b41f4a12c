#include "platform/http/TransferLoop.h"

#include "platform/concurrency/ThreadName.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

namespace tavik {

namespace {

constexpr int idlePollMilliseconds = 60'000;

} // namespace

TransferLoop::TransferLoop(Transfer::RouteProbe routeProbe)
    : hasRouteOut(std::move(routeProbe))
    , share(curl_share_init(), curl_share_cleanup)
    , multi(curl_multi_init(), curl_multi_cleanup) {
    if (!share || !multi)
        throw std::runtime_error("The HTTP library could not be started.");
    // Used by one thread only, and so without locks.
    curl_share_setopt(share.get(), CURLSHOPT_SHARE, CURL_LOCK_DATA_SSL_SESSION);
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
        curl_multi_poll(multi.get(), nullptr, 0, idlePollMilliseconds, nullptr);
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
    for (auto& exchange : current.started)
        begin(std::move(exchange));
    for (const auto& exchange : current.abandoned)
        end(exchange);
    return !isClosed;
}

void TransferLoop::begin(std::shared_ptr<Exchange> exchange) {
    auto made = std::make_unique<Transfer>(exchange, share.get(), hasRouteOut);
    Transfer& transfer = *made;
    transfers.emplace(exchange, std::move(made));
    proceed(std::move(exchange), transfer);
}

void TransferLoop::proceed(std::shared_ptr<Exchange> exchange, Transfer& transfer) {
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
        curl_multi_remove_handle(multi.get(), message->easy_handle);
        const auto exchange = found->first;
        if (found->second->finish(code))
            proceed(exchange, *found->second);
        else
            end(exchange);
    }
}

} // namespace tavik
