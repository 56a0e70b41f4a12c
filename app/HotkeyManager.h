#pragma once

#include "platform/hotkey/GlobalShortcuts.h"

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace tavik {

class UserDefaults;

// The one shortcut that starts a conversation everywhere, as the settings "hotkeyEnabled",
// "hotkeyKeyCode" and "hotkeyModifiers" want it. Belongs to the main thread.
class HotkeyManager {
public:
    struct Combo {
        std::uint32_t keyCode = 49;     // the space bar
        std::uint32_t modifiers = 2048; // option

        bool operator==(const Combo&) const = default;
    };

    struct Actions {
        std::function<void()> onTrigger;                 // the shortcut was pressed
        std::function<void(const std::string&)> onError; // a sentence for the user
    };

    // Without `shortcuts` there is no hotkey, and the log says so.
    HotkeyManager(std::unique_ptr<GlobalShortcuts> shortcuts, UserDefaults& defaults,
                  Actions actions);
    ~HotkeyManager();
    HotkeyManager(const HotkeyManager&) = delete;
    HotkeyManager& operator=(const HotkeyManager&) = delete;

    // Brings what is registered in line with the settings. A shortcut that cannot be had leaves the
    // one before in force and writes it back into the settings.
    void applyFromDefaults();
    void unregister();

    // Tells whoever shows the shortcut, too, that one was refused.
    void onRefused(std::function<void(const std::string&)> tell) { refused = std::move(tell); }

    bool isAvailable() const { return shortcuts != nullptr; }
    // What is registered.
    const std::optional<Combo>& activeCombo() const { return active; }
    // What the settings want; nothing when a number is none that a key or its modifiers can have.
    std::optional<Combo> wantedCombo() const;
    // For people: "⌥Space".
    std::string describe(const Combo& combo) const;

private:
    void use(const Combo& combo);
    void failed(const ShortcutError& error);

    const std::unique_ptr<GlobalShortcuts> shortcuts;
    UserDefaults& defaults;
    const Actions actions;
    std::function<void(const std::string&)> refused = [](const std::string&) {};
    std::optional<Combo> active;
    std::shared_ptr<char> life = std::make_shared<char>(); // presses that come later do nothing
    std::unique_ptr<ShortcutRegistration> registration;
};

} // namespace tavik
