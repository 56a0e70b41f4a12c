#include "platform/desktop/DesktopContext.h"

namespace tavik {

// What a session without a desktop gives: there is no display to ask.
DesktopContext readDesktopContext() {
    return {"unknown", {}};
}

} // namespace tavik
