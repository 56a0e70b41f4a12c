#include "platform/desktop/DisplayCheck.h"

#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/XConnection.h"
#include "platform/text/Environment.h"

#include <chrono>
#include <utility>

namespace tavik {

namespace {

constexpr std::chrono::seconds patience{2};

// Such managers show themselves by owning a selection of the first screen.
bool isOwned(const char* selection) {
    const auto look = [selection](std::stop_token) {
        const auto x = XConnection::open();
        if (!x)
            return false;
        const auto asked = xcb_get_selection_owner(x->get(), x->atom(selection));
        const XReply<xcb_get_selection_owner_reply_t> reply(
            xcb_get_selection_owner_reply(x->get(), asked, nullptr));
        return reply && reply->owner != XCB_NONE;
    };
    return callWithin<bool>(patience, {}, look).value_or(false);
}

} // namespace

bool isWaylandSession() {
    return environmentValue("XDG_SESSION_TYPE") == "wayland" ||
           !environmentValue("WAYLAND_DISPLAY").empty();
}

bool xServerAnswers(std::stop_token stop) {
    return callWithin<bool>(patience, std::move(stop),
                            [](std::stop_token) { return XConnection::open() != nullptr; })
        .value_or(false);
}

bool xCompositorRuns() {
    return isOwned("_NET_WM_CM_S0");
}

bool xTrayRuns() {
    return isOwned("_NET_SYSTEM_TRAY_S0");
}

} // namespace tavik
