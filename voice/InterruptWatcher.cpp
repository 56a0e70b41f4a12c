#include "voice/InterruptWatcher.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/speech/SpeechOutput.h"
#include "voice/Ears.h"
#include "voice/WakeVerification.h"

namespace tavik {

InterruptWatcher::InterruptWatcher(const VoiceServices& voiceServices,
                                   SharedVoiceState& sharedState, Ears& theEars)
    : services(voiceServices)
    , state(sharedState)
    , ears(theEars)
    , loudspeaker(voiceServices, theEars.detector)
    , watcher([this](std::stop_token stop) { watch(std::move(stop)); }) {}

InterruptWatcher::~InterruptWatcher() = default;

void InterruptWatcher::watch(std::stop_token stop) {
    nameThisThread("ai.tavik.watch");
    try {
        while (true) {
            services.clock.sleepFor(tuning::HOP_SECONDS, stop);
            if (hearsWakePhrase(stop))
                bargeIn();
        }
    } catch (const Cancelled&) {
        // The conversation is over.
    }
}

bool InterruptWatcher::hearsWakePhrase(std::stop_token stop) {
    struct Moment {
        bool isSpeaking;
        bool canInterrupt;
    };
    const auto now = state.with([this](const VoiceState& shared) {
        const bool isCooling = services.clock.now() < shared.wakeCooldownUntil;
        const bool isAnswering = shared.interruptRequested.stop_possible() &&
                                 !shared.interruptRequested.stop_requested();
        if (isAnswering && !isCooling) {
            shared.ring.copyTo(wakeWindow);
            shared.sttRing.copyTo(verifyWindow);
        }
        return Moment{shared.isSpeaking, isAnswering && !isCooling};
    });
    loudspeaker.follow(now.isSpeaking, stop);
    return now.canInterrupt && services.defaults.boolean("wakeEnabled").value_or(true) &&
           ears.detector.isCandidate(wakeWindow) && !isOwnVoice() &&
           verifyWakePhrase(*ears.verifier, loudspeaker.withoutOwnVoice(verifyWindow),
                            std::move(stop));
}

bool InterruptWatcher::isOwnVoice() {
    const bool isOwn = loudspeaker.heardWakePhrase();
    if (isOwn && !hasToldOwnVoice)
        log("[wake] that was Tavik's own voice — no barge-in");
    hasToldOwnVoice = isOwn;
    return isOwn;
}

void InterruptWatcher::bargeIn() {
    auto answer = state.with([this](VoiceState& shared) {
        if (shared.interruptRequested.stop_possible())
            shared.wakeCooldownUntil = services.clock.now() + tuning::WAKE_COOLDOWN;
        return shared.interruptRequested;
    });
    // While the phrase was being verified the answer may have come to its end.
    if (!answer.stop_possible())
        return;
    log("✋ barge-in — \"Hey Vessa\" during the answer");
    answer.request_stop();
    services.speech.stopSpeaking();
}

} // namespace tavik
