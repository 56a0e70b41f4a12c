#include "tests/platform/speech/FakeSpeechService.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>

namespace tavik {

namespace {

constexpr int pause = 20; // milliseconds, between looks at the stop token

int listenAt(const std::string& path) {
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
    if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0 ||
        listen(listener, 5) != 0)
        throw std::system_error(errno, std::generic_category(), path);
    return listener;
}

bool isReady(int descriptor, short events) {
    pollfd polled{descriptor, events, 0};
    return poll(&polled, 1, pause) > 0;
}

} // namespace

FakeSpeechService::FakeSpeechService(Answer answer, std::string sayings)
    : answerTo(std::move(answer))
    , endless(std::move(sayings))
    , listener(listenAt(folder.file("speechd")))
    , thread([this](std::stop_token stop) { serve(stop); }) {}

FakeSpeechService::~FakeSpeechService() {
    thread.request_stop();
    thread.join();
    close(listener);
}

void FakeSpeechService::serve(const std::stop_token& stop) {
    while (!stop.stop_requested()) {
        if (!isReady(listener, POLLIN))
            continue;
        const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        if (client < 0)
            continue;
        converse(client, stop);
        close(client);
    }
}

void FakeSpeechService::converse(int client, const std::stop_token& stop) {
    std::string received;
    while (!stop.stop_requested()) {
        if (!isReady(client, POLLIN))
            continue;
        std::array<char, 4096> buffer;
        const ssize_t count = recv(client, buffer.data(), buffer.size(), 0);
        if (count <= 0)
            return;
        received.append(buffer.data(), static_cast<std::size_t>(count));
        for (std::size_t end; (end = received.find("\r\n")) != std::string::npos;) {
            const auto answer = answerTo(received.substr(0, end));
            received.erase(0, end + 2);
            if (!answer || !send(client, *answer, stop))
                return;
        }
        while (!endless.empty() && !stop.stop_requested())
            if (!send(client, endless, stop))
                return;
    }
}

bool FakeSpeechService::send(int client, std::string_view bytes, const std::stop_token& stop) {
    while (!bytes.empty() && !stop.stop_requested()) {
        if (!isReady(client, POLLOUT))
            continue;
        const ssize_t sent =
            ::send(client, bytes.data(), bytes.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (sent < 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return bytes.empty();
}

std::string wellBehavedAnswer(const std::string& line) {
    if (line == "SPEAK")
        return "230 OK RECEIVING DATA\r\n";
    if (line == ".")
        return "225-7\r\n225 OK MESSAGE QUEUED\r\n";
    if (line == "LIST OUTPUT_MODULES")
        return "250-fake\r\n250-broken\r\n250 OK MODULE LIST SENT\r\n";
    if (line == "LIST SYNTHESIS_VOICES")
        return "249-Anna\ten-US\tnone\r\n249-Anna+Robot\ten-US\tRobot\r\n"
               "249-Berta\tde\tnull\r\n249-nonsense\r\n249 OK VOICE LIST SENT\r\n";
    if (line == "SET SELF OUTPUT_MODULE broken")
        return "304 ERR CANT SET OUTPUT MODULE\r\n";
    return line.starts_with("SET") || line.starts_with("CANCEL") ? "200 OK\r\n" : "";
}

} // namespace tavik
