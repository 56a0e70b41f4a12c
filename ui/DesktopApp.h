#pragma once

namespace tavik {

// Runs Tavik with its tray item and windows until it is told to quit; see chooseDisplay(). Blocks;
// belongs to the main thread.
void runDesktop(int argumentCount, char** arguments);

} // namespace tavik
