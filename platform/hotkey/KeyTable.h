#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

// The keys of the settings. A key code stands for a place on the keyboard, whatever its layout
// makes of it, in the numbering that the settings have had from their beginning.
namespace tavik {

namespace modifier {
constexpr std::uint32_t command = 256; // the key with the logo, "Super"
constexpr std::uint32_t shift = 512;
constexpr std::uint32_t option = 2048; // "Alt"
constexpr std::uint32_t control = 4096;
} // namespace modifier

// X11 numbers the keys of the keyboard so much higher than the kernel.
constexpr std::uint32_t keycodesBeforeEvdev = 8;
// From this symbol on keys do not type.
constexpr std::uint32_t firstFunctionSymbol = 0xff00;

// A key as the layers of the desktop name it.
struct Key {
    std::uint32_t code = 0;
    std::uint32_t evdev = 0;     // the kernel's number of that place
    std::uint32_t keysym = 0;    // X11's, on an American keyboard
    std::string_view portalName; // of the shortcuts portal: xkbcommon's
};

// Nothing for a code that no key has.
std::optional<Key> keyWithCode(std::uint32_t code);
// The key at a place, or the one with that symbol; nothing for one without a code.
std::optional<Key> keyWithEvdev(std::uint32_t evdev);
std::optional<Key> keyWithKeysym(std::uint32_t keysym);

} // namespace tavik
