#include "app/Hotkey.h"

#include "platform/hotkey/KeyTable.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <utility>

namespace tavik::Hotkey {

namespace {

using Named = std::pair<std::uint32_t, const char*>;

constexpr std::array functionKeys = {Named{122, "F1"},  Named{120, "F2"},  Named{99, "F3"},
                                     Named{118, "F4"},  Named{96, "F5"},   Named{97, "F6"},
                                     Named{98, "F7"},   Named{100, "F8"},  Named{101, "F9"},
                                     Named{109, "F10"}, Named{103, "F11"}, Named{111, "F12"}};

constexpr std::array otherKeys = {Named{49, "Space"}, Named{36, "↩"},  Named{48, "⇥"},
                                  Named{53, "⎋"},     Named{51, "⌫"},  Named{123, "←"},
                                  Named{124, "→"},    Named{126, "↑"}, Named{125, "↓"}};

constexpr std::array symbols = {Named{modifier::control, "⌃"}, Named{modifier::option, "⌥"},
                                Named{modifier::shift, "⇧"}, Named{modifier::command, "⌘"}};

template<typename Keys>
const char* nameIn(const Keys& keys, std::uint32_t keyCode) {
    const auto* found = std::ranges::find(keys, keyCode, &Named::first);
    return found == keys.end() ? nullptr : found->second;
}

} // namespace

std::uint32_t carbonModifiers(const Modifiers& from) {
    return (from.control ? modifier::control : 0) | (from.option ? modifier::option : 0) |
           (from.shift ? modifier::shift : 0) | (from.command ? modifier::command : 0);
}

bool isFunctionKey(std::uint32_t keyCode) {
    return nameIn(functionKeys, keyCode) != nullptr;
}

std::string keyName(std::uint32_t keyCode, const Layout& layout) {
    for (const char* name : {nameIn(otherKeys, keyCode), nameIn(functionKeys, keyCode)})
        if (name)
            return name;
    const std::string character = layout(keyCode);
    return character.empty() ? "Key " + std::to_string(keyCode) : capitalized(character);
}

std::string describe(std::uint32_t keyCode, std::uint32_t carbonModifiers, const Layout& layout) {
    std::string text;
    for (const auto& [bit, symbol] : symbols)
        if ((carbonModifiers & bit) != 0)
            text += symbol;
    return text + keyName(keyCode, layout);
}

} // namespace tavik::Hotkey
