#include "platform/speech/SpeechVoices.h"
#include "platform/speech/SsipConnection.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <thread>
#include <unistd.h>

namespace tavik {

namespace {

// A service that says what it is told to say, piece by piece, to the first one who asks.
class ScriptedService {
public:
    explicit ScriptedService(std::vector<std::string> sayings)
        : listener(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        const std::string path = folder.file("speechd");
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
        if (bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
            listen(listener, 1) != 0)
            throw std::runtime_error("no socket for the scripted service");
        setenv("SPEECHD_ADDRESS", ("unix_socket:" + path).c_str(), 1);
        thread = std::jthread([this, pieces = std::move(sayings)] { serve(pieces); });
    }
    ~ScriptedService() {
        shutdown(listener, SHUT_RDWR);
        thread.join();
        close(listener);
    }

private:
    void serve(const std::vector<std::string>& pieces) const {
        const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
        char byte = 0;
        if (client < 0 || recv(client, &byte, 1, 0) != 1)
            return;
        for (const std::string& piece : pieces) {
            if (send(client, piece.data(), piece.size(), MSG_NOSIGNAL) < 0)
                break;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        close(client);
    }

    TemporaryFolder folder;
    int listener;
    std::jthread thread;
};

} // namespace

TEST(SsipConnection, TakesRepliesAndEventsApartHoweverTheyArrive) {
    const ScriptedService service({"701-7\r\n701-1\r\n701 BEGIN\r\n22", "5-8\r\n225 OK MESS",
                                   "AGE QUEUED\r\n702-7\r\n", "702-1\n702 END\n", "216 OK\r\n"});
    std::vector<std::pair<int, std::string>> events;
    SsipConnection connection(
        [&](int code, const std::string& number) { events.emplace_back(code, number); }, {});

    const auto reply = connection.request("SPEAK\r\n", {});
    EXPECT_EQ(reply.code, 225);
    EXPECT_EQ(reply.lines, (std::vector<std::string>{"8", "OK MESSAGE QUEUED"}));
    EXPECT_EQ(connection.request("SET SELF OUTPUT_MODULE x\r\n", {}).code, 216);
    EXPECT_EQ(events, (std::vector<std::pair<int, std::string>>{{701, "7"}, {702, "7"}}));
}

TEST(SsipConnection, PassesOverTheReplyToANotification) {
    const ScriptedService service({"210 OK CANCELED\r\n", "216 OK OUTPUT MODULE SET\r\n"});
    SsipConnection connection([](int, const std::string&) {}, {});

    EXPECT_TRUE(connection.notify("CANCEL SELF\r\n"));
    EXPECT_EQ(connection.request("SET SELF OUTPUT_MODULE x\r\n", {}).code, 216);
}

TEST(SsipConnection, TellsARefusalFromALoss) {
    {
        const ScriptedService service({"409 ERR RATE OUT OF RANGE\r\n"});
        SsipConnection connection([](int, const std::string&) {}, {});
        EXPECT_THROW(connection.request("SET SELF RATE 999\r\n", {}), SpeechRefusal);
    }
    for (const std::string saying :
         {"", "225-1\r\n", "HTTP/1.1 400 Bad Request\r\n", "\r\n", "2\n"}) {
        const ScriptedService service({saying});
        SsipConnection connection([](int, const std::string&) {}, {});
        try {
            connection.request("SPEAK\r\n", {});
            ADD_FAILURE() << "took \"" << saying << "\" for a reply";
        } catch (const SpeechRefusal&) {
            ADD_FAILURE() << "took \"" << saying << "\" for a refusal";
        } catch (const SpeechError&) {
            EXPECT_FALSE(connection.poll());
        }
    }
}

TEST(SpeechVoices, ReadsRowsAndJudgesSynthesisers) {
    const auto voice = voiceOf("English (America)\ten-US\tnone", "espeak-ng");
    ASSERT_TRUE(voice);
    EXPECT_EQ(voice->identifier, "espeak-ng/English (America)");
    EXPECT_EQ(voice->name, "English (America)");
    EXPECT_EQ(voice->language, "en-US");
    for (const char* row : {"", "English", "English\ten", "English+Adam\ten\tAdam"})
        EXPECT_FALSE(voiceOf(row, "espeak-ng")) << row;

    const std::vector<std::pair<std::string, VoiceQuality>> qualities = {
        {"espeak-ng", VoiceQuality::compact},
        {"flite", VoiceQuality::compact},
        {"festival", VoiceQuality::compact},
        {"never-heard-of", VoiceQuality::compact},
        {"espeak-ng-mbrola", VoiceQuality::enhanced},
        {"pico-generic", VoiceQuality::enhanced},
        {"espeak-mbrola-generic", VoiceQuality::enhanced},
        {"RHVoice", VoiceQuality::enhanced},
        {"piper-generic", VoiceQuality::premium},
        {"mimic3-generic", VoiceQuality::premium}};
    for (const auto& [module, quality] : qualities)
        EXPECT_EQ(voiceOf("a\ten\tnone", module).value().quality, quality) << module;
}

} // namespace tavik
