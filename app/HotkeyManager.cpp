#include "app/HotkeyManager.h"

#include "app/Hotkey.h"
#include "app/Log.h"
#include "platform/defaults/UserDefaults.h"

#include <cmath>
#include <limits>
#include <utility>

namespace tavik {

namespace {

constexpr const char* unavailable =
    "That shortcut is in use or unavailable. Choose another in Settings.";
constexpr const char* previousWorks = " Your previous shortcut still works.";

// What is no whole number counts as missing.
double integerOr(std::optional<double> stored, double otherwise) {
    return stored && *stored == std::floor(*stored) ? *stored : otherwise;
}

bool fits(double number) {
    return number >= 0 && number <= std::numeric_limits<std::uint32_t>::max();
}

} // namespace

HotkeyManager::HotkeyManager(std::unique_ptr<GlobalShortcuts> desktopShortcuts,
                             UserDefaults& userDefaults, Actions whatToDo)
    : shortcuts(std::move(desktopShortcuts))
    , defaults(userDefaults)
    , actions(std::move(whatToDo)) {}

HotkeyManager::~HotkeyManager() = default;

std::optional<HotkeyManager::Combo> HotkeyManager::wantedCombo() const {
    const Combo usual;
    const double keyCode = integerOr(defaults.number("hotkeyKeyCode"), usual.keyCode);
    const double modifiers = integerOr(defaults.number("hotkeyModifiers"), usual.modifiers);
    if (!fits(keyCode) || !fits(modifiers))
        return std::nullopt;
    return Combo{static_cast<std::uint32_t>(keyCode), static_cast<std::uint32_t>(modifiers)};
}

std::optional<HotkeyManager::Combo> HotkeyManager::activeCombo() const {
    return used.registration ? std::optional(used.combo) : std::nullopt;
}

void HotkeyManager::applyFromDefaults() {
    if (!defaults.boolean("hotkeyEnabled").value_or(true)) {
        unregister();
        return;
    }
    if (!shortcuts) {
        log("[hotkey] there is no display, and so no hotkey");
        return;
    }
    const auto wanted = wantedCombo();
    if (!wanted || (awaitsTheUser() ? wanted == asked.combo : wanted == activeCombo()))
        return;
    try {
        asked = {};
        if (wanted != activeCombo())
            use(*wanted);
    } catch (const ShortcutError& error) {
        failed(error);
    }
}

void HotkeyManager::unregister() {
    asked = {};
    used = {};
}

// The new one is had before the old one goes.
void HotkeyManager::use(const Combo& combo) {
    Registered added{.number = ++numbers, .combo = combo};
    added.registration = shortcuts->add(combo.keyCode, combo.modifiers, eventsOf(added.number));
    if (!shortcuts->asksTheUser()) {
        keep(std::move(added));
        return;
    }
    asked = std::move(added);
    log("[hotkey] asking the desktop for " + describe(combo));
}

void HotkeyManager::keep(Registered added) {
    used = std::move(added);
    log("[hotkey] registered " + describe(used.combo));
}

ShortcutEvents HotkeyManager::eventsOf(int number) {
    return {.pressed = [this] { onMain.async([this] { actions.onTrigger(); }); },
            .granted =
                [this, number](const std::string& keys) {
                    onMain.async([=, this] { granted(number, keys); });
                },
            .lost =
                [this, number](const ShortcutError& error) {
                    onMain.async([=, this] { lost(number, error); });
                }};
}

void HotkeyManager::granted(int number, const std::string& keys) {
    if (number == asked.number)
        keep(std::exchange(asked, {}));
    if (number != used.number)
        return;
    used.keys = keys;
    changed("");
}

void HotkeyManager::lost(int number, const ShortcutError& error) {
    Registered& gone = number == asked.number ? asked : used;
    if (number != gone.number)
        return;
    gone = {};
    if (error.status == ShortcutError::noService && !used.registration)
        goOnWithout();
    else
        failed(error);
}

void HotkeyManager::goOnWithout() {
    log("[hotkey] this desktop has no shortcuts for programs");
    unregister();
    shortcuts = shortcuts->substitute();
    if (shortcuts)
        applyFromDefaults();
    changed("");
}

void HotkeyManager::failed(const ShortcutError& error) {
    log("[hotkey] register failed: OSStatus " + std::to_string(error.status));
    const auto active = activeCombo();
    if (active) {
        defaults.set("hotkeyKeyCode", active->keyCode);
        defaults.set("hotkeyModifiers", active->modifiers);
    } else if (asksTheUser() && error.status == ShortcutError::userRefused) {
        defaults.set("hotkeyEnabled", false);
    }
    const std::string sentence = std::string(unavailable) + (active ? previousWorks : "");
    actions.onError(sentence);
    changed(sentence);
}

std::string HotkeyManager::describe(const Combo& combo) const {
    return Hotkey::describe(combo.keyCode, combo.modifiers, [this](std::uint32_t keyCode) {
        return shortcuts ? shortcuts->characterOf(keyCode) : "";
    });
}

} // namespace tavik
