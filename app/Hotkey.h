#pragma once

#include <cstdint>
#include <functional>
#include <string>

// Keyboard shortcuts in the terms of the settings: key codes and modifier bits of KeyTable.h.
namespace tavik::Hotkey {

// The modifiers of a key press, as the toolkit tells them.
struct Modifiers {
    bool control = false;
    bool option = false;
    bool shift = false;
    bool command = false;
};

std::uint32_t carbonModifiers(const Modifiers& from);

// F1 to F12, which make a shortcut without a modifier.
bool isFunctionKey(std::uint32_t keyCode);

// What a key types in the keyboard's layout; empty for nothing.
using Layout = std::function<std::string(std::uint32_t keyCode)>;

// For people: "⌥Space", "⌃⌥⌘K".
std::string describe(std::uint32_t keyCode, std::uint32_t carbonModifiers, const Layout& layout);
std::string keyName(std::uint32_t keyCode, const Layout& layout);

} // namespace tavik::Hotkey
