#pragma once

#include <stop_token>

namespace tavik {

class AudioServer;

// Short sounds that tell the user, without a word, what was understood.
enum class Cue {
    tink,  // a stop phrase ended the conversation
    basso, // a pause phrase stops the listening
    pop,   // interrupted, and listening for the new command
};

// Begins to play a cue at its volume and returns; one that cannot be played is logged. Throws
// Cancelled.
void playCue(AudioServer& audio, Cue cue, std::stop_token stop);

} // namespace tavik
