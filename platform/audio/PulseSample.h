#pragma once

#include <stop_token>
#include <string>

namespace tavik {

class PulseConnection;
struct ShortSound;

// Both are to be called with the connection's lock held.

// Hands a sound to the server, which keeps it under its name. Throws AudioError and Cancelled;
// whoever gives a `stop` sees to it that its request wakes the connection.
void keepSample(PulseConnection& connection, const ShortSound& sound, const std::stop_token& stop);

// Plays a kept sound on the default output at a linear volume, without waiting. Throws AudioError.
void playSample(PulseConnection& connection, const std::string& name, double volume);

} // namespace tavik
