#pragma once

#include <string>

namespace tavik {

// What the voice loop is doing, for the menu and the orb.
struct TavikPhase {
    enum class Kind { error, off, preparing, idle, listening, thinking, speaking };

    Kind kind = Kind::off;
    std::string message; // for the user; of `error` only

    static TavikPhase error(std::string message) { return {Kind::error, std::move(message)}; }
    bool operator==(const TavikPhase&) const = default;
};

// "idle", or "error: " and the message.
std::string describe(const TavikPhase& phase);

} // namespace tavik
