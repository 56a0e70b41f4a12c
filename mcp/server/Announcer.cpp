#include "mcp/server/Announcer.h"

#include "platform/concurrency/Cancelled.h"
#include "voice/Speaker.h"

#include <utility>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto poll = 50ms;

} // namespace

Announcer::Announcer(std::unique_ptr<SpeechOutput> output, UserDefaults& userDefaults,
                     Clock& announcerClock, Floor& theFloor)
    : speech(std::move(output))
    , defaults(userDefaults)
    , clock(announcerClock)
    , floor(theFloor) {}

Announcer& Announcer::shared() {
    static Announcer announcer(makeSpeechDispatcher(), UserDefaults::standard(), systemClock(),
                               Floor::shared());
    return announcer;
}

void Announcer::speak(const std::string& text, std::stop_token stop) {
    while (isEnabled()) {
        const Floor::Lent lent(floor, stop);
        try {
            return speakNow(text, lent.token());
        } catch (const Cancelled&) {
            throwIfStopped(stop); // else a conversation has the floor
        }
    }
}

void Announcer::speakNow(const std::string& text, std::stop_token stop) {
    // Whatever ends the wait, the text falls silent.
    struct Silence {
        SpeechOutput& speech;
        ~Silence() { speech.stopSpeaking(); }
    };
    const Silence atTheEnd{*speech};
    const auto voice = chooseVoice(defaults.string("voiceId").value_or(""), speech->voices(stop));
    speech->speak(text, voice, stop);
    while (speech->isSpeaking() && isEnabled())
        clock.sleepFor(poll, stop);
}

bool Announcer::isEnabled() {
    return defaults.boolean("mcpEnabled").value_or(false);
}

} // namespace tavik
