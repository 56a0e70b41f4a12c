#include "platform/desktop/WindowHints.h"

#include "platform/desktop/BoundedCall.h"
#include "platform/desktop/XConnection.h"

#include <array>
#include <chrono>

namespace tavik {

namespace {

constexpr std::chrono::seconds patience{1};

void hint(XConnection& x, xcb_window_t window) {
    const std::array<xcb_atom_t, 2> states = {x.atom("_NET_WM_STATE_SKIP_TASKBAR"),
                                              x.atom("_NET_WM_STATE_SKIP_PAGER")};
    // Its error would only say that the window is gone.
    const XReply<xcb_generic_error_t> answered(xcb_request_check(
        x.get(),
        xcb_change_property_checked(x.get(), XCB_PROP_MODE_REPLACE, window, x.atom("_NET_WM_STATE"),
                                    XCB_ATOM_ATOM, 32, states.size(), states.data())));
}

} // namespace

void keepOutOfTaskbar(std::uint32_t window) {
    runWithin(patience, {}, [window](std::stop_token) {
        if (const auto x = XConnection::open())
            hint(*x, window);
    });
}

} // namespace tavik
