#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>

namespace tavik {

// The shortcut cannot be had. `what()` is a clear phrase.
class ShortcutError : public std::runtime_error {
public:
    ShortcutError(int failureStatus, const std::string& reason)
        : std::runtime_error(reason)
        , status(failureStatus) {}

    const int status; // the platform's number, never 0
};

// A shortcut that works in every program, as long as this lives.
class ShortcutRegistration {
public:
    virtual ~ShortcutRegistration() = default;
};

// The desktop's way to shortcuts that work everywhere. Belongs to one thread.
class GlobalShortcuts {
public:
    using Pressed = std::function<void()>;

    virtual ~GlobalShortcuts() = default;

    // `pressed` is called on another thread for each press, and once for a key that is held down.
    // `keyCode` and `modifiers` are those of the settings (KeyTable.h). Throws ShortcutError, at
    // once when another program has the shortcut.
    virtual std::unique_ptr<ShortcutRegistration> add(std::uint32_t keyCode,
                                                      std::uint32_t modifiers, Pressed pressed) = 0;

    // What the key types in the current layout, in UTF-8; empty when it types nothing.
    virtual std::string characterOf(std::uint32_t keyCode) = 0;
};

// Those of the X server; null without one.
std::unique_ptr<GlobalShortcuts> makeXShortcuts();

} // namespace tavik
