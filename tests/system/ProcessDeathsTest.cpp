#include "mcp/UnixSocket.h"
#include "tests/support/Eventually.h"
#include "tests/system/AgentAtTheShim.h"
#include "tests/system/RunningTavik.h"

#include <csignal>
#include <filesystem>
#include <optional>
#include <thread>

using namespace std::chrono_literals;

namespace tavik {

namespace {

namespace files = std::filesystem;

// The processes that a call of a coding agent goes through.
enum Process { agent = 1, shim = 2, app = 4, engine = 8 };

bool isRunning(pid_t process) {
    return files::exists("/proc/" + std::to_string(process));
}

bool endsSoon(pid_t process) {
    return eventually([process] { return !isRunning(process); }, 5s);
}

// An agent, its bridge, Tavik and the engine, with a call on its way that the engine never answers.
class CallUnderWay {
public:
    CallUnderWay(const std::string& home, const std::string& socket)
        : tavik({.arguments = {TAVIK_PROGRAM, "--selftest-mcp"},
                 .environment = {{"HOME", home},
                                 {"TAVIK_MCP_SOCKET", socket},
                                 {"TAVIK_TEST_TOOLS", R"({"tools":[]})"}},
                 .outputPath = "",
                 .input = ""}) {
        for (int attempt = 0; attempt < 500 && !connectSocket(socket); ++attempt)
            std::this_thread::sleep_for(10ms);
        client.emplace(home, socket);
        enginePid = pid_t(std::stol(textOf(client->ask(callOf(1, "snapshot", {{"pid", true}})))));
        const std::string hasCome = home + "/has-come";
        files::remove(hasCome);
        client->send(callOf(2, "snapshot", {{"hang", hasCome}}));
        EXPECT_TRUE(eventually([&] { return files::exists(hasCome); }));
    }

    void kill(int victims) {
        if (victims & engine)
            ::kill(enginePid, SIGKILL);
        if (victims & app)
            tavik.kill();
        if (victims & shim)
            client->shim().signal(SIGKILL);
        if (victims & agent)
            client.reset();
    }

    static std::string textOf(const Json& answer) { return answer["result"]["content"][0]["text"]; }

    ChildProcess tavik;
    std::optional<AgentAtTheShim> client;
    pid_t enginePid = 0;
};

class ProcessDeaths : public testing::Test {
protected:
    ProcessDeaths() {
        writeFile(folder.file("Library/Preferences/ai.tavik.json"), R"({"mcpEnabled":true})");
        writeFile(folder.file(".claude.json"),
                  compactJson({{"mcpServers", {{"vamo", {{"command", TAVIK_SCRIPTED_ENGINE}}}}}}));
    }

    TemporaryFolder folder;
    const std::string socket = folder.file("s");
};

} // namespace

// Whoever is killed in mid-call: the others end or go on as they should, nothing hangs, no process
// is left over, and the next start works.
TEST_F(ProcessDeaths, LeaveNothingBehindInAnyCombination) {
    for (int victims = 1; victims < 16; ++victims) {
        SCOPED_TRACE("victims " + std::to_string(victims));
        pid_t enginePid = 0;
        {
            CallUnderWay call(folder.path(), socket);
            enginePid = call.enginePid;
            call.kill(victims);
            const bool hasAgent = (victims & (agent | shim)) == 0;
            if (hasAgent && (victims & app)) {
                EXPECT_EQ(call.client->exitStatus(), 0); // the bridge ends with the program
            }
            if (hasAgent && victims == engine) {
                EXPECT_EQ(CallUnderWay::textOf(call.client->readMessage().value()),
                          "Desktop action failed: The desktop-control engine stopped "
                          "unexpectedly.");
            }
            if ((victims & app) == 0) {
                AgentAtTheShim next(folder.path(), socket);
                EXPECT_NE(next.ask(callOf(1, "snapshot", {{"pid", true}})), nullptr);
                EXPECT_EQ(call.tavik.terminate(2s), 0);
            }
            EXPECT_TRUE(endsSoon(enginePid));
        }
        CallUnderWay afterwards(folder.path(), socket);
        EXPECT_EQ(afterwards.tavik.terminate(2s), 0);
        EXPECT_FALSE(files::exists(socket));
        EXPECT_TRUE(endsSoon(afterwards.enginePid));
    }
}

} // namespace tavik
