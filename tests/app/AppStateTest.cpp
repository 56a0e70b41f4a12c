#include "app/AppState.h"

#include "agent/AgentSession.h"
#include "app/InstanceChannel.h"
#include "app/Paths.h"
#include "app/QuitSignals.h"
#include "app/SignalForensics.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/inference/AudioNetwork.h"
#include "platform/speech/SpeechOutput.h"
#include "tests/support/Eventually.h"
#include "tests/voice/FakeAudioServer.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <atomic>
#include <condition_variable>
#include <csignal>
#include <mutex>
#include <thread>

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

namespace tavik {

namespace {

class SilentSpeech : public SpeechOutput {
public:
    void speak(const std::string&, const std::optional<Voice>&, std::stop_token) override {}
    bool isSpeaking() override { return false; }
    void stopSpeaking() override {}
    std::vector<Voice> voices(std::stop_token) override { return {}; }
};

// A loop that never gets further than its microphone, or than its recogniser.
class AppStateTest : public testing::Test {
protected:
    AppStateTest() {
        audio.isDown = true;
        state.observe({.changed = [this] { phases.push_back(describe(state.phase())); },
                       .noticed = [this](const std::string& text) { notices.push_back(text); }});
        state.boot();
    }

    VoiceServices services() {
        return {.clock = clock,
                .defaults = defaults,
                .audio = audio,
                .speech = speech,
                .openTranscriber = [](Vocabulary) -> std::unique_ptr<Transcriber> {
                    throw TranscriberError("none");
                },
                .loadWakeModel = []() -> std::unique_ptr<AudioNetwork> { return nullptr; },
                .prepareBrain = [] {},
                .makeBrain = [](std::stop_token) -> std::shared_ptr<Brain> { return nullptr; },
                .makeAgentSession = [](std::shared_ptr<Brain>, std::string)
                    -> std::unique_ptr<AgentSession> { return nullptr; },
                .remember = [](const std::string&, const std::string&, const std::string&) {},
                .onConversationEnd = [](const std::string&) {}};
    }

    // Meanwhile the main queue runs.
    static bool becomes(const std::function<bool()>& condition) {
        return eventually([&] {
            MainQueue::shared().drain();
            return condition();
        });
    }

    bool fails() {
        return becomes([this] { return state.phase().kind == TavikPhase::Kind::error; });
    }

    Clock& clock = systemClock();
    TemporaryFolder folder;
    UserDefaults defaults{folder.file("settings.json")};
    FakeAudioServer audio;
    SilentSpeech speech;
    std::vector<std::string> phases;
    std::vector<std::string> notices;
    AppState state{services()};
};

constexpr const char* noMicrophone =
    "error: Microphone start failed: the sound server does not answer";

} // namespace

TEST_F(AppStateTest, ListensOnlyOnceTheFirstStepsAreDone) {
    state.startIfPossible();
    MainQueue::shared().drain();
    EXPECT_THAT(phases, ElementsAre());
    defaults.set("onboardingDone", true);
    state.startIfPossible();
    ASSERT_TRUE(fails());
    EXPECT_THAT(phases, ElementsAre("preparing", noMicrophone));
}

TEST_F(AppStateTest, RetriesWhenToldAndStaysOffWhenSwitchedOff) {
    defaults.set("onboardingDone", true);
    state.startIfPossible();
    ASSERT_TRUE(fails());
    audio.isDown = false;
    phases.clear();
    state.retry();
    ASSERT_TRUE(becomes([this] { return phases.size() > 2; }));
    EXPECT_THAT(phases.back(), HasSubstr("Speech recognition couldn't be prepared."));
    state.stopListening();
    EXPECT_EQ(state.listening(), AppState::Listening::off);
    ASSERT_TRUE(becomes([this] { return state.phase().kind == TavikPhase::Kind::off; }));
    state.startIfPossible();
    state.restartListening();
    MainQueue::shared().drain();
    EXPECT_EQ(state.phase().kind, TavikPhase::Kind::off);
}

TEST_F(AppStateTest, APauseEndsByItselfUnlessTheUserDecidedOtherwise) {
    state.pauseListening(20ms);
    EXPECT_EQ(state.listening(), AppState::Listening::paused);
    EXPECT_TRUE(becomes([this] { return state.listening() == AppState::Listening::on; }));
    state.pauseListening(20ms);
    state.stopListening();
    std::this_thread::sleep_for(60ms);
    MainQueue::shared().drain();
    EXPECT_EQ(state.listening(), AppState::Listening::off);
}

TEST_F(AppStateTest, KeepsTheLastNoticeUntilItListens) {
    state.notify("The disk is full.");
    ASSERT_TRUE(becomes([this] { return !notices.empty(); }));
    EXPECT_EQ(state.notice(), "The disk is full.");
}

TEST(InstanceChannel, TellsTheFirstAndHandsTheTokenOver) {
    EXPECT_FALSE(showRunningTavik());
    Locked<std::vector<std::string>> shown;
    {
        const InstanceChannel channel([&](const std::string& token) {
            shown.with([&](auto& tokens) { tokens.push_back(token); });
        });
        EXPECT_TRUE(showRunningTavik());
        setenv("XDG_ACTIVATION_TOKEN", std::string(600, 'x').c_str(), 1);
        EXPECT_TRUE(showRunningTavik());
        unsetenv("XDG_ACTIVATION_TOKEN");
    }
    EXPECT_FALSE(showRunningTavik());
    EXPECT_THAT(shown.with([](auto& tokens) { return tokens; }),
                ElementsAre("", std::string(511, 'x')));
}

// As some libraries do when they are loaded.
TEST(QuitSignals, AreHeardBesideAThreadThatWasThereBeforeThemAndToldOfOnlyWhenWanted) {
    std::jthread early([](std::stop_token stop) {
        std::mutex mutex;
        std::unique_lock lock(mutex);
        std::condition_variable_any().wait(lock, std::move(stop), [] { return false; });
    });
    std::atomic<int> quits = 0;
    {
        const QuitSignals signals([&] { ++quits; });
        SignalForensics::install();
        pthread_kill(early.native_handle(), SIGTERM);
        EXPECT_TRUE(eventually([&] { return quits == 1; }));
        EXPECT_EQ(readFile(signalLogPath()), "");
        setenv("TAVIK_DEBUG_SIGNALS", "1", 1);
        SignalForensics::install();
        unsetenv("TAVIK_DEBUG_SIGNALS");
        kill(getpid(), SIGTERM);
        EXPECT_TRUE(eventually([&] { return quits == 2; }));
    }
    EXPECT_THAT(readFile(signalLogPath()),
                HasSubstr("SIGTERM from process " + std::to_string(getpid()) + " (app_tests)"));
}

} // namespace tavik
