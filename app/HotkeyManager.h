#pragma once

#include "platform/concurrency/MainJobs.h"
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

    // Without `shortcuts` there is no hotkey, and the log says so. Where the desktop asks its user
    // first, a shortcut is registered when the answer has come.
    HotkeyManager(std::unique_ptr<GlobalShortcuts> shortcuts, UserDefaults& defaults,
                  Actions actions);
    ~HotkeyManager();
    HotkeyManager(const HotkeyManager&) = delete;
    HotkeyManager& operator=(const HotkeyManager&) = delete;

    // Brings what is registered in line with the settings. A shortcut that cannot be had leaves the
    // one before in force and writes it back into the settings. Where the user told the desktop
    // that there shall be none, it is switched off in the settings, so that nobody is asked at each
    // start.
    void applyFromDefaults();
    void unregister();

    // Tells whoever shows the shortcut that something changed by itself, with the sentence when one
    // was refused, else with an empty one.
    void onChange(std::function<void(const std::string&)> tell) { changed = std::move(tell); }

    bool isAvailable() const { return shortcuts != nullptr; }
    // Whether the desktop's user is asked for each shortcut, and may choose its keys there.
    bool asksTheUser() const { return shortcuts && shortcuts->asksTheUser(); }
    bool awaitsTheUser() const { return asked.registration != nullptr; }
    // What is registered.
    std::optional<Combo> activeCombo() const;
    // Its keys, in the words of a desktop that asks its user; empty when that has none.
    const std::string& keysOfDesktop() const { return used.keys; }
    // What the settings want; nothing when a number is none that a key or its modifiers can have.
    std::optional<Combo> wantedCombo() const;
    // For people: "⌥Space".
    std::string describe(const Combo& combo) const;

private:
    struct Registered {
        int number = 0; // tells late news of an earlier one apart
        Combo combo;
        std::string keys;
        std::unique_ptr<ShortcutRegistration> registration;
    };

    void use(const Combo& combo);
    void keep(Registered added);
    void granted(int number, const std::string& keys);
    void lost(int number, const ShortcutError& error);
    void goOnWithout();
    void failed(const ShortcutError& error);
    ShortcutEvents eventsOf(int number);

    std::unique_ptr<GlobalShortcuts> shortcuts;
    UserDefaults& defaults;
    const Actions actions;
    std::function<void(const std::string&)> changed = [](const std::string&) {};
    int numbers = 0;
    Registered used;
    Registered asked; // of the desktop, which has not answered
    MainJobs onMain;  // last: its jobs use the above
};

} // namespace tavik
