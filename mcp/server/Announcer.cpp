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
                     Clock& announcerClock)
    : speech(std::move(output))
    , defaults(userDefaults)
    , clock(announcerClock) {}

Announcer& Announcer::shared() {
    static Announcer announcer(makeSpeechDispatcher(), UserDefaults::standard(), systemClock());
    return announcer;
}

void Announcer::speak(const std::string& text, std::stop_token stop) {
    std::unique_lock lock(mutex);
    if (!isFree.wait(lock, stop, [this] { return !isSpeaking; }))
        throw Cancelled();
    isSpeaking = true;
    lock.unlock();
    // Whatever ends the wait, the text falls silent and the next one may be spoken.
    struct Turn {
        Announcer& announcer;
        ~Turn() {
            announcer.speech->stopSpeaking();
            const std::lock_guard guard(announcer.mutex);
            announcer.isSpeaking = false;
            announcer.isFree.notify_all();
        }
    };
    const Turn turn{*this};
    speech->speak(text, chooseVoice(defaults.string("voiceId").value_or(""), speech->voices()));
    waitUntilSpoken(std::move(stop));
}

void Announcer::waitUntilSpoken(std::stop_token stop) {
    while (speech->isSpeaking() && isEnabled())
        clock.sleepFor(poll, stop);
}

bool Announcer::isEnabled() {
    return defaults.boolean("mcpEnabled").value_or(false);
}

} // namespace tavik
