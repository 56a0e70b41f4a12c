#include "platform/desktop/XConnection.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <poll.h>

namespace tavik {

namespace {

using std::chrono::steady_clock;

// Of a property, in units of four bytes; what is longer is cut off.
constexpr std::uint32_t longestProperty = 16 * 1024;

constexpr std::uint8_t bitsOfNumbers = 32;
constexpr std::uint8_t bitsOfTexts = 8;

int millisecondsUntil(steady_clock::time_point deadline) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    return static_cast<int>(std::max<std::chrono::milliseconds::rep>(left.count(), 0));
}

// The look for the display's key works in memory that all threads share.
xcb_connection_t* connectToDisplay(int& screen) {
    static auto& mutex = *new std::mutex; // a stuck caller may outlive the program's last line
    const std::lock_guard lock(mutex);
    return xcb_connect(nullptr, &screen);
}

} // namespace

std::unique_ptr<XConnection> XConnection::open() {
    int screen = 0;
    xcb_connection_t* const opened = connectToDisplay(screen);
    std::unique_ptr<XConnection> connection(new XConnection(opened, screen));
    return connection->rootWindow == XCB_NONE ? nullptr : std::move(connection);
}

// A connection that failed is an object all the same, and has to be closed.
XConnection::XConnection(xcb_connection_t* opened, int screenNumber)
    : connection(opened) {
    if (xcb_connection_has_error(connection) != 0)
        return;
    auto screens = xcb_setup_roots_iterator(xcb_get_setup(connection));
    while (screenNumber-- > 0 && screens.rem > 1)
        xcb_screen_next(&screens);
    if (screens.rem > 0)
        rootWindow = screens.data->root;
}

XConnection::~XConnection() {
    xcb_disconnect(connection);
}

xcb_atom_t XConnection::atom(const std::string& name) {
    const auto known = atoms.find(name);
    if (known != atoms.end())
        return known->second;
    const auto asked =
        xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str());
    const XReply<xcb_intern_atom_reply_t> reply(xcb_intern_atom_reply(connection, asked, nullptr));
    return atoms[name] = reply ? reply->atom : xcb_atom_t{XCB_ATOM_NONE};
}

xcb_get_property_cookie_t XConnection::ask(xcb_window_t window, xcb_atom_t property) const {
    return xcb_get_property(connection, 0, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                            longestProperty);
}

std::vector<std::uint32_t> XConnection::numbers(xcb_get_property_cookie_t asked) const {
    const XReply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection, asked, nullptr));
    if (!reply || reply->format != bitsOfNumbers)
        return {};
    std::vector<std::uint32_t> numbers(reply->value_len);
    if (!numbers.empty())
        std::memcpy(numbers.data(), xcb_get_property_value(reply.get()),
                    numbers.size() * sizeof numbers.front());
    return numbers;
}

std::string XConnection::text(xcb_get_property_cookie_t asked) const {
    const XReply<xcb_get_property_reply_t> reply(
        xcb_get_property_reply(connection, asked, nullptr));
    if (!reply || reply->format != bitsOfTexts)
        return "";
    return {static_cast<const char*>(xcb_get_property_value(reply.get())), reply->value_len};
}

std::uint32_t XConnection::number(xcb_window_t window, const char* property) {
    const auto found = numbers(ask(window, property));
    return found.empty() ? 0 : found.front();
}

XReply<xcb_generic_event_t> XConnection::nextEvent(Instant deadline) const {
    xcb_flush(connection);
    while (true) {
        XReply<xcb_generic_event_t> event(xcb_poll_for_event(connection));
        const int patience = millisecondsUntil(deadline);
        if (event || xcb_connection_has_error(connection) != 0 || patience == 0)
            return event;
        pollfd server{xcb_get_file_descriptor(connection), POLLIN, 0};
        poll(&server, 1, patience);
    }
}

} // namespace tavik
