#pragma once

#include "platform/desktop/XConnection.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace tavik {

// Fingers on the keyboard of the X server that DISPLAY names.
class PressedKeys {
public:
    PressedKeys();

    // Presses the keys with these symbols of X11's one after another, and releases them in the
    // other direction. Returns when the server has taken that.
    void chord(const std::vector<std::uint32_t>& symbols);

private:
    void send(std::uint32_t symbol, std::uint8_t type);

    std::unique_ptr<XConnection> x;
};

} // namespace tavik
