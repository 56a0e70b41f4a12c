#pragma once

#include "platform/hotkey/GlobalShortcuts.h"

#include <map>
#include <set>
#include <string>
#include <utility>

namespace tavik {

// Counts what is registered, and has no shortcut that is taken.
class FakeShortcuts : public GlobalShortcuts {
public:
    using Combo = std::pair<std::uint32_t, std::uint32_t>;
    struct Desktop {
        std::set<Combo> taken;
        std::map<Combo, ShortcutEvents> registered;
        int additions = 0;
        bool asksTheUser = false; // the test then tells what becomes of a shortcut
    };

    explicit FakeShortcuts(Desktop& fakeDesktop)
        : desktop(fakeDesktop) {}

    bool asksTheUser() const override { return desktop.asksTheUser; }
    std::unique_ptr<ShortcutRegistration> add(std::uint32_t keyCode, std::uint32_t modifiers,
                                              ShortcutEvents events) override {
        const Combo combo(keyCode, modifiers);
        if (desktop.taken.contains(combo))
            throw ShortcutError(10, "taken");
        ++desktop.additions;
        desktop.registered[combo] = std::move(events);
        return std::make_unique<Registration>(desktop, combo);
    }
    std::string characterOf(std::uint32_t keyCode) override { return keyCode == 40 ? "k" : ""; }

private:
    struct Registration : ShortcutRegistration {
        Registration(Desktop& fakeDesktop, Combo registered)
            : desktop(fakeDesktop)
            , combo(registered) {}
        ~Registration() override { desktop.registered.erase(combo); }
        Desktop& desktop;
        Combo combo;
    };

    Desktop& desktop;
};

} // namespace tavik
