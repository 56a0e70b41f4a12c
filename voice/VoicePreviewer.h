#pragma once

#include "platform/speech/SpeechOutput.h"

#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace tavik {

class Clock;

// Lets the user hear a voice before choosing it, one at a time, with a speech output of its own.
// Belongs to the main thread.
class VoicePreviewer {
public:
    // `onMain` runs a job on the main thread, later; `changed` is called there whenever
    // `playingID` has changed by itself.
    VoicePreviewer(SpeechOutput& speech, Clock& clock,
                   std::function<void(std::function<void()>)> onMain,
                   std::function<void()> changed);
    ~VoicePreviewer();
    VoicePreviewer(const VoicePreviewer&) = delete;
    VoicePreviewer& operator=(const VoicePreviewer&) = delete;

    // Stops the preview of `identifier` when it plays; else stops what plays and begins this one.
    void toggle(const std::string& identifier, const Voice& voice);

    // The voice that is heard; none when all is silent.
    const std::optional<std::string>& playingID() const { return playing; }

private:
    void stop();
    void play(const Voice& voice, int number, std::stop_token stop);

    SpeechOutput& speech;
    Clock& clock;
    const std::function<void(std::function<void()>)> onMain;
    const std::function<void()> changed;
    std::optional<std::string> playing;
    int previews = 0;                                      // begun so far
    std::shared_ptr<char> life = std::make_shared<char>(); // jobs that come later do nothing
    std::jthread player;
};

} // namespace tavik
