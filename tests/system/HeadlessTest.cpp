#include "tests/system/RunningTavik.h"
#include "tools/stand-ins/model/ScriptedModel.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"
#include "tools/stand-ins/services/PrivateSpeechDispatcher.h"

#include <filesystem>
#include <thread>
#include <unistd.h>

using namespace std::chrono_literals;
using testing::AllOf;
using testing::HasSubstr;
using testing::Not;

namespace tavik {

TEST(Headless, RefusesArgumentsItDoesNotKnow) {
    RunningTavik tavik({"--nonsense"}, nullptr);
    EXPECT_EQ(tavik.process().waitFor(10s), 2);
    EXPECT_THAT(tavik.output(), HasSubstr("--nonsense"));
}

TEST(Headless, SurvivesUntilItIsEndedAndTellsByWhom) {
    RunningTavik tavik({"--selftest-survive"}, nullptr, {{"TAVIK_DEBUG_SIGNALS", "1"}});
    ASSERT_TRUE(tavik.prints("[selftest-survive] booting normally, verifying survival for 60s…"));
    const std::string support = tavik.home() + "/Library/Application Support/Tavik/";
    const auto deadline = std::chrono::steady_clock::now() + 10s;
    while (!std::filesystem::exists(support + "tavik-mcp.sock") &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(10ms);
    std::this_thread::sleep_for(100ms); // the diagnostics come last
    EXPECT_EQ(tavik.process().terminate(1s), 0);
    EXPECT_FALSE(std::filesystem::exists(support + "tavik-mcp.sock"));
    EXPECT_THAT(tavik.output(),
                AllOf(HasSubstr("[terminate] applicationShouldTerminate — call stack:"),
                      Not(HasSubstr("PASS"))));
    EXPECT_THAT(readFile(tavik.home() + "/Library/Logs/Tavik/signal.log"),
                HasSubstr("SIGTERM from process " + std::to_string(getpid())));
}

TEST(Headless, ServesAgentsForTestsOnlyAtASocketOfTheirOwn) {
    const TemporaryFolder home;
    const std::string usual = home.file("Library/Application Support/Tavik/tavik-mcp.sock");
    for (const std::optional<std::string>& socket : {std::optional<std::string>(), {""}, {usual}}) {
        const std::string output = home.file("output");
        ChildProcess tavik({.arguments = {TAVIK_PROGRAM, "--selftest-mcp"},
                            .environment = {{"HOME", home.path()}, {"TAVIK_MCP_SOCKET", socket}},
                            .outputPath = output,
                            .input = ""});
        EXPECT_EQ(tavik.waitFor(10s), 0);
        EXPECT_THAT(readFile(output),
                    HasSubstr("[selftest-mcp] isolated TAVIK_MCP_SOCKET is required\n"));
        EXPECT_FALSE(std::filesystem::exists(usual));
        std::filesystem::remove(output);
    }
}

TEST(Headless, SaysHowToSwitchListeningOnAndThenListens) {
    RunningTavik tavik({}, nullptr, {{"PULSE_SERVER", "unix:/nonexistent"}});
    ASSERT_TRUE(tavik.prints("Listening is off. To switch it on without a window, write "
                             "{\"onboardingDone\": true} into " +
                             tavik.settingsPath()));
    writeFile(tavik.settingsPath(), "no json");
    ASSERT_TRUE(tavik.prints("[settings] ⚠"));
    writeFile(tavik.settingsPath(), R"({"onboardingDone": true})");
    EXPECT_TRUE(tavik.prints("Microphone start failed: the sound server does not answer"));
    EXPECT_EQ(tavik.process().terminate(5s), 0);
}

TEST(Headless, RunsOncePerUser) {
    RunningTavik first({}, nullptr);
    ASSERT_TRUE(first.prints("Listening is off."));
    RunningTavik::Environment sameHome = {{"HOME", first.home()}};
    ChildProcess second({.arguments = {TAVIK_PROGRAM},
                         .environment = sameHome,
                         .outputPath = first.home() + "/second",
                         .input = ""});
    EXPECT_EQ(second.waitFor(10s), 0);
    EXPECT_THAT(readFile(first.home() + "/second"),
                HasSubstr("[single-instance] rejected duplicate launch"));
    EXPECT_TRUE(first.prints("[single-instance] started again, but there is no window to show"));
    EXPECT_EQ(first.process().terminate(5s), 0);
}

TEST(Headless, LivesThroughTheLossOfTheSoundServer) {
    PrivatePulseAudio sound;
    const PrivateSpeechDispatcher speech(sound.server());
    ScriptedModel model;
    RunningTavik tavik({}, settingsFor("gemini", model.host()),
                       {{"PULSE_SERVER", sound.server()},
                        {"SPEECHD_ADDRESS", speech.address()},
                        {"GEMINI_API_KEY", "test-key"}});
    ASSERT_TRUE(tavik.prints("Tavik ready. Voice: "));
    sound.kill();
    ASSERT_TRUE(tavik.prints("[mic] ⚠ rebind failed — stopping the loop (error already reported)"));
    sound.restart();
    const std::string before = tavik.output();
    const auto readyAgain = [&] {
        return tavik.output().substr(before.size()).find("Tavik ready.") != std::string::npos;
    };
    const auto deadline = std::chrono::steady_clock::now() + 30s;
    while (!readyAgain() && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(readyAgain());
    EXPECT_EQ(tavik.process().terminate(5s), 0);
}

TEST(Headless, SaysThatTheWakeModelIsMissing) {
    PrivatePulseAudio sound;
    const TemporaryFolder resources;
    std::filesystem::copy(std::string(std::getenv("TAVIK_RESOURCES")), resources.path(),
                          std::filesystem::copy_options::recursive |
                              std::filesystem::copy_options::overwrite_existing);
    const std::string model = resources.file("HeyVessa_runtime.onnx");
    std::filesystem::resize_file(model, std::filesystem::file_size(model) / 2);
    for (const bool isTruncated : {true, false}) {
        if (!isTruncated)
            std::filesystem::remove(model);
        RunningTavik tavik(
            {}, {{"onboardingDone", true}},
            {{"PULSE_SERVER", sound.server()}, {"TAVIK_RESOURCES", resources.path()}});
        EXPECT_TRUE(tavik.prints("Wake model missing from the app bundle — rebuild Tavik.app."));
        EXPECT_EQ(tavik.process().terminate(5s), 0);
    }
}

} // namespace tavik
