#pragma once

#include "platform/concurrency/Locked.h"
#include "platform/speech/SpeechOutput.h"
#include "tools/demo/Stage.h"
#include "voice/VoiceLoop.h"

#include <atomic>
#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace tavik::demo {

// The voice loop among real sound, speech and recognition, with a scripted model and a user who
// speaks into the microphone. It runs in this process, so that its hotkey and its orb can be used.
// For the main thread.
class LiveVoice {
public:
    // Throws Failure.
    explicit LiveVoice(const PrivateHome& home);
    ~LiveVoice();

    struct Entered {
        WallTime time;
        TavikPhase phase;
    };

    // Blocks until the next phase of this kind, after the one found last, has been reported, and
    // returns when that was; nothing when it takes longer than `patience`.
    std::optional<WallTime> await(TavikPhase::Kind kind, std::chrono::milliseconds patience);

    // Speaks into the microphone. Returns when the last word was heard there.
    WallTime say(const std::string& text);
    void wait(std::chrono::milliseconds duration);

    // What the loudspeaker gave in that time; what was understood of it by a recogniser that knows
    // nothing of the answer; and its last sound.
    Sound saidAloud(WallTime begin, WallTime end) const;
    std::string heardAloud(WallTime begin, WallTime end) const;
    std::optional<WallTime> firstSound(WallTime begin, WallTime end) const;
    std::optional<WallTime> lastSound(WallTime begin, WallTime end) const;

    std::vector<Entered> phases() const;
    std::vector<std::string> remembered() const; // "user: words", "assistant: words", "end"
    std::string log() const;

    const PrivateHome& home;
    Stage stage;
    std::atomic<int> pauseRequests = 0;
    std::unique_ptr<VoiceLoop> loop;

private:
    VoiceServices services();
    const Sound& spoken(const std::string& text);

    std::unique_ptr<AudioServer> audio;
    std::unique_ptr<SpeechOutput> speech;
    mutable Locked<std::vector<Entered>> entered;
    mutable Locked<std::vector<std::string>> memory;
    std::size_t seen = 0; // how far `await` has read
    std::map<std::string, Sound> sounds;
};

} // namespace tavik::demo
