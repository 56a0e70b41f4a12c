#pragma once

#include "platform/recognition/Transcriber.h"
#include "voice/Floor.h"
#include "voice/TavikPhase.h"

#include <functional>
#include <memory>
#include <stop_token>
#include <string>

namespace tavik {

class AgentSession;
class AudioNetwork;
class AudioServer;
class Brain;
class Clock;
class SpeechOutput;
class UserDefaults;

// What the voice loop works with. All of it outlives the loop; the functions may be called from any
// thread.
struct VoiceServices {
    Clock& clock;
    UserDefaults& defaults;
    AudioServer& audio;
    SpeechOutput& speech;
    // Throws TranscriberError.
    std::function<std::unique_ptr<Transcriber>(Vocabulary)> openTranscriber;
    // Throws ModelError.
    std::function<std::unique_ptr<AudioNetwork>()> loadWakeModel;
    // A conversation begins, and will soon ask the model. Must return at once.
    std::function<void()> prepareBrain;
    // None when no key is set. Throws Cancelled.
    std::function<std::shared_ptr<Brain>(std::stop_token)> makeBrain;
    std::function<std::unique_ptr<AgentSession>(std::shared_ptr<Brain>, std::string sessionID)>
        makeAgentSession;
    // What is said in a conversation, by "user" or "assistant". Takes no longer than a write to the
    // disk.
    std::function<void(const std::string& sessionID, const std::string& role,
                       const std::string& text)>
        remember;
    // A conversation in which something was said is over. Must return at once.
    std::function<void(const std::string& sessionID)> onConversationEnd;
    // Whom the conversations take it from.
    Floor* floor = &Floor::shared();
};

// What the voice loop tells. Called from the loop's own threads, `onLevel` from the audio thread;
// they must return at once and must not call back into the loop.
struct VoiceCallbacks {
    std::function<void(const TavikPhase&)> onPhase = [](const TavikPhase&) {};
    // A passing notice; the flag tells whether it is a warning.
    std::function<void(const std::string& text, bool isWarning)> onNotice = [](const std::string&,
                                                                               bool) {};
    // Level of each captured buffer, linear amplitude.
    std::function<void(float)> onLevel = [](float) {};
    // The user asked to stop listening altogether.
    std::function<void()> onPauseListening = [] {};
};

} // namespace tavik
