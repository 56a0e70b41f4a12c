#include "tests/system/AgentAtTheShim.h"

#include <cstdlib>
#include <poll.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr int patienceMilliseconds = 5000;

bool isReady(int descriptor, short event) {
    pollfd waiting{descriptor, event, 0};
    return poll(&waiting, 1, patienceMilliseconds) > 0;
}

std::map<std::string, std::string> environmentOf(const std::string& home,
                                                 const std::string& socket) {
    std::map<std::string, std::string> variables = {{"HOME", home}, {"PATH", std::getenv("PATH")}};
    if (!socket.empty())
        variables["TAVIK_MCP_SOCKET"] = socket;
    return variables;
}

} // namespace

AgentAtTheShim::AgentAtTheShim(const std::string& home, const std::string& socket,
                               const std::string& program)
    : process({program, {"--mcp"}, environmentOf(home, socket)}) {}

bool AgentAtTheShim::sendBytes(std::string_view bytes) {
    while (!bytes.empty()) {
        const auto taken = process.write(bytes);
        if (!taken || (*taken == 0 && !isReady(process.input(), POLLOUT)))
            return false;
        bytes.remove_prefix(*taken);
    }
    return true;
}

bool AgentAtTheShim::receive() {
    char buffer[65'536];
    if (!isReady(process.output(), POLLIN))
        return false;
    const ssize_t count = ::read(process.output(), buffer, sizeof buffer);
    if (count > 0)
        said.append(buffer, static_cast<std::size_t>(count));
    return count > 0;
}

std::string AgentAtTheShim::read(std::size_t bytes) {
    while (said.size() < bytes && receive()) {
    }
    return std::exchange(said, {});
}

std::optional<Json> AgentAtTheShim::readMessage() {
    while (said.find('\n') == std::string::npos)
        if (!receive())
            return std::nullopt;
    const std::size_t end = said.find('\n');
    auto message = parseJson(said.substr(0, end));
    said.erase(0, end + 1);
    return message;
}

Json AgentAtTheShim::ask(const Json& message) {
    send(message);
    return readMessage().value_or(nullptr);
}

std::string AgentAtTheShim::complaint() {
    char buffer[4096];
    const ssize_t count =
        isReady(process.errors(), POLLIN) ? ::read(process.errors(), buffer, sizeof buffer) : 0;
    return std::string(buffer, static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
}

std::optional<int> AgentAtTheShim::exitStatus(std::chrono::milliseconds patience) {
    pollfd waiting{process.exit(), POLLIN, 0};
    poll(&waiting, 1, static_cast<int>(patience.count()));
    process.hasEnded();
    return process.exitStatus();
}

Json callOf(const Json& id, const std::string& tool, const Json& arguments) {
    return {{"jsonrpc", "2.0"},
            {"id", id},
            {"method", "tools/call"},
            {"params", {{"name", tool}, {"arguments", arguments}}}};
}

} // namespace tavik
