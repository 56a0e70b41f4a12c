#pragma once

#include <string>
#include <string_view>
#include <vector>

// What the desktop lets programs do, and where the user changes that. Nothing here prompts; each
// call waits a second at most for a service that hangs. Safe from any thread.
namespace tavik {

enum class DesktopRight { granted, denied, undecided };

// Tavik's entry in the desktop's permission store; undecided also without a store.
DesktopRight microphoneRight();

// Whether applications say what they show, on the accessibility bus.
bool accessibilityIsOn();
void switchAccessibilityOn();

// Whether any program may look at the screen, as under X11.
bool screenIsOpen();

bool sessionBusAnswers();

// Opens the page of the desktop's settings about "microphone", "speech", "accessibility",
// "screenRecording", "automation" or "voices". False when no program for that is installed.
bool openSystemSettings(std::string_view about);

// Starts a program that goes on without us. False when it cannot be started.
bool startDetached(const std::vector<std::string>& command);

} // namespace tavik
