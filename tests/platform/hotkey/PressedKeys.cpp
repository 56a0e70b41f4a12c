#include "tests/platform/hotkey/PressedKeys.h"

#include "platform/hotkey/XKeyboard.h"

#include <algorithm>
#include <stdexcept>
#include <vector>
#include <xcb/xtest.h>

namespace tavik {

PressedKeys::PressedKeys()
    : x(XConnection::open()) {
    if (!x)
        throw std::runtime_error("there is no X server");
}

void PressedKeys::chord(const std::vector<std::uint32_t>& symbols) {
    std::vector<std::uint32_t> keys = symbols;
    for (const auto key : keys)
        send(key, XCB_KEY_PRESS);
    std::reverse(keys.begin(), keys.end());
    for (const auto key : keys)
        send(key, XCB_KEY_RELEASE);
    free(xcb_get_input_focus_reply(x->get(), xcb_get_input_focus(x->get()), nullptr));
}

void PressedKeys::send(std::uint32_t symbol, std::uint8_t type) {
    const XKeyboard keyboard(*x);
    for (int keycode = 8; keycode < 256; ++keycode)
        if (keyboard.symbolOf(static_cast<xcb_keycode_t>(keycode)) == symbol) {
            xcb_test_fake_input(x->get(), type, static_cast<std::uint8_t>(keycode),
                                XCB_CURRENT_TIME, XCB_NONE, 0, 0, 0);
            return;
        }
    throw std::runtime_error("the keyboard lacks a key of the test");
}

} // namespace tavik
