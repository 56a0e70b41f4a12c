#pragma once

#include "platform/http/ProxyList.h"

#include <chrono>
#include <functional>
#include <memory>
#include <string>

namespace tavik {

// One question to the desktop's settings: which proxies lead to an address? The answer may come
// from a script that the desktop fetches first, and so take any time.
class ProxyLookup {
public:
    using Instant = std::chrono::steady_clock::time_point;
    using Found = std::function<void(ProxyList)>;

    // Asks for `url`. `found` is called once, from another thread; a question that fails finds
    // "no proxy", as in browsers. `limit` is when the asker will not wait any longer.
    ProxyLookup(std::string url, Instant limit, Found found);
    // From now on `found` is not called.
    ~ProxyLookup();
    ProxyLookup(const ProxyLookup&) = delete;
    ProxyLookup& operator=(const ProxyLookup&) = delete;

    const Instant limit;

private:
    class Question;

    const std::shared_ptr<Question> question;
};

} // namespace tavik
