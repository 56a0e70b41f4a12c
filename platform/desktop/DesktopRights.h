#pragma once

#include <stop_token>
#include <string>
#include <string_view>
#include <vector>

// What the desktop lets programs do, and where the user changes that. Nothing here prompts; each
// call waits a second or two at most for a service that hangs; those with a stop token throw
// Cancelled. Safe from any thread.
namespace tavik {

enum class DesktopRight { granted, denied, undecided };

// Tavik's entry in the desktop's permission store; undecided also without a store.
DesktopRight microphoneRight(std::stop_token stop);

// Whether applications say what they show, on the accessibility bus.
bool accessibilityIsOn(std::stop_token stop);
void switchAccessibilityOn(std::stop_token stop);

// Whether any program may look at the screen, as under X11.
bool screenIsOpen(std::stop_token stop);

bool sessionBusAnswers(std::stop_token stop);

// Opens the page of the desktop's settings about "microphone", "speech", "accessibility",
// "screenRecording", "automation" or "voices". False when no program for that is installed.
bool openSystemSettings(std::string_view about);

// Starts a program that goes on without us. False when it cannot be started.
bool startDetached(const std::vector<std::string>& command);

} // namespace tavik
