// Round trips of external agents with the server, beside a server of the protocol's TypeScript SDK
// at a socket of the same kind; what the hub adds to a call of the engine; a reply of 16 MB.

#include "bench/FreshHome.h"
#include "mcp/MCPHub.h"
#include "mcp/server/MCPServer.h"
#include "platform/process/SpawnedProcess.h"
#include "tests/support/SocketClient.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

namespace {

using namespace tavik;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr int trips = 5000;

// In microseconds.
struct Times {
    double median;
    double worstOfHundred;
};

Times measure(int count, const std::function<void()>& work) {
    std::vector<double> times;
    for (int round = 0; round < count; ++round) {
        const auto start = steady_clock::now();
        work();
        times.push_back(
            std::chrono::duration<double, std::micro>(steady_clock::now() - start).count());
    }
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times[times.size() * 99 / 100]};
}

Times roundTrips(SocketClient& client, const Json& request) {
    for (int warmUp = 0; warmUp < trips / 10; ++warmUp)
        client.ask(request);
    return measure(trips, [&] { client.ask(request); });
}

void compare(const char* what, const Times& ours, const Times& peer) {
    std::printf("%-28s p50 %7.1f us  p99 %7.1f us  %7.0f /s   ratio to the SDK's p50 %.2f\n", what,
                ours.median, ours.worstOfHundred, 1e6 / ours.median, ours.median / peer.median);
}

Json callOf(const char* tool) {
    return {{"jsonrpc", "2.0"},
            {"id", 1},
            {"method", "tools/call"},
            {"params", {{"name", tool}, {"arguments", {{"text", "hello"}}}}}};
}

void waitFor(const std::string& path) {
    for (int attempt = 0; attempt < 1000 && !connectSocket(path); ++attempt)
        std::this_thread::sleep_for(10ms);
}

std::string nodePath() {
    return std::filesystem::exists("/usr/bin/node") ? "/usr/bin/node" : "/usr/local/bin/node";
}

void measureServer(const FreshHome& home, MCPHub& hub) {
    UserDefaults defaults(home.file("defaults.json"));
    defaults.set("mcpEnabled", true);
    const std::string path = home.file("s");
    setenv("TAVIK_MCP_SOCKET", path.c_str(), 1);
    ServerToolServices services;
    services.defaults = &defaults;
    services.engine = &hub;
    MCPServer server(services);
    server.start();
    SocketClient client(path);
    const Json ping = {{"jsonrpc", "2.0"}, {"id", 1}, {"method", "ping"}};

    const std::string peerPath = home.file("peer");
    SpawnedProcess peer({nodePath(), {TAVIK_MCP_PEERS "server.mjs", peerPath}, {}});
    waitFor(peerPath);
    SocketClient peerClient(peerPath);
    const Times peerPing = roundTrips(peerClient, ping);
    const Times peerCall = roundTrips(peerClient, callOf("type"));
    std::printf("%-28s p50 %7.1f us  p99 %7.1f us\n", "the SDK's ping", peerPing.median,
                peerPing.worstOfHundred);
    std::printf("%-28s p50 %7.1f us  p99 %7.1f us\n", "the SDK's call", peerCall.median,
                peerCall.worstOfHundred);
    compare("ping", roundTrips(client, ping), peerPing);
    compare("call that fails at once", roundTrips(client, callOf("nonsense")), peerCall);
    compare("call through to the engine", roundTrips(client, callOf("type")), peerCall);
}

void measureHub(MCPHub& hub) {
    MCPClient bare("bench", TAVIK_SCRIPTED_ENGINE, {});
    bare.start({});
    const Json arguments = {{"text", "hello"}};
    const Times client = measure(trips, [&] { bare.callTool("echo", arguments, 10s, {}); });
    const Times throughHub = measure(trips, [&] { hub.call("echo", arguments, {}); });
    std::printf("%-28s p50 %7.1f us; bare client %.1f us, ratio %.2f\n", "call through the hub",
                throughHub.median, client.median, throughHub.median / client.median);
    const Times big = measure(10, [&] { hub.call("big", {{"bytes", 16'000'000}}, {}); });
    std::printf("%-28s p50 %7.1f ms\n", "a reply of 16 MB", big.median / 1000);
}

} // namespace

int main() {
    const FreshHome home;
    setenv("TAVIK_TEST_TOOLS", R"({"tools":[]})", 1);
    MCPHub hub([] { return EngineLaunch{TAVIK_SCRIPTED_ENGINE, {}}; });
    measureServer(home, hub);
    measureHub(hub);
    return 0;
}
