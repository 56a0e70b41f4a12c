#include "agent/SessionID.h"

#include <fmt/format.h>
#include <random>

namespace tavik {

std::string makeSessionID() {
    std::random_device device;
    const auto bits = [&device](unsigned mask) { return static_cast<unsigned>(device()) & mask; };
    return fmt::format("{:08X}-{:04X}-{:04X}-{:04X}-{:04X}{:08X}", bits(0xFFFFFFFF), bits(0xFFFF),
                       0x4000 | bits(0x0FFF), 0x8000 | bits(0x3FFF), bits(0xFFFF),
                       bits(0xFFFFFFFF));
}

} // namespace tavik
