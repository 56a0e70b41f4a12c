#include "voice/VoiceLoop.h"

#include "app/Log.h"
#include "brains/Brain.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Task.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/inference/AudioClassifier.h"
#include "platform/speech/SpeechOutput.h"
#include "voice/Conversation.h"
#include "voice/Microphone.h"
#include "voice/WakeDetector.h"
#include "voice/WakeVerification.h"

#include <fmt/format.h>

namespace tavik {

struct VoiceLoop::Ears {
    explicit Ears(const VoiceServices& services)
        : commands(services.openTranscriber(Vocabulary::commands))
        , verifier(services.openTranscriber(Vocabulary::wakePhrase))
        , detector(services) {}

    std::unique_ptr<Transcriber> commands;
    std::unique_ptr<Transcriber> verifier;
    WakeDetector detector;
    // Copies of the rings, kept so that a look at them allocates nothing.
    std::vector<float> wakeWindow;
    std::vector<float> verifyWindow;
};

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
    const bool isBargeIn = state.with([](VoiceState& shared) {
        (shared.sessionActive ? shared.interruptRequested : shared.hotkeyFired) = true;
        return shared.sessionActive;
    });
    if (!isBargeIn)
        return;
    cancelAgentTask();
    services.speech.stopSpeaking();
    log("✋ barge-in — hotkey");
}

void VoiceLoop::cancelSession() {
    const bool wasActive = state.with([](VoiceState& shared) {
        shared.sessionCancelled = shared.interruptRequested = shared.sessionActive;
        return shared.sessionActive;
    });
    if (!wasActive)
        return;
    cancelAgentTask();
    services.speech.stopSpeaking();
}

void VoiceLoop::cancelAgentTask() {
    // Outside the lock: what the request wakes may want the state.
    auto task = state.with([](const VoiceState& shared) { return shared.agentTask; });
    task.request_stop();
}

void VoiceLoop::run(std::stop_source loop) {
    try {
        callbacks.onPhase({TavikPhase::Kind::preparing, ""});
        Microphone microphone(services, callbacks, state,
                              [loop]() mutable { loop.request_stop(); });
        if (!microphone.start(loop.get_token()) || !prepareEars())
            return;
        throwIfStopped(loop.get_token());
        announce(loop.get_token());
        listen(loop.get_token());
    } catch (const Cancelled&) {
        // Stopped; whoever stopped it reports.
    } catch (const std::exception& error) {
        callbacks.onPhase(TavikPhase::error(std::string("Listening failed: ") + error.what()));
    }
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
    const auto voice = Speaker(services, state).current();
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
                return verifyWakePhrase(*ears->verifier, ears->verifyWindow, std::move(verifying));
            });
            runSession(&verify, stop);
        }
    }
}

bool VoiceLoop::wakes() {
    if (!services.defaults.boolean("wakeEnabled").value_or(true))
        return false;
    const bool isCooling = state.with([this](const VoiceState& shared) {
        shared.ring.copyTo(ears->wakeWindow);
        shared.sttRing.copyTo(ears->verifyWindow);
        return services.clock.now() < shared.wakeCooldownUntil;
    });
    return !isCooling && ears->detector.isCandidate(ears->wakeWindow);
}

void VoiceLoop::runSession(Task<bool>* verify, std::stop_token stop) {
    services.prepareBrain();
    Conversation(services, callbacks, state, *ears->commands).run(verify, std::move(stop));
    state.with([this](VoiceState& shared) {
        shared.wakeCooldownUntil = services.clock.now() + tuning::WAKE_COOLDOWN;
        // What was heard before the conversation must not wake again after it.
        shared.ring.clear();
        shared.sttRing.clear();
    });
    reportIdle();
}

} // namespace tavik
