#pragma once

#include "platform/http/HttpSession.h"

#include <functional>
#include <string>

namespace tavik {

// What is known about a transfer that brought no response.
struct FailedTransfer {
    int code = 0;        // libcurl's
    int systemError = 0; // errno of the last failed connection attempt, or 0
    std::string host;
    bool toThisMachine = false; // which no network is needed for
};

// The failure in our words. `hasRouteOut` is asked only where the answer matters.
TransportError transportError(const FailedTransfer& failed,
                              const std::function<bool()>& hasRouteOut);

} // namespace tavik
