#include "fuzz/FixedReply.h"
#include "fuzz/ShortRecords.h"
#include "fuzz/Targets.h"
#include "mcp/server/RequestHandler.h"

#include <cstdlib>
#include <filesystem>
#include <sys/socket.h>

namespace tavik::fuzz {

namespace {

class NoApplications : public Applications {
public:
    bool open(const std::string&, std::stop_token) override { return false; }
    bool openUrl(const std::string&, std::stop_token) override { return true; }
};

class Mute : public SpeechOutput {
public:
    void speak(const std::string&, const std::optional<Voice>&, std::stop_token) override {}
    bool isSpeaking() override { return false; }
    void stopSpeaking() override {}
    std::vector<Voice> voices(std::stop_token) override { return {}; }
};

std::string settingsThatLetAgentsIn() {
    const auto folder = std::filesystem::temp_directory_path() / "tavik-fuzz-settings";
    std::filesystem::create_directories(folder);
    return (folder / "settings.json").string();
}

// A server without an engine, whose calls run at once.
struct Server {
    Server() { defaults.set("mcpEnabled", true); }

    UserDefaults defaults{settingsThatLetAgentsIn()};
    NoApplications applications;
    MCPHub hub{[] { return EngineLaunch{"/nonexistent", {}}; }};
    Floor floor;
    Announcer announcer{std::make_unique<Mute>(), defaults, systemClock(), floor};
    ServerTools tools{{&defaults, &applications, &hub, &announcer,
                       [](std::stop_token) { return std::string("rm -rf /"); },
                       [](std::stop_token) { return std::unique_ptr<Brain>(); }}};
    RequestHandler handler{tools, [](const WorkerPool::Job& job) { job({}); },
                           [](const std::function<void()>& job) { job(); }};
};

std::vector<std::string> linesOf(int descriptor) {
    std::string said;
    char buffer[65'536];
    for (ssize_t count; (count = recv(descriptor, buffer, sizeof buffer, MSG_DONTWAIT)) > 0;)
        said.append(buffer, static_cast<std::size_t>(count));
    LineBuffer lines(said.size());
    return lines.take(said);
}

bool isForUs(const std::string& line) {
    const auto request = parseJson(line);
    return request && member(*request, "id");
}

bool expectsAnswer(const std::string& line) {
    if (!isForUs(line))
        return false;
    const auto method = stringMember(*parseJson(line), "method");
    return method != "notifications/initialized" && method != "notifications/cancelled";
}

} // namespace

void handleAgentRequests(std::string_view input) {
    constexpr std::size_t largest = 16'384; // what a socket holds
    if (input.size() > largest)
        return;
    static Server server;
    keepRecordsShort();
    int ends[2];
    check(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends) == 0);
    const FileDescriptor agent(ends[0]);
    const auto connection = std::make_shared<Connection>(FileDescriptor(ends[1]));
    check(send(agent.get(), input.data(), input.size(), MSG_NOSIGNAL) ==
          static_cast<ssize_t>(input.size()));
    connection->receive([&](const Json& request) { server.handler.handle(connection, request); });
    server.handler.forget(connection);

    std::vector<Json> asked;
    LineBuffer lines(input.size());
    for (const std::string& line : lines.take(input))
        if (expectsAnswer(line))
            asked.push_back((*parseJson(line))["id"]);
    const auto answers = linesOf(agent.get());
    check(connection->hasOutgoing() || answers.size() == asked.size());
    for (std::size_t index = 0; index < answers.size(); ++index) {
        const auto answer = parseJson(answers[index]);
        check(answer && (*answer)["jsonrpc"] == "2.0");
        check(compactJson((*answer)["id"]) == compactJson(asked[index]));
        check(answer->contains("result") != answer->contains("error"));
    }
}

} // namespace tavik::fuzz
