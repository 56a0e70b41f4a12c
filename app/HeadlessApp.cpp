#include "app/HeadlessApp.h"

#include "agent/AgentSession.h"
#include "app/KeyMigration.h"
#include "app/Log.h"
#include "app/MemoryKeeper.h"
#include "app/OpenTranscriber.h"
#include "app/Paths.h"
#include "brains/MakeBrain.h"
#include "mcp/MCPHub.h"
#include "mcp/server/MCPServer.h"
#include "platform/audio/AudioServer.h"
#include "platform/concurrency/BackgroundJobs.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/desktop/DesktopContext.h"
#include "platform/inference/AudioClassifier.h"
#include "platform/speech/SpeechOutput.h"
#include "voice/VoiceLoop.h"
#include "voice/VoiceTuning.h"

#include <fmt/format.h>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto settingsPoll = 1s;
constexpr auto retryPause = 5s;
constexpr std::size_t wakeClasses = 2;

bool isOnboardingDone() {
    return UserDefaults::standard().boolean("onboardingDone").value_or(false);
}

VoiceServices makeServices(AudioServer& audio, SpeechOutput& speech, BackgroundJobs& background,
                           MemoryKeeper& memory) {
    return VoiceServices{
        .clock = systemClock(),
        .defaults = UserDefaults::standard(),
        .audio = audio,
        .speech = speech,
        .openTranscriber = openTranscriber,
        .loadWakeModel =
            [] {
                return loadAudioClassifier(resourcePath("HeyVessa_runtime.onnx"),
                                           tuning::WAKE_WINDOW, wakeClasses);
            },
        .prepareBrain =
            [&background] {
                background.async([](std::stop_token stop) { prepareBrain(std::move(stop)); });
            },
        .makeBrain =
            [](std::stop_token stop) { return std::shared_ptr<Brain>(makeBrain(std::move(stop))); },
        .makeAgentSession =
            [](std::shared_ptr<Brain> brain, std::string sessionID) {
                return std::make_unique<AgentSession>(std::move(brain), std::move(sessionID));
            },
        .remember = [&memory](const std::string& sessionID, const std::string& role,
                              const std::string& text) { memory.remember(sessionID, role, text); },
        .onConversationEnd =
            [&memory](const std::string& sessionID) { memory.conversationEnded(sessionID); },
    };
}

void showNotice(const std::string& text) {
    log("[tavik] " + text);
}

VoiceCallbacks makeCallbacks(const std::function<void()>& pause) {
    VoiceCallbacks callbacks;
    callbacks.onPhase = [](const TavikPhase& phase) {
        if (phase.kind == TavikPhase::Kind::error)
            log("[tavik] ⚠ " + phase.message);
    };
    callbacks.onNotice = [](const std::string& text, bool) { showNotice(text); };
    callbacks.onPauseListening = pause;
    return callbacks;
}

// The voice loop and what it works with. Belongs to the main thread; jobs for it that are still
// posted when it is gone do nothing.
class Listener {
public:
    Listener()
        : audio(makePulseAudioServer())
        , speech(makeSpeechDispatcher())
        , loop(std::make_unique<VoiceLoop>(
              makeServices(*audio, *speech, background, memory),
              makeCallbacks([this] { post([](Listener& self) { self.pause(); }); }))) {}

    // Safe from any thread.
    void post(std::function<void(Listener&)> job) {
        MainQueue::shared().async([this, alive = std::weak_ptr(life), job = std::move(job)] {
            if (!alive.expired())
                job(*this);
        });
    }

    void start() {
        if (!isPaused)
            loop->start();
    }

private:
    void pause() {
        isPaused = true;
        loop->stop();
        log("[tavik] listening is paused. Start tavik again to listen.");
    }

    BackgroundJobs background{"ai.tavik.brain"};
    MemoryKeeper memory{showNotice};
    std::unique_ptr<AudioServer> audio;
    std::unique_ptr<SpeechOutput> speech;
    bool isPaused = false;
    std::shared_ptr<char> life = std::make_shared<char>();
    std::unique_ptr<VoiceLoop> loop; // last: it uses the services
};

// Starts the loop when listening is switched on, and again after a failure: without a menu nobody
// else could choose to retry.
void keepListening(Listener& listener, std::stop_token stop) {
    try {
        if (!isOnboardingDone())
            log("Listening is off. To switch it on without a window, write {\"onboardingDone\": "
                "true} "
                "into " +
                preferencesPath() + ".");
        while (!isOnboardingDone())
            systemClock().sleepFor(settingsPoll, stop);
        while (true) {
            listener.post([](Listener& self) { self.start(); });
            systemClock().sleepFor(retryPause, stop);
        }
    } catch (const Cancelled&) {
        // Quitting.
    }
}

} // namespace

void runHeadless() {
    prepareDesktopContext();
    const auto migration = migrateKeysMeanwhile();
    Listener listener;
    const std::jthread keeper(
        [&](std::stop_token stop) { keepListening(listener, std::move(stop)); });
    MCPServer::shared().start();
    MainQueue::shared().runLoop();
    MCPServer::shared().stop();
    MCPHub::shared().shutdown();
}

} // namespace tavik
