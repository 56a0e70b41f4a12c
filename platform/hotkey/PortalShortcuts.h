#pragma once

#include "platform/hotkey/GlobalShortcuts.h"
#include "platform/hotkey/PortalSession.h"

namespace tavik {

// Those of the desktop's portal, in whose dialog the user allows them and may choose other keys.
// Whether there is such a portal turns out when a shortcut is added. A portal that ends, or closes
// the session, is asked anew a few times.
std::unique_ptr<GlobalShortcuts> makePortalShortcuts(ShortcutPurpose purpose,
                                                     PortalPatience patience = {});

} // namespace tavik
