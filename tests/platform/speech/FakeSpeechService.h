#pragma once

#include "tools/stand-ins/services/TemporaryFolder.h"

#include <atomic>
#include <functional>
#include <optional>
#include <string>
#include <thread>

namespace tavik {

// Listens where a speech service would and answers one client at a time as the test wants.
class FakeSpeechService {
public:
    // What to answer to a line; nothing closes the connection.
    using Answer = std::function<std::optional<std::string>(const std::string& line)>;

    // `endless` is what it says over and over once it was first spoken to. Throws
    // std::system_error.
    explicit FakeSpeechService(Answer answer, std::string endless = "");
    ~FakeSpeechService();
    FakeSpeechService(const FakeSpeechService&) = delete;
    FakeSpeechService& operator=(const FakeSpeechService&) = delete;

    // For SPEECHD_ADDRESS.
    std::string address() const { return "unix_socket:" + folder.file("speechd"); }

private:
    void serve(const std::stop_token& stop);
    void converse(int client, const std::stop_token& stop);
    // Whether all of it went out.
    static bool send(int client, std::string_view bytes, const std::stop_token& stop);

    TemporaryFolder folder;
    const Answer answerTo;
    const std::string endless;
    int listener;
    std::jthread thread; // last: it uses all of the above
};

// What a well-behaved service answers to `line`. Every text gets the number 7, and its end is never
// told.
std::string wellBehavedAnswer(const std::string& line);

} // namespace tavik
