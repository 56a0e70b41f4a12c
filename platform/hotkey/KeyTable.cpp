#include "platform/hotkey/KeyTable.h"

#include <algorithm>
#include <array>

namespace tavik {

namespace {

// clang-format off
constexpr std::array keys = {
    Key{0, 30, 0x0061, "a"},
    Key{1, 31, 0x0073, "s"},
    Key{2, 32, 0x0064, "d"},
    Key{3, 33, 0x0066, "f"},
    Key{4, 35, 0x0068, "h"},
    Key{5, 34, 0x0067, "g"},
    Key{6, 44, 0x007a, "z"},
    Key{7, 45, 0x0078, "x"},
    Key{8, 46, 0x0063, "c"},
    Key{9, 47, 0x0076, "v"},
    Key{10, 86, 0x003c, "less"},
    Key{11, 48, 0x0062, "b"},
    Key{12, 16, 0x0071, "q"},
    Key{13, 17, 0x0077, "w"},
    Key{14, 18, 0x0065, "e"},
    Key{15, 19, 0x0072, "r"},
    Key{16, 21, 0x0079, "y"},
    Key{17, 20, 0x0074, "t"},
    Key{18, 2, 0x0031, "1"},
    Key{19, 3, 0x0032, "2"},
    Key{20, 4, 0x0033, "3"},
    Key{21, 5, 0x0034, "4"},
    Key{22, 7, 0x0036, "6"},
    Key{23, 6, 0x0035, "5"},
    Key{24, 13, 0x003d, "equal"},
    Key{25, 10, 0x0039, "9"},
    Key{26, 8, 0x0037, "7"},
    Key{27, 12, 0x002d, "minus"},
    Key{28, 9, 0x0038, "8"},
    Key{29, 11, 0x0030, "0"},
    Key{30, 27, 0x005d, "bracketright"},
    Key{31, 24, 0x006f, "o"},
    Key{32, 22, 0x0075, "u"},
    Key{33, 26, 0x005b, "bracketleft"},
    Key{34, 23, 0x0069, "i"},
    Key{35, 25, 0x0070, "p"},
    Key{36, 28, 0xff0d, "Return"},
    Key{37, 38, 0x006c, "l"},
    Key{38, 36, 0x006a, "j"},
    Key{39, 40, 0x0027, "apostrophe"},
    Key{40, 37, 0x006b, "k"},
    Key{41, 39, 0x003b, "semicolon"},
    Key{42, 43, 0x005c, "backslash"},
    Key{43, 51, 0x002c, "comma"},
    Key{44, 53, 0x002f, "slash"},
    Key{45, 49, 0x006e, "n"},
    Key{46, 50, 0x006d, "m"},
    Key{47, 52, 0x002e, "period"},
    Key{48, 15, 0xff09, "Tab"},
    Key{49, 57, 0x0020, "space"},
    Key{50, 41, 0x0060, "grave"},
    Key{51, 14, 0xff08, "BackSpace"},
    Key{53, 1, 0xff1b, "Escape"},
    Key{64, 187, 0xffce, "F17"},
    Key{65, 83, 0xffae, "KP_Decimal"},
    Key{67, 55, 0xffaa, "KP_Multiply"},
    Key{69, 78, 0xffab, "KP_Add"},
    Key{75, 98, 0xffaf, "KP_Divide"},
    Key{76, 96, 0xff8d, "KP_Enter"},
    Key{78, 74, 0xffad, "KP_Subtract"},
    Key{79, 188, 0xffcf, "F18"},
    Key{80, 189, 0xffd0, "F19"},
    Key{81, 117, 0xffbd, "KP_Equal"},
    Key{82, 82, 0xffb0, "KP_0"},
    Key{83, 79, 0xffb1, "KP_1"},
    Key{84, 80, 0xffb2, "KP_2"},
    Key{85, 81, 0xffb3, "KP_3"},
    Key{86, 75, 0xffb4, "KP_4"},
    Key{87, 76, 0xffb5, "KP_5"},
    Key{88, 77, 0xffb6, "KP_6"},
    Key{89, 71, 0xffb7, "KP_7"},
    Key{90, 190, 0xffd1, "F20"},
    Key{91, 72, 0xffb8, "KP_8"},
    Key{92, 73, 0xffb9, "KP_9"},
    Key{96, 63, 0xffc2, "F5"},
    Key{97, 64, 0xffc3, "F6"},
    Key{98, 65, 0xffc4, "F7"},
    Key{99, 61, 0xffc0, "F3"},
    Key{100, 66, 0xffc5, "F8"},
    Key{101, 67, 0xffc6, "F9"},
    Key{103, 87, 0xffc8, "F11"},
    Key{105, 183, 0xffca, "F13"},
    Key{106, 186, 0xffcd, "F16"},
    Key{107, 184, 0xffcb, "F14"},
    Key{109, 68, 0xffc7, "F10"},
    Key{111, 88, 0xffc9, "F12"},
    Key{113, 185, 0xffcc, "F15"},
    Key{114, 110, 0xff63, "Insert"},
    Key{115, 102, 0xff50, "Home"},
    Key{116, 104, 0xff55, "Prior"},
    Key{117, 111, 0xffff, "Delete"},
    Key{118, 62, 0xffc1, "F4"},
    Key{119, 107, 0xff57, "End"},
    Key{120, 60, 0xffbf, "F2"},
    Key{121, 109, 0xff56, "Next"},
    Key{122, 59, 0xffbe, "F1"},
    Key{123, 105, 0xff51, "Left"},
    Key{124, 106, 0xff53, "Right"},
    Key{125, 108, 0xff54, "Down"},
    Key{126, 103, 0xff52, "Up"},
};
// clang-format on

std::optional<Key> find(std::uint32_t Key::*number, std::uint32_t wanted) {
    const auto* found = std::ranges::find(keys, wanted, number);
    return found == keys.end() ? std::nullopt : std::optional(*found);
}

} // namespace

std::optional<Key> keyWithCode(std::uint32_t code) {
    return find(&Key::code, code);
}

std::optional<Key> keyWithEvdev(std::uint32_t evdev) {
    return find(&Key::evdev, evdev);
}

std::optional<Key> keyWithKeysym(std::uint32_t keysym) {
    return find(&Key::keysym, keysym);
}

} // namespace tavik
