#pragma once

#include "platform/concurrency/Clock.h"
#include "platform/http/HttpSession.h"
#include "platform/recognition/Transcriber.h"

#include <atomic>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>

namespace tavik {

// Transcribes on a server on this machine while one is set and answers, and by another transcriber
// of the same rate otherwise. That one listens along, so that its text is there when the server's
// is not. A server that let us wait in vain is left alone for a minute. Protocol: OpenAI's audio
// transcriptions, as local servers offer them,
// https://platform.openai.com/docs/api-reference/audio/createTranscription
class ServerTranscriber : public Transcriber {
public:
    struct Settings {
        std::string address; // as it is written; empty for no server
        std::string model;   // empty for the usual one
    };
    // Asked at the beginning of each utterance, on its thread.
    using SettingsReader = std::function<Settings()>;

    // `session` and `clock` outlive it.
    ServerTranscriber(std::unique_ptr<Transcriber> fallback, SettingsReader settings,
                      HttpSession& session, Clock& clock);

    std::uint32_t sampleRate() const override { return fallback->sampleRate(); }
    std::unique_ptr<Utterance> begin(std::stop_token stop) override;

private:
    class RecordedUtterance;

    struct Server {
        std::string url;
        std::string model;
    };

    std::optional<Server> currentServer();
    std::string transcribe(const Server& server, const std::string& wavFile, std::stop_token stop);
    void leaveAlone(const std::string& reason);
    bool isLeftAlone();

    const std::unique_ptr<Transcriber> fallback;
    const SettingsReader readSettings;
    HttpSession& session;
    Clock& clock;
    std::mutex mutex;
    std::optional<Clock::Instant> aloneUntil; // guarded by mutex
};

} // namespace tavik
