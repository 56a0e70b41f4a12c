#pragma once

#include "platform/desktop/XConnection.h"
#include "platform/hotkey/KeyTable.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace tavik {

// The X server's keyboard as it is laid out now. Private to this folder.
class XKeyboard {
public:
    explicit XKeyboard(const XConnection& display);

    // The server's number of the key; nothing when the keyboard lacks it.
    std::optional<xcb_keycode_t> keycodeOf(const Key& key) const;
    // What it types without modifiers; XCB_NO_SYMBOL for nothing.
    xcb_keysym_t symbolOf(xcb_keycode_t keycode) const;

    // The server's modifiers for those of the settings.
    std::uint16_t maskOf(std::uint32_t modifiers) const;
    // Every combination of the modifiers that are only locks, such as that of the digits, none of
    // them included: a shortcut has to be had with each.
    std::vector<std::uint16_t> lockMasks() const;

private:
    void readSymbols(const XConnection& display);
    void readModifiers(const XConnection& display);
    std::optional<xcb_keycode_t> keycodeWithSymbol(xcb_keysym_t symbol) const;
    std::uint16_t modifierWith(const std::vector<xcb_keysym_t>& symbols, std::uint16_t usual) const;

    xcb_keycode_t first = 0;
    std::size_t columns = 1; // symbols a key
    std::vector<xcb_keysym_t> symbols;
    std::size_t keysPerModifier = 0;
    std::vector<xcb_keycode_t> modifierKeys;
};

} // namespace tavik
