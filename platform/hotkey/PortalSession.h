#pragma once

#include "platform/hotkey/PortalConnection.h"

#include <functional>
#include <string>

namespace tavik {

// How long the portal may take.
struct PortalPatience {
    std::chrono::milliseconds answer{30'000}; // for anything but asking the user
    std::chrono::milliseconds user{300'000};  // who may leave its dialog alone
    std::chrono::milliseconds pause{1'000};   // before the first new attempt
};

// A shortcut as the portal takes it.
struct PortalShortcut {
    std::string id; // the same for the same keys, by which the desktop remembers its user's choice
    std::string description; // for people
    std::string trigger;     // the keys that are preferred
};

// A session with the desktop's portal that holds one shortcut. Belongs to one thread, as its
// connection does. Everything throws PortalError and Cancelled. Private to this folder.
class PortalSession {
public:
    struct Events {
        std::function<void()> pressed;
        std::function<void(const std::string& keys)>
            granted; // had, with keys in the portal's words
    };

    // Opens the session, in the name of the program with that desktop entry.
    PortalSession(const std::string& applicationID, PortalPatience patience, Events events,
                  std::stop_token stop);

    // Has the shortcut, and asks the user for it if the desktop does not know it yet.
    void bind(const PortalShortcut& shortcut);
    // Returns when the desktop has closed the session, or the portal has ended.
    void serve();

private:
    void nameOurselves(const std::string& applicationID);
    void create();
    GioVariant askUser(const PortalShortcut& shortcut);
    void listen();
    void activated(GVariant* values);
    void deactivated(GVariant* values);
    void changed(GVariant* values);
    bool isOurs(GVariant* values) const;
    GVariant* optionsFor(const std::string& token) const;
    GioVariant request(const char* method, const std::string& token, GVariant* arguments,
                       std::chrono::milliseconds limit);

    const PortalPatience patience;
    const Events events;
    PortalConnection portal;
    std::string handle; // the session's path
    std::string shortcutID;
    bool isClosed = false;
    bool isHeld = false;
    std::chrono::steady_clock::time_point lastPress;
};

} // namespace tavik
