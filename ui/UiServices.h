#pragma once

#include <functional>
#include <stop_token>
#include <string>

namespace tavik {

class AppState;
class AudioServer;
class Clock;
class Keychain;
class MemoryStore;
class Permissions;
class SpeechOutput;

// What the windows work with. All of it outlives them.
struct UiServices {
    AppState& state;
    AudioServer& audio;
    SpeechOutput& previews; // an output of its own, so that a sample does not end an answer
    Clock& clock;
    Keychain& keychain;
    Permissions& permissions;
    std::function<MemoryStore&()> memory; // opened when it is first needed, off the main thread
    // Throws BrainError and Cancelled. Blocks.
    std::function<void(const std::string& provider, const std::string& key,
                       const std::string& model, std::stop_token)>
        checkConnection;
};

} // namespace tavik
