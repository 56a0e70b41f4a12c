#pragma once

#include <cstdint>

namespace tavik {

// Asks the window manager of X11 to list a window neither in its taskbar nor in its pager. To be
// called before each time the window is shown, since hiding it ends that.
void keepOutOfTaskbar(std::uint32_t window);

} // namespace tavik
