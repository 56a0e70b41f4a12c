#include "app/AppState.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/defaults/UserDefaults.h"

#include <utility>

namespace tavik {

AppState::AppState(VoiceServices voiceServices, std::unique_ptr<GlobalShortcuts> shortcuts)
    : services(std::move(voiceServices))
    , hotkeyManager(std::move(shortcuts), services.defaults,
                    {.onTrigger = [this] { triggerSession(); },
                     .onError = [this](const std::string& sentence) { notify(sentence); }}) {}

AppState::~AppState() = default;

void AppState::boot() {
    loop = std::make_unique<VoiceLoop>(services, callbacks());
    hotkeyManager.applyFromDefaults();
}

VoiceCallbacks AppState::callbacks() {
    return VoiceCallbacks{
        .onPhase =
            [this](const TavikPhase& phase) { onMain.async([=, this] { showPhase(phase); }); },
        .onNotice = [this](const std::string& text, bool) { notify(text); },
        .onLevel = [this](float level) { latestLevel = level; },
        .onPauseListening = [this] { onMain.async([this] { stopListening(); }); },
    };
}

void AppState::showPhase(const TavikPhase& phase) {
    if (phase.kind == TavikPhase::Kind::error)
        log("[tavik] ⚠ " + phase.message);
    if (phase.kind == TavikPhase::Kind::idle)
        lastNotice.clear();
    currentPhase = phase;
    observers.changed();
}

void AppState::notify(const std::string& sentence) {
    log("[tavik] " + sentence);
    onMain.async([=, this] { showNotice(sentence); });
}

void AppState::showNotice(const std::string& sentence) {
    lastNotice = sentence;
    observers.noticed(sentence);
}

void AppState::startIfPossible() {
    if (wanted == Listening::on && services.defaults.boolean("onboardingDone").value_or(false))
        loop->start();
}

void AppState::listen(Listening choice) {
    pause.request_stop();
    wanted = choice;
    if (choice == Listening::on)
        loop->start();
    else
        loop->stop();
    observers.changed();
}

void AppState::startListening() {
    listen(Listening::on);
}

void AppState::stopListening() {
    listen(Listening::off);
    log("[tavik] listening is switched off");
}

void AppState::pauseListening(Clock::Duration duration) {
    listen(Listening::paused);
    log("[tavik] listening is paused");
    pause = std::jthread([this, duration](std::stop_token stop) {
        try {
            services.clock.sleepFor(duration, std::move(stop));
        } catch (const Cancelled&) {
            return;
        }
        onMain.async([this] {
            if (wanted == Listening::paused)
                startListening();
        });
    });
}

void AppState::retry() {
    loop->stop(VoiceLoop::Report::no);
    startListening();
}

void AppState::restartListening() {
    if (wanted == Listening::on && currentPhase.kind != TavikPhase::Kind::off)
        retry();
}

void AppState::triggerSession() {
    if (loop->isRunning())
        loop->triggerSession();
    else
        startIfPossible();
}

void AppState::cancelSession() {
    loop->cancelSession();
}

} // namespace tavik
