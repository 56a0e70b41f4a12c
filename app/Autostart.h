#pragma once

// Whether the desktop starts Tavik when the user logs in: an entry in the user's autostart folder.
namespace tavik::Autostart {

bool isOn();

// Throws std::system_error when the entry cannot be written or removed.
void switchTo(bool isOn);

} // namespace tavik::Autostart
