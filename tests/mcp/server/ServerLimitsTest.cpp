#include "app/Log.h"
#include "tests/mcp/server/ServerFixture.h"

#include <filesystem>
#include <fmt/format.h>
#include <set>
#include <sys/stat.h>
#include <sys/un.h>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::HasSubstr;

constexpr std::size_t mebibyte = 1'048'576;

class ServerLimitsTest : public ServerFixture {
protected:
    static bool logged(const std::string& text) {
        TavikLog::flush();
        return readFile(TavikLog::path()).find(text) != std::string::npos;
    }

    static std::size_t count(const std::string& folderOfProcess) {
        return static_cast<std::size_t>(std::distance(
            std::filesystem::directory_iterator("/proc/self/" + folderOfProcess), {}));
    }

    // A ping of so many bytes without its end.
    static std::string pingOf(std::size_t bytes) {
        std::string line = R"({"id":1,"method":"ping","x":")";
        return line + std::string(bytes - line.size() - 2, 'x') + "\"}";
    }

    static Json speaking(int id, const std::string& text) {
        return {{"id", id},
                {"method", "tools/call"},
                {"params", {{"name", "speak"}, {"arguments", {{"text", text}}}}}};
    }

    // Serves at `socketPath` and returns whether anybody can connect there.
    static bool serves(MCPServer& server, const std::string& socketPath) {
        setenv("TAVIK_MCP_SOCKET", socketPath.c_str(), 1);
        server.start();
        return SocketClient(socketPath).isConnected();
    }
};

} // namespace

TEST_F(ServerLimitsTest, ALineHoldsAMebibyte) {
    SocketClient client(path);
    client.sendBytes(pingOf(mebibyte) + "\n" + pingOf(mebibyte) + "\n");
    EXPECT_EQ(client.read()["id"], 1);
    EXPECT_EQ(client.read()["id"], 1);
    client.sendBytes(R"({"id":2,"method":"ping"})"
                     "\n" +
                     pingOf(mebibyte + 1));
    EXPECT_EQ(client.read()["id"], 2);
    EXPECT_TRUE(client.isClosed());
}

TEST_F(ServerLimitsTest, CutsOffAClientThatDoesNotRead) {
    SocketClient deaf(path);
    SocketClient other(path);
    const std::string pings = [] {
        std::string lines;
        for (int id = 0; id < 20'000; ++id)
            lines += fmt::format("{{\"id\":{},\"method\":\"ping\"}}\n", id);
        return lines;
    }();
    const auto start = std::chrono::steady_clock::now();
    deaf.sendBytes(pings);
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(other.ask({{"id", 1}, {"method", "ping"}})["id"], 1); // nobody else waits
    EXPECT_LT(std::chrono::steady_clock::now() - asked, 1s);
    while (!logged("client cut off because it does not read") &&
           std::chrono::steady_clock::now() - start < 20s)
        std::this_thread::sleep_for(50ms);
    EXPECT_GT(std::chrono::steady_clock::now() - start, 1500ms);
    EXPECT_TRUE(deaf.isClosed());
}

TEST_F(ServerLimitsTest, ServesOnlyWherePathAndFileAllowIt) {
    struct stat status {};
    ASSERT_EQ(stat(path.c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777, 0600u);

    MCPServer another{};
    const std::string longest = folder.file(std::string(102 - folder.path().size(), 's'));
    ASSERT_EQ(longest.size(), 103u);
    EXPECT_TRUE(serves(another, longest));
    another.stop();
    EXPECT_FALSE(std::filesystem::exists(longest));

    EXPECT_FALSE(serves(another, longest + "s"));
    EXPECT_TRUE(logged("[tavik-mcp] socket path too long: " + longest + "s"));
    EXPECT_FALSE(serves(another, ""));
    EXPECT_FALSE(serves(another, folder.path()));
    EXPECT_TRUE(logged("[tavik-mcp] bind/listen failed: "));
    EXPECT_TRUE(std::filesystem::is_directory(folder.path()));
}

TEST_F(ServerLimitsTest, ReplacesWhatACrashLeftButNotALiveServer) {
    MCPServer another{};
    EXPECT_TRUE(serves(another, path)); // the first one's
    EXPECT_TRUE(logged("[tavik-mcp] bind/listen failed: Address already in use"));
    server.stop();
    EXPECT_FALSE(SocketClient(path).isConnected());

    {
        const FileDescriptor crashed(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
        const auto address = socketAddress(path).value();
        ASSERT_EQ(bind(crashed.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
    }
    ASSERT_TRUE(std::filesystem::exists(path));
    EXPECT_TRUE(serves(another, path));

    std::filesystem::remove(path);
    writeFile(path, "somebody else's by now");
    another.stop();
    EXPECT_TRUE(std::filesystem::exists(path));
}

TEST_F(ServerLimitsTest, StopEndsTheCallsThatRun) {
    SocketClient client(path);
    for (int id = 0; id < 20; ++id)
        client.send(speaking(id, "on and on"));
    while (!speech->speaking)
        std::this_thread::sleep_for(1ms);
    const auto start = std::chrono::steady_clock::now();
    server.stop();
    EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
    EXPECT_TRUE(client.isClosed());
    EXPECT_FALSE(std::filesystem::exists(path));
    server.start();
    EXPECT_EQ(call("focus_app", {{"name", "Notes"}}), "Opened Notes.");
}

TEST_F(ServerLimitsTest, BeginsNothingMoreForAnAgentThatIsGone) {
    SocketClient client(path);
    for (int id = 0; id < 20; ++id)
        client.send(speaking(id, std::to_string(id)));
    while (!speech->speaking)
        std::this_thread::sleep_for(1ms);
    client.disconnect();
    std::this_thread::sleep_for(50ms);
    const auto start = std::chrono::steady_clock::now();
    while (std::chrono::steady_clock::now() - start < 1s) {
        speech->speaking = false;
        std::this_thread::sleep_for(20ms);
    }
    EXPECT_EQ(speech->texts().size(), 8u); // as many as ran at once
}

TEST_F(ServerLimitsTest, AnswersThreeHundredAgentsEachOnceByItsId) {
    constexpr int agents = 300;
    constexpr int rounds = 3;
    EXPECT_EQ(call("snapshot"), "ax_snapshot {}"); // the engine runs
    const std::size_t descriptors = count("fd");
    const std::size_t threads = count("task");
    {
        std::vector<SocketClient> clients;
        for (int agent = 0; agent < agents; ++agent)
            clients.emplace_back(path);
        const Json requests[] = {{{"method", "ping"}},
                                 {{"method", "tools/list"}},
                                 {{"method", "tools/call"}, {"params", {{"name", "snapshot"}}}},
                                 {{"method", "tools/call"},
                                  {"params", {{"name", "type"}, {"arguments", {{"text", "x"}}}}}},
                                 {{"method", "tools/call"}, {"params", {{"name", "nonsense"}}}}};
        for (int round = 0; round < rounds; ++round)
            for (SocketClient& client : clients)
                for (std::size_t kind = 0; kind < std::size(requests); ++kind) {
                    Json request = requests[kind];
                    request["id"] = std::to_string(round) + "/" + std::to_string(kind);
                    ASSERT_TRUE(client.send(request));
                }
        for (SocketClient& client : clients) {
            std::set<std::string> answered;
            for (std::size_t left = rounds * std::size(requests); left > 0; --left)
                EXPECT_TRUE(answered.insert(client.read()["id"]).second);
            EXPECT_FALSE(client.readLine(0ms));
        }
    }
    const auto deadline = std::chrono::steady_clock::now() + 15s;
    while ((count("fd") > descriptors || count("task") > threads) &&
           std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(50ms);
    EXPECT_LE(count("fd"), descriptors);
    EXPECT_LE(count("task"), threads); // the pool's threads have ended
}

} // namespace tavik
