#include "platform/desktop/DisplayCheck.h"
#include "platform/hotkey/PortalShortcuts.h"

namespace tavik {

// Under Wayland an X server hears only the keys that are meant for its own windows.
std::unique_ptr<GlobalShortcuts> makeGlobalShortcuts(const ShortcutPurpose& purpose) {
    auto ofTheServer = isWaylandSession() ? nullptr : makeXShortcuts();
    return ofTheServer ? std::move(ofTheServer) : makePortalShortcuts(purpose);
}

} // namespace tavik
