#pragma once

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>
#include <xcb/xcb.h>

namespace tavik {

struct FreeReply {
    void operator()(void* reply) const { std::free(reply); }
};

// What xcb hands out; none when the request failed, as when its window has vanished.
template<typename Reply>
using XReply = std::unique_ptr<Reply, FreeReply>;

// A connection of its own to the X server for one job on one thread. A server that has stopped
// blocks it. Private to platform/.
class XConnection {
public:
    using Instant = std::chrono::steady_clock::time_point;

    // None when there is no display, or none that takes us.
    static std::unique_ptr<XConnection> open();

    ~XConnection();
    XConnection(const XConnection&) = delete;
    XConnection& operator=(const XConnection&) = delete;

    xcb_connection_t* get() const { return connection; }
    xcb_window_t root() const { return rootWindow; }
    xcb_atom_t atom(const std::string& name);

    // A property of a window, in two steps, so that several can be asked for in one go.
    xcb_get_property_cookie_t ask(xcb_window_t window, const char* property) {
        return ask(window, atom(property));
    }
    xcb_get_property_cookie_t ask(xcb_window_t window, xcb_atom_t property) const;
    // Empty when the window has no such property.
    std::vector<std::uint32_t> numbers(xcb_get_property_cookie_t asked) const;
    std::string text(xcb_get_property_cookie_t asked) const;

    // The first of a property's numbers; 0 when it has none.
    std::uint32_t number(xcb_window_t window, const char* property);

    // The next event; none when there is none in time, or when the connection is broken.
    XReply<xcb_generic_event_t> nextEvent(Instant deadline) const;

private:
    XConnection(xcb_connection_t* opened, int screenNumber);

    xcb_connection_t* const connection;
    xcb_window_t rootWindow = XCB_NONE;
    std::map<std::string, xcb_atom_t> atoms;
};

} // namespace tavik
