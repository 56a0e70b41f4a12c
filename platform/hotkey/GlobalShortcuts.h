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
    // Two of the numbers mean the same everywhere.
    static constexpr int noService = -3;  // the desktop has no shortcuts for programs
    static constexpr int userRefused = 1; // the desktop asked its user, who said no

    ShortcutError(int failureStatus, const std::string& reason)
        : std::runtime_error(reason)
        , status(failureStatus) {}

    const int status; // the platform's number, never 0
};

// What becomes of a shortcut, told on another thread.
struct ShortcutEvents {
    // For each press, and once for a key that is held down.
    std::function<void()> pressed = [] {};
    // By a desktop that asks its user: the shortcut is had, with these keys, in the desktop's own
    // words, which may be none. Again when the user has changed them there.
    std::function<void(const std::string& keys)> granted = [](const std::string&) {};
    // By such a desktop, once: it is not had, or not any more.
    std::function<void(const ShortcutError&)> lost = [](const ShortcutError&) {};
};

// A shortcut that works in every program, as long as this lives.
class ShortcutRegistration {
public:
    virtual ~ShortcutRegistration() = default;
};

// The desktop's way to shortcuts that work everywhere. Belongs to one thread.
class GlobalShortcuts {
public:
    virtual ~GlobalShortcuts() = default;

    // Whether the desktop asks its user first, so that `add` only begins to ask.
    virtual bool asksTheUser() const { return false; }

    // `keyCode` and `modifiers` are those of the settings (KeyTable.h). Throws ShortcutError when
    // it can be told at once that another program has the shortcut, or that there is no such key.
    virtual std::unique_ptr<ShortcutRegistration>
    add(std::uint32_t keyCode, std::uint32_t modifiers, ShortcutEvents events) = 0;

    // What the key types in the current layout, in UTF-8; empty when it types nothing.
    virtual std::string characterOf(std::uint32_t keyCode) = 0;

    // What is left when a shortcut was lost for want of a service; null for nothing.
    virtual std::unique_ptr<GlobalShortcuts> substitute() { return nullptr; }
};

// How a desktop that asks its user names the program and the shortcut.
struct ShortcutPurpose {
    std::string applicationID; // of the desktop entry
    std::string description;   // for people
};

// Those of the session: a Wayland session's desktop is asked, and so is any without an X server.
std::unique_ptr<GlobalShortcuts> makeGlobalShortcuts(const ShortcutPurpose& purpose);

// Those of the X server; null without one.
std::unique_ptr<GlobalShortcuts> makeXShortcuts();

} // namespace tavik
