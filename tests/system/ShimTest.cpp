#include "mcp/UnixSocket.h"
#include "tests/system/AgentAtTheShim.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <filesystem>
#include <random>
#include <sys/socket.h>
#include <thread>

using namespace std::chrono_literals;

namespace tavik {

namespace {

namespace files = std::filesystem;

constexpr auto notRunning =
    "tavik-mcp: Tavik.app is not running and could not be started — launch Tavik first.\n";

// A server that is told what to do with its one client.
class BareServer {
public:
    explicit BareServer(const std::string& path)
        : listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const auto address = socketAddress(path).value();
        EXPECT_EQ(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address),
                  0);
        EXPECT_EQ(listen(listener.get(), 1), 0);
    }

    FileDescriptor accept() const {
        return FileDescriptor(accept4(listener.get(), nullptr, nullptr, SOCK_CLOEXEC));
    }

private:
    FileDescriptor listener;
};

std::string randomBytes(std::size_t count) {
    std::mt19937 random(4);
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

// A copy of the program as a package installs it, in `prefix`.
std::string installIn(const std::string& prefix) {
    const files::path built = files::path(TAVIK_PROGRAM).parent_path().parent_path();
    for (const char* folder : {"bin", "libexec/tavik", "share/applications"})
        files::create_directories(prefix + "/" + folder);
    for (const char* program : {"/bin/tavik", "/libexec/tavik/tavik"})
        files::copy_file(built.string() + program, prefix + program);
    files::create_directory_symlink(std::getenv("TAVIK_RESOURCES"), prefix + "/share/tavik");
    files::copy_file(TAVIK_DESKTOP_ENTRY, prefix + "/share/applications/ai.tavik.desktop");
    return prefix + "/bin/tavik";
}

pid_t serverAt(const std::string& path) {
    const FileDescriptor visitor = connectSocket(path);
    ucred peer{};
    socklen_t size = sizeof peer;
    return getsockopt(visitor.get(), SOL_SOCKET, SO_PEERCRED, &peer, &size) == 0 ? peer.pid : 0;
}

class ShimTest : public testing::Test {
protected:
    TemporaryFolder folder;
    const std::string path = folder.file("s");
};

} // namespace

TEST_F(ShimTest, PassesBytesOnUnreadInBothDirections) {
    const BareServer server(path);
    AgentAtTheShim agent(folder.path(), path);
    const FileDescriptor client = server.accept();
    std::jthread echo([&client] {
        char buffer[10'000];
        for (ssize_t count; (count = recv(client.get(), buffer, sizeof buffer, 0)) > 0;)
            send(client.get(), buffer, static_cast<std::size_t>(count), MSG_NOSIGNAL);
    });
    const std::string bytes = randomBytes(8'000'000);
    std::jthread sender([&] { EXPECT_TRUE(agent.sendBytes(bytes)); });
    EXPECT_TRUE(agent.read(bytes.size()) == bytes);
    sender.join();
    agent.shim().closeInput();
    EXPECT_EQ(agent.exitStatus(), 0);
}

TEST_F(ShimTest, EndsWithEitherSide) {
    const BareServer server(path);
    {
        AgentAtTheShim agent(folder.path(), path);
        const FileDescriptor client = server.accept();
        send(client.get(), "bye", 3, MSG_NOSIGNAL);
        shutdown(client.get(), SHUT_RDWR);
        EXPECT_EQ(agent.read(4), "bye");
        EXPECT_EQ(agent.exitStatus(), 0);
    }
    AgentAtTheShim agent(folder.path(), path);
    const FileDescriptor deaf = server.accept();
    agent.sendBytes(randomBytes(1'000'000)); // more than anybody keeps
    EXPECT_EQ(agent.exitStatus(10s), 1);
}

TEST_F(ShimTest, SaysThatNobodyServes) {
    AgentAtTheShim isolated(folder.path(), path);
    EXPECT_EQ(isolated.exitStatus(1s), 1); // at once
    EXPECT_EQ(isolated.complaint(), notRunning);
    AgentAtTheShim tooLong(folder.path(), std::string(104, 's'));
    EXPECT_EQ(tooLong.exitStatus(1s), 1);
    AgentAtTheShim usual(folder.path(), "");
    EXPECT_EQ(usual.exitStatus(9s), std::nullopt);
    EXPECT_EQ(usual.exitStatus(6s), 1);
    EXPECT_EQ(usual.complaint(), notRunning);
}

TEST_F(ShimTest, StartsTheInstalledProgram) {
    const std::string program = installIn(folder.file("prefix"));
    const std::string home = folder.file("home");
    const std::string socketInHome = home + "/Library/Application Support/Tavik/tavik-mcp.sock";
    {
        AgentAtTheShim agent(home, "", program);
        AgentAtTheShim another(home, "", program); // only one of the two starts stays
        for (AgentAtTheShim* each : {&agent, &another}) {
            const Json answer = each->ask({{"id", 1}, {"method", "tools/list"}});
            EXPECT_EQ(compactJson(answer), R"({"jsonrpc":"2.0","id":1,"result":{"tools":[]}})");
        }
        agent.shim().closeInput();
        EXPECT_EQ(agent.exitStatus(), 0);
    }
    const pid_t server = serverAt(socketInHome); // outlives the agents
    ASSERT_GT(server, 0);
    EXPECT_EQ(files::read_symlink("/proc/" + std::to_string(server) + "/fd/0"), "/dev/null");
    kill(server, SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + 5s;
    while (files::exists(socketInHome) && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(10ms);
    EXPECT_FALSE(files::exists(socketInHome));
}

} // namespace tavik
