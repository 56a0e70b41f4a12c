#pragma once

#include <optional>
#include <stop_token>
#include <string>

namespace tavik {

// The text on the clipboard, in UTF-8 unless its owner gives something else; empty when there is
// none. Nothing when it cannot be told: no display of X11's, an owner that does not answer in about
// a second or that has text in an unknown form only, or more than 16 MiB. Throws Cancelled within
// 50 ms of a stop request. Safe from any thread.
//
// Under Wayland it is read through XWayland.
std::optional<std::string> clipboardText(std::stop_token stop);

} // namespace tavik
