#include "voice/VoiceLoop.h"

#include "app/Log.h"
#include "brains/Brain.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Task.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/speech/SpeechOutput.h"
#include "voice/Conversation.h"
#include "voice/Ears.h"
#include "voice/Microphone.h"
#include "voice/WakeVerification.h"

#include <fmt/format.h>
#include <utility>

namespace tavik {

VoiceLoop::VoiceLoop(VoiceServices voiceServices, VoiceCallbacks voiceCallbacks)
    : services(std::move(voiceServices))
    , callbacks(std::move(voiceCallbacks)) {}

VoiceLoop::~VoiceLoop() {
    stop(Report::no);
}

void VoiceLoop::start() {
    if (running)
        return;
    stop(Report::no);
    state.with([](VoiceState& shared) {
        shared.hotkeyFired = false;
        shared.micRetryCount = 0;
    });
    loopStop = std::stop_source();
    running = true;
    loopTask = std::thread([this, loop = loopStop] {
        nameThisThread("ai.tavik.loop");
        run(loop);
        running = false;
    });
}

void VoiceLoop::stop(Report report) {
    loopStop.request_stop();
    if (loopTask.joinable())
        loopTask.join();
    if (report == Report::yes)
        callbacks.onPhase({TavikPhase::Kind::off, ""});
}

void VoiceLoop::triggerSession() {
    const auto [isBargeIn, answer] = state.with([](VoiceState& shared) {
        shared.hotkeyFired = shared.hotkeyFired || !shared.sessionActive;
        return std::pair(shared.sessionActive, shared.interruptRequested);
    });
    if (!isBargeIn)
        return;
    log("✋ barge-in — hotkey");
    // Outside the lock: what the request wakes may want the state. There is nothing to end while
    // the conversation listens anyway.
    std::stop_source(answer).request_stop();
    services.speech.stopSpeaking();
}

void VoiceLoop::cancelSession() {
    auto session = state.with([](const VoiceState& shared) { return shared.sessionCancelled; });
    if (session.request_stop())
        services.speech.stopSpeaking();
}

// A failure is reported when all else has ended, so that no phase comes after it.
void VoiceLoop::run(std::stop_source loop) {
    failure.with([](std::string& message) { message.clear(); });
    std::string message;
    try {
        work(loop);
    } catch (const Cancelled&) {
        // Stopped, and whoever stopped it reports; or the microphone failed.
        message = failure.with([](const std::string& reason) { return reason; });
    } catch (const MicrophoneError& error) {
        message = error.what();
    } catch (const std::exception& error) {
        message = std::string("Listening failed: ") + error.what();
    }
    if (!message.empty())
        callbacks.onPhase(TavikPhase::error(message));
}

void VoiceLoop::work(std::stop_source loop) {
    callbacks.onPhase({TavikPhase::Kind::preparing, ""});
    Microphone microphone(services, callbacks, state,
                          [this, loop](const std::string& reason) mutable {
                              failure.with([&](std::string& message) { message = reason; });
                              loop.request_stop();
                          });
    microphone.start(loop.get_token());
    if (!prepareEars())
        return;
    throwIfStopped(loop.get_token());
    announce(loop.get_token());
    listen(loop.get_token());
}

bool VoiceLoop::prepareEars() {
    try {
        if (!ears)
            ears = std::make_unique<Ears>(services);
    } catch (const TranscriberError& error) {
        log(std::string("[stt] ⚠ ") + error.what());
        callbacks.onPhase(TavikPhase::error(
            "Speech recognition couldn't be prepared. Check your internet connection, "
            "then choose Retry in the Tavik menu."));
        return false;
    }
    if (ears->commands->sampleRate() == tuning::SAMPLE_RATE)
        return true;
    callbacks.onPhase(TavikPhase::error(
        "Speech recognition isn't available for this microphone. Choose another input "
        "in Settings and restart the voice engine."));
    return false;
}

void VoiceLoop::announce(std::stop_token stop) {
    const auto voice = Speaker(services, state).current(stop);
    const auto brain = services.makeBrain(std::move(stop));
    log(fmt::format("Tavik ready. Voice: {}. Brain: {}. Say \"Hey Vessa\".",
                    voice ? voice->name : "default",
                    brain ? brain->label() : "NO KEY — add one in Settings"));
    reportIdle();
}

void VoiceLoop::reportIdle() {
    callbacks.onPhase(
        ears->detector.isAvailable()
            ? TavikPhase{TavikPhase::Kind::idle, ""}
            : TavikPhase::error("Wake model missing from the app bundle — rebuild Tavik.app."));
}

void VoiceLoop::listen(std::stop_token stop) {
    while (true) {
        services.clock.sleepFor(tuning::HOP_SECONDS, stop);
        const bool hotkeyFired =
            state.with([](VoiceState& shared) { return std::exchange(shared.hotkeyFired, false); });
        if (hotkeyFired) {
            log("🔔 hotkey — listening for command…");
            runSession(nullptr, stop);
        } else if (wakes()) {
            log("🔔 wake — listening for command…");
            Task<bool> verify([this](std::stop_token verifying) {
                return verifyWakePhrase(*ears->verifier, verifyWindow, std::move(verifying));
            });
            runSession(&verify, stop);
        }
    }
}

bool VoiceLoop::wakes() {
    if (!services.defaults.boolean("wakeEnabled").value_or(true))
        return false;
    // What an announcement says is not said by the user.
    if (services.floor->isLent()) {
        forgetWhatWasHeard();
        return false;
    }
    const bool isCooling = state.with([this](const VoiceState& shared) {
        shared.ring.copyTo(wakeWindow);
        shared.sttRing.copyTo(verifyWindow);
        return services.clock.now() < shared.wakeCooldownUntil;
    });
    return !isCooling && ears->detector.isCandidate(wakeWindow);
}

void VoiceLoop::runSession(Task<bool>* verify, std::stop_token stop) {
    const Floor::Taken floor(*services.floor);
    services.prepareBrain();
    Conversation(services, callbacks, state, *ears).run(verify, std::move(stop));
    state.with([this](VoiceState& shared) {
        shared.wakeCooldownUntil = services.clock.now() + tuning::WAKE_COOLDOWN;
    });
    forgetWhatWasHeard(); // it must not wake again
    reportIdle();
}

void VoiceLoop::forgetWhatWasHeard() {
    state.with([](VoiceState& shared) {
        shared.ring.clear();
        shared.sttRing.clear();
    });
}

} // namespace tavik
