#include "platform/hotkey/XKeyboard.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr xcb_keysym_t space = 0x20;
constexpr xcb_keysym_t numLock = 0xff7f;
constexpr xcb_keysym_t scrollLock = 0xff14;
constexpr xcb_keysym_t altLeft = 0xffe9;
constexpr xcb_keysym_t altRight = 0xffea;
constexpr xcb_keysym_t superLeft = 0xffeb;
constexpr xcb_keysym_t superRight = 0xffec;
constexpr unsigned modifierCount = 8;

} // namespace

XKeyboard::XKeyboard(const XConnection& display) {
    readSymbols(display);
    readModifiers(display);
}

void XKeyboard::readSymbols(const XConnection& display) {
    const xcb_setup_t* setup = xcb_get_setup(display.get());
    first = setup->min_keycode;
    const auto count = static_cast<std::uint8_t>(setup->max_keycode - first + 1);
    const XReply<xcb_get_keyboard_mapping_reply_t> reply(xcb_get_keyboard_mapping_reply(
        display.get(), xcb_get_keyboard_mapping(display.get(), first, count), nullptr));
    if (!reply || reply->keysyms_per_keycode == 0)
        return;
    columns = reply->keysyms_per_keycode;
    const xcb_keysym_t* begin = xcb_get_keyboard_mapping_keysyms(reply.get());
    symbols.assign(begin, begin + xcb_get_keyboard_mapping_keysyms_length(reply.get()));
}

void XKeyboard::readModifiers(const XConnection& display) {
    const XReply<xcb_get_modifier_mapping_reply_t> reply(xcb_get_modifier_mapping_reply(
        display.get(), xcb_get_modifier_mapping(display.get()), nullptr));
    if (!reply)
        return;
    keysPerModifier = reply->keycodes_per_modifier;
    const xcb_keycode_t* begin = xcb_get_modifier_mapping_keycodes(reply.get());
    modifierKeys.assign(begin, begin + xcb_get_modifier_mapping_keycodes_length(reply.get()));
}

xcb_keysym_t XKeyboard::symbolOf(xcb_keycode_t keycode) const {
    const std::size_t index = (static_cast<std::size_t>(keycode) - first) * columns;
    return keycode >= first && index < symbols.size() ? symbols[index] : XCB_NO_SYMBOL;
}

std::optional<xcb_keycode_t> XKeyboard::keycodeWithSymbol(xcb_keysym_t symbol) const {
    for (std::size_t index = 0; index < symbols.size(); index += columns)
        if (symbols[index] == symbol)
            return static_cast<xcb_keycode_t>(first + index / columns);
    return std::nullopt;
}

// A key that types is a place, whatever it types; the others are found by what they do, since
// servers without a real keyboard number them in ways of their own.
std::optional<xcb_keycode_t> XKeyboard::keycodeOf(const Key& key) const {
    if (key.keysym >= firstFunctionSymbol || key.keysym == space)
        return keycodeWithSymbol(key.keysym);
    const auto place = static_cast<xcb_keycode_t>(key.evdev + keycodesBeforeEvdev);
    return symbolOf(place) == XCB_NO_SYMBOL ? std::nullopt : std::optional(place);
}

std::uint16_t XKeyboard::modifierWith(const std::vector<xcb_keysym_t>& wanted,
                                      std::uint16_t usual) const {
    for (unsigned modifier = 0; modifier < modifierCount; ++modifier)
        for (std::size_t index = 0; index < keysPerModifier; ++index) {
            const xcb_keycode_t keycode = modifierKeys[modifier * keysPerModifier + index];
            if (keycode != 0 && std::ranges::count(wanted, symbolOf(keycode)) > 0)
                return static_cast<std::uint16_t>(1U << modifier);
        }
    return usual;
}

std::uint16_t XKeyboard::maskOf(std::uint32_t modifiers) const {
    unsigned mask = 0;
    if ((modifiers & modifier::shift) != 0)
        mask |= XCB_MOD_MASK_SHIFT;
    if ((modifiers & modifier::control) != 0)
        mask |= XCB_MOD_MASK_CONTROL;
    if ((modifiers & modifier::option) != 0)
        mask |= modifierWith({altLeft, altRight}, XCB_MOD_MASK_1);
    if ((modifiers & modifier::command) != 0)
        mask |= modifierWith({superLeft, superRight}, XCB_MOD_MASK_4);
    return static_cast<std::uint16_t>(mask);
}

std::vector<std::uint16_t> XKeyboard::lockMasks() const {
    std::vector<std::uint16_t> masks = {0};
    for (const std::uint16_t lock : {static_cast<std::uint16_t>(XCB_MOD_MASK_LOCK),
                                     modifierWith({numLock}, 0), modifierWith({scrollLock}, 0)})
        if (lock != 0)
            for (const std::uint16_t mask : std::vector(masks))
                masks.push_back(static_cast<std::uint16_t>(mask | lock));
    return masks;
}

} // namespace tavik
