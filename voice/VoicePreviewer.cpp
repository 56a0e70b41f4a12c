#include "voice/VoicePreviewer.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/ThreadName.h"
#include "voice/VoiceTuning.h"

#include <utility>

namespace tavik {

namespace {

constexpr const char* sample = "Hi, I'm Tavik. This is how I sound.";

} // namespace

VoicePreviewer::VoicePreviewer(SpeechOutput& output, Clock& theClock,
                               std::function<void(std::function<void()>)> runOnMain,
                               std::function<void()> onChange)
    : speech(output)
    , clock(theClock)
    , onMain(std::move(runOnMain))
    , changed(std::move(onChange)) {}

VoicePreviewer::~VoicePreviewer() {
    stop();
}

void VoicePreviewer::toggle(const std::string& identifier, const Voice& voice) {
    const bool wasPlaying = playing == identifier;
    stop();
    if (wasPlaying)
        return;
    playing = identifier;
    player = std::jthread([this, voice, number = ++previews](std::stop_token stopped) {
        play(voice, number, std::move(stopped));
    });
}

void VoicePreviewer::stop() {
    playing.reset();
    player.request_stop();
    speech.stopSpeaking();
    if (player.joinable())
        player.join();
    speech.stopSpeaking();
}

void VoicePreviewer::play(const Voice& voice, int number, std::stop_token stopped) {
    nameThisThread("ai.tavik.sample");
    try {
        speech.speak(sample, voice, stopped);
        clock.sleepFor(tuning::SPEECH_START, stopped);
        while (speech.isSpeaking())
            clock.sleepFor(tuning::SPEECH_POLL, stopped);
    } catch (const SpeechError& error) {
        log(std::string("[voice] ⚠ couldn't speak: ") + error.what());
    } catch (const Cancelled&) {
        return;
    }
    onMain([this, number, alive = std::weak_ptr(life)] {
        if (alive.expired() || number != previews || !playing)
            return;
        playing.reset();
        changed();
    });
}

} // namespace tavik
