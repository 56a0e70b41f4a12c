#include "platform/concurrency/StopSignal.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/hotkey/GlobalShortcuts.h"
#include "platform/hotkey/XKeyboard.h"

#include <array>
#include <poll.h>
#include <thread>
#include <utility>
#include <xkbcommon/xkbcommon.h>

namespace tavik {

namespace {

constexpr int noKey = -1;
constexpr int noServer = -2;
constexpr std::uint8_t typeOfEvent = 0x7f; // without the bit for events that programs send

// A shortcut with a connection of its own, whose end frees it.
class XShortcut : public ShortcutRegistration {
public:
    XShortcut(std::unique_ptr<XConnection> connection, const Key& key, std::uint32_t modifiers,
              std::function<void()> action)
        : x(std::move(connection))
        , pressed(std::move(action)) {
        grab(key, modifiers);
        xcb_flush(x->get());
        waiter = std::jthread([this](std::stop_token stop) { wait(std::move(stop)); });
    }

    ~XShortcut() override {
        waiter.request_stop();
        waiter.join();
    }

private:
    void grab(const Key& key, std::uint32_t modifiers) {
        const XKeyboard keyboard(*x);
        const auto keycode = keyboard.keycodeOf(key);
        if (!keycode)
            throw ShortcutError(noKey, "this keyboard has no such key");
        for (const std::uint16_t locks : keyboard.lockMasks())
            grab(*keycode, static_cast<std::uint16_t>(keyboard.maskOf(modifiers) | locks));
    }

    void grab(xcb_keycode_t keycode, std::uint16_t mask) {
        const XReply<xcb_generic_error_t> error(xcb_request_check(
            x->get(), xcb_grab_key_checked(x->get(), 1, x->root(), mask, keycode,
                                           XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)));
        if (error)
            throw ShortcutError(error->error_code, "another program has it");
    }

    void wait(std::stop_token stop) {
        nameThisThread("ai.tavik.hotkey");
        const StopSignal stopSignal(stop);
        std::array<pollfd, 2> polled{pollfd{xcb_get_file_descriptor(x->get()), POLLIN, 0},
                                     pollfd{stopSignal.descriptor(), POLLIN, 0}};
        while (!stop.stop_requested() && xcb_connection_has_error(x->get()) == 0) {
            while (const XReply<xcb_generic_event_t> event{xcb_poll_for_event(x->get())})
                handle(*event);
            poll(polled.data(), polled.size(), -1);
        }
    }

    // A key that is held down is released and pressed again and again, each pair at one time.
    void handle(const xcb_generic_event_t& event) {
        const auto type = event.response_type & typeOfEvent;
        const auto& key = reinterpret_cast<const xcb_key_press_event_t&>(event);
        if (type == XCB_KEY_RELEASE)
            released = key.time;
        else if (type == XCB_KEY_PRESS && std::exchange(released, 0) != key.time)
            pressed();
    }

    const std::unique_ptr<XConnection> x;
    const std::function<void()> pressed;
    xcb_timestamp_t released = 0;
    std::jthread waiter; // last: it uses the above
};

class XShortcuts : public GlobalShortcuts {
public:
    std::unique_ptr<ShortcutRegistration> add(std::uint32_t keyCode, std::uint32_t modifiers,
                                              ShortcutEvents events) override {
        auto connection = XConnection::open();
        if (!connection)
            throw ShortcutError(noServer, "the X server does not answer");
        const auto key = keyWithCode(keyCode);
        if (!key)
            throw ShortcutError(noKey, "there is no such key");
        return std::make_unique<XShortcut>(std::move(connection), *key, modifiers,
                                           std::move(events.pressed));
    }

    std::string characterOf(std::uint32_t keyCode) override {
        const auto key = keyWithCode(keyCode);
        const auto connection = XConnection::open();
        if (!key || !connection)
            return "";
        const XKeyboard keyboard(*connection);
        const auto keycode = keyboard.keycodeOf(*key);
        std::array<char, 8> text{};
        const auto symbol = keycode ? keyboard.symbolOf(*keycode) : XCB_NO_SYMBOL;
        return xkb_keysym_to_utf8(symbol, text.data(), text.size()) > 0 ? text.data() : "";
    }
};

} // namespace

std::unique_ptr<GlobalShortcuts> makeXShortcuts() {
    if (!XConnection::open())
        return nullptr;
    return std::make_unique<XShortcuts>();
}

} // namespace tavik
