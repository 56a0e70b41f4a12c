#include "mcp/MCPHub.h"
#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Task.h"
#include "tests/support/Eventually.h"
#include "tests/support/SentenceOf.h"
#include "tests/support/SimulatedClock.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <filesystem>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr auto notInstalled =
    "vamo isn't installed on this Mac, so I can't control the desktop yet.";

class MCPHubTest : public testing::Test {
protected:
    MCPHubTest() { setenv("TAVIK_TEST_TOOLS", R"({"tools":[{"name":"echo"}]})", 1); }
    ~MCPHubTest() override { unsetenv("TAVIK_TEST_TOOLS"); }

    std::string pid() { return hub->call("pid", Json::object(), {}).text; }

    static bool isRunning(const std::string& process) {
        return std::filesystem::exists("/proc/" + process);
    }

    SimulatedClock clock{2}; // the reaper sleeps, and nobody moves time but the test
    std::atomic<int> launches = 0;
    std::vector<std::string> arguments;
    std::optional<MCPHub> hub{std::in_place,
                              [this] {
                                  ++launches;
                                  return EngineLaunch{TAVIK_SCRIPTED_ENGINE, arguments};
                              },
                              clock};
};

} // namespace

TEST_F(MCPHubTest, LaunchesOneEngineForAllWhoAsk) {
    std::vector<std::unique_ptr<Task<std::string>>> callers;
    for (int count = 0; count < 8; ++count)
        callers.push_back(
            std::make_unique<Task<std::string>>([this](std::stop_token) { return pid(); }));
    const std::string process = callers.front()->get();
    for (std::size_t caller = 1; caller < callers.size(); ++caller)
        EXPECT_EQ(callers[caller]->get(), process);
    EXPECT_EQ(launches, 1);
}

TEST_F(MCPHubTest, StartsAgainAfterTheEnginesDeath) {
    const std::string first = pid();
    EXPECT_EQ(sentenceOf([this] { hub->call("exit", Json::object(), {}); }),
              "The desktop-control engine stopped unexpectedly.");
    EXPECT_NE(pid(), first);
    EXPECT_EQ(launches, 2);
}

TEST_F(MCPHubTest, EndsAnIdleEngineAndKeepsItsToolList) {
    ASSERT_EQ(hub->tools({}).size(), 1u);
    const std::string process = pid();
    clock.advance(9min);
    EXPECT_EQ(pid(), process); // used again
    clock.advance(10min);
    std::this_thread::sleep_for(50ms);
    EXPECT_TRUE(isRunning(process));
    clock.advance(1min);
    ASSERT_TRUE(eventually([&] { return !isRunning(process); }));
    TavikLog::flush();
    EXPECT_THAT(readFile(TavikLog::path()),
                HasSubstr("[mcp] vamo idle >10 min — shutting it down\n"));

    EXPECT_EQ(hub->tools({}).front().name, "echo");
    EXPECT_EQ(launches, 1);
    EXPECT_NE(pid(), process);
    EXPECT_EQ(launches, 2);
}

TEST_F(MCPHubTest, ShutsDownWhateverIsGoingOn) {
    hub->shutdown();
    const std::string process = pid();
    hub->shutdown();
    EXPECT_TRUE(eventually([&] { return !isRunning(process); }));
    EXPECT_NE(pid(), process); // and starts again when asked
    hub->shutdown();

    arguments = {"mute"}; // one that never shakes hands
    Task<std::string> waiting([this](std::stop_token) { return pid(); });
    ASSERT_TRUE(eventually([this] { return launches == 3; }));
    EXPECT_LT(timeToCancel([this](std::stop_token stop) {
                  hub->call("pid", Json::object(), std::move(stop));
              }),
              50ms); // gives up waiting, while the other caller goes on
    hub->shutdown();
    EXPECT_THROW(waiting.get(), Cancelled);
    const auto begin = std::chrono::steady_clock::now();
    hub.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - begin, 1s);
}

TEST_F(MCPHubTest, SaysThatThereIsNoEngine) {
    const TemporaryFolder home;
    const std::string before = std::getenv("HOME");
    setenv("HOME", home.path().c_str(), 1);
    hub.emplace(MCPHub::LaunchProvider(), clock);
    EXPECT_EQ(sentenceOf([this] { hub->tools({}); }), notInstalled);
    EXPECT_EQ(findEngine(),
              (EngineLaunch{home.file(".vamo/venv/bin/python"), {"-m", "vamo.mcp_server"}}));
    const std::pair<const char*, EngineLaunch> configurations[] = {
        {R"({"mcpServers":{"vamo":{"command":"/opt/x/python","args":["-m","x"]}}})",
         {"/opt/x/python", {"-m", "x"}}},
        {R"({"mcpServers":{"vamo":{"command":"/opt/x/python","args":["-m",1]}}})",
         {"/opt/x/python", {}}},
        {R"({"mcpServers":{"vamo":{"command":7}}})", findEngine()},
        {R"({"mcpServers":[]})", findEngine()},
        {"{", findEngine()},
    };
    for (const auto& [text, engine] : configurations) {
        writeFile(home.file(".claude.json"), text);
        EXPECT_EQ(findEngine(), engine) << text;
    }
    // A runtime that is shipped comes first.
    const std::string resources = std::getenv("TAVIK_RESOURCES");
    setenv("TAVIK_RESOURCES", home.path().c_str(), 1);
    const std::string python = home.file("vamo-runtime/python/bin/python3.12");
    std::filesystem::create_directories(std::filesystem::path(python).parent_path());
    std::filesystem::copy_file("/bin/true", python);
    EXPECT_EQ(findEngine(), (EngineLaunch{python, {"-m", "vamo.mcp_server"}, true}));
    setenv("TAVIK_RESOURCES", resources.c_str(), 1);
    setenv("HOME", before.c_str(), 1);

    setenv("PYTHONPATH", "/elsewhere", 1);
    const auto environment = bundledEnvironment();
    unsetenv("PYTHONPATH");
    EXPECT_FALSE(environment.contains("PYTHONPATH"));
    EXPECT_EQ(environment.at("PYTHONNOUSERSITE"), "1");
    EXPECT_EQ(environment.at("HOME"), before);
}

} // namespace tavik
