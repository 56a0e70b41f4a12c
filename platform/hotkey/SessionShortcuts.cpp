#include "platform/hotkey/PortalShortcuts.h"

#include <cstdlib>
#include <string_view>

namespace tavik {

namespace {

std::string_view environment(const char* name) {
    const char* value = std::getenv(name);
    return value ? value : "";
}

// There an X server hears only the keys that are meant for its own windows.
bool isWayland() {
    return environment("XDG_SESSION_TYPE") == "wayland" || !environment("WAYLAND_DISPLAY").empty();
}

} // namespace

std::unique_ptr<GlobalShortcuts> makeGlobalShortcuts(const ShortcutPurpose& purpose) {
    auto ofTheServer = isWayland() ? nullptr : makeXShortcuts();
    return ofTheServer ? std::move(ofTheServer) : makePortalShortcuts(purpose);
}

} // namespace tavik
