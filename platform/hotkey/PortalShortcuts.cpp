#include "platform/hotkey/PortalShortcuts.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/hotkey/KeyTable.h"

#include <array>
#include <fmt/format.h>
#include <thread>
#include <utility>
#include <xkbcommon/xkbcommon.h>

namespace tavik {

namespace {

constexpr int noKey = -1;
constexpr int attemptsInARow = 5; // with a pause that doubles
constexpr std::chrono::minutes goodService{1};

std::string triggerOf(const Key& key, std::uint32_t modifiers) {
    constexpr std::array names = {
        std::pair(modifier::control, "CTRL+"), std::pair(modifier::option, "ALT+"),
        std::pair(modifier::shift, "SHIFT+"), std::pair(modifier::command, "LOGO+")};
    std::string trigger;
    for (const auto& [bit, name] : names)
        if ((modifiers & bit) != 0)
            trigger += name;
    return trigger.append(key.portalName);
}

ShortcutError lossOf(const PortalError& error) {
    const bool isMissing = error.kind == PortalError::Kind::missing;
    return {isMissing ? ShortcutError::noService : error.status, error.what()};
}

// A shortcut with a thread and a connection of its own, whose end frees it.
class PortalRegistration : public ShortcutRegistration {
public:
    PortalRegistration(std::string desktopEntry, PortalShortcut wanted, PortalPatience limits,
                       ShortcutEvents whatToDo)
        : applicationID(std::move(desktopEntry))
        , shortcut(std::move(wanted))
        , patience(limits)
        , events(std::move(whatToDo)) {}

private:
    void run(const std::stop_token& stop) {
        nameThisThread("ai.tavik.hotkey");
        try {
            while (attempts < attemptsInARow) {
                attempt(stop);
                systemClock().sleepFor(patience.pause * (1 << attempts++), stop);
            }
            events.lost({ETIMEDOUT, "the portal ends again and again"});
        } catch (const PortalError& error) {
            events.lost(lossOf(error));
        } catch (const Cancelled&) {
            // The shortcut is given back.
        }
    }

    // Throws what makes a further attempt useless.
    void attempt(const std::stop_token& stop) {
        try {
            PortalSession session(applicationID, patience, {events.pressed, granted()}, stop);
            session.bind(shortcut);
            const auto begin = systemClock().now();
            session.serve();
            if (systemClock().now() - begin > goodService)
                attempts = 0;
        } catch (const PortalError& error) {
            // One that was there is being started again.
            const bool comesBack = wasGranted && error.kind == PortalError::Kind::missing;
            if (error.kind != PortalError::Kind::silent && !comesBack)
                throw;
        }
    }

    std::function<void(const std::string&)> granted() {
        return [this](const std::string& keys) {
            wasGranted = true;
            events.granted(keys);
        };
    }

    const std::string applicationID;
    const PortalShortcut shortcut;
    const PortalPatience patience;
    const ShortcutEvents events;
    bool wasGranted = false;
    int attempts = 0;
    std::jthread worker{
        [this](const std::stop_token& stop) { run(stop); }}; // last: it uses the above
};

class PortalShortcuts : public GlobalShortcuts {
public:
    PortalShortcuts(ShortcutPurpose what, PortalPatience limits)
        : purpose(std::move(what))
        , patience(limits) {}

    bool asksTheUser() const override { return true; }

    std::unique_ptr<ShortcutRegistration> add(std::uint32_t keyCode, std::uint32_t modifiers,
                                              ShortcutEvents events) override {
        const auto key = keyWithCode(keyCode);
        if (!key)
            throw ShortcutError(noKey, "there is no such key");
        return std::make_unique<PortalRegistration>(
            purpose.applicationID,
            PortalShortcut{.id = fmt::format("shortcut-{}-{}", keyCode, modifiers),
                           .description = purpose.description,
                           .trigger = triggerOf(*key, modifiers)},
            patience, std::move(events));
    }

    // The layout is the X server's where there is one, else an American keyboard's.
    std::string characterOf(std::uint32_t keyCode) override {
        if (const auto x = makeXShortcuts())
            return x->characterOf(keyCode);
        const auto key = keyWithCode(keyCode);
        std::array<char, 8> text{};
        const bool types = key && key->keysym < firstFunctionSymbol &&
                           xkb_keysym_to_utf8(key->keysym, text.data(), text.size()) > 0;
        return types ? text.data() : "";
    }

    std::unique_ptr<GlobalShortcuts> substitute() override { return makeXShortcuts(); }

private:
    const ShortcutPurpose purpose;
    const PortalPatience patience;
};

} // namespace

std::unique_ptr<GlobalShortcuts> makePortalShortcuts(ShortcutPurpose purpose,
                                                     PortalPatience patience) {
    return std::make_unique<PortalShortcuts>(std::move(purpose), patience);
}

} // namespace tavik
