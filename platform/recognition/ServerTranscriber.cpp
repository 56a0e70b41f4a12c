#include "platform/recognition/ServerTranscriber.h"

#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/http/LocalServer.h"
#include "platform/json/Json.h"
#include "platform/recognition/RecordedSpeech.h"
#include "platform/text/Text.h"

#include <fmt/format.h>
#include <utility>
#include <vector>

namespace tavik {

namespace {

using namespace std::chrono_literals;

// What a user waits for at most, beyond the fallback's own time.
constexpr auto patience = 4s;
constexpr auto timeAlone = 60s;
constexpr std::size_t longestCommandSeconds = 121;
constexpr std::size_t longestReplyBytes = 64 * 1024;
constexpr std::size_t longestText = 5000; // bytes; two minutes hold far fewer
constexpr const char* usualModel = "whisper-1";
constexpr const char* endpoint = "/v1/audio/transcriptions";
constexpr const char* boundary = "tavik-5f0c2a9e7b3d41c8";

// The server answered, but not with a text.
class NoTranscript : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string field(const std::string& name, const std::string& value) {
    return fmt::format("--{}\r\nContent-Disposition: form-data; name=\"{}\"\r\n\r\n{}\r\n",
                       boundary, name, value);
}

std::string formOf(const std::string& wavFile, const std::string& model) {
    return field("model", model) + field("language", "en") + field("response_format", "json") +
           fmt::format("--{}\r\nContent-Disposition: form-data; name=\"file\"; "
                       "filename=\"command.wav\"\r\nContent-Type: audio/wav\r\n\r\n",
                       boundary) +
           wavFile + fmt::format("\r\n--{}--\r\n", boundary);
}

// Recognisers write what is no speech, such as music, in brackets.
bool isNoSpeech(const std::string& text) {
    return text.empty() || ((text.front() == '[' || text.front() == '(') &&
                            (text.back() == ']' || text.back() == ')'));
}

std::string textIn(const HttpResponse& response) {
    if (response.status != 200)
        throw NoTranscript(fmt::format("answers with status {}", response.status));
    const auto reply = parseJson(response.body);
    const auto text = reply ? stringMember(*reply, "text") : std::nullopt;
    if (!text || text->size() > longestText)
        throw NoTranscript("gives no transcript");
    const std::string spoken = trimmed(*text);
    return isNoSpeech(spoken) ? "" : spoken;
}

} // namespace

// Keeps the samples for the server while the fallback decodes them.
class ServerTranscriber::RecordedUtterance : public Utterance {
public:
    RecordedUtterance(ServerTranscriber& owningTranscriber, Server chosen,
                      std::unique_ptr<Utterance> decodedMeanwhile)
        : owner(owningTranscriber)
        , server(std::move(chosen))
        , meanwhile(std::move(decodedMeanwhile)) {
        samples.reserve(longestCommandSeconds * owner.sampleRate()); // not on the audio thread
    }

    void feed(std::span<const float> more) override {
        meanwhile->feed(more);
        const std::lock_guard lock(mutex);
        samples.insert(samples.end(), more.begin(), more.end());
    }

    std::string finish(std::stop_token stop) override {
        try {
            return owner.transcribe(server, recording(), stop);
        } catch (const TransportError& error) {
            throwIfStopped(stop);
            owner.leaveAlone(error.failure == TransportFailure::timedOut ? "does not answer in time"
                                                                         : error.what());
        } catch (const NoTranscript& error) {
            owner.leaveAlone(error.what());
        }
        return meanwhile->finish(std::move(stop));
    }

private:
    std::string recording() {
        const std::lock_guard lock(mutex);
        return wavFileOf(samples, owner.sampleRate());
    }

    ServerTranscriber& owner;
    const Server server;
    const std::unique_ptr<Utterance> meanwhile;
    std::mutex mutex;
    std::vector<float> samples; // guarded by mutex
};

ServerTranscriber::ServerTranscriber(std::unique_ptr<Transcriber> other, SettingsReader settings,
                                     HttpSession& httpSession, Clock& serverClock)
    : fallback(std::move(other))
    , readSettings(std::move(settings))
    , session(httpSession)
    , clock(serverClock) {}

std::unique_ptr<Utterance> ServerTranscriber::begin(std::stop_token stop) {
    auto meanwhile = fallback->begin(std::move(stop));
    auto server = currentServer();
    if (!server)
        return meanwhile;
    return std::make_unique<RecordedUtterance>(*this, std::move(*server), std::move(meanwhile));
}

std::optional<ServerTranscriber::Server> ServerTranscriber::currentServer() {
    const Settings settings = readSettings();
    if (settings.address.empty() || isLeftAlone())
        return std::nullopt;
    const auto address = localServer(settings.address, {"/audio/transcriptions", "/v1"});
    if (!address) {
        leaveAlone("is not on this machine");
        return std::nullopt;
    }
    return Server{*address + endpoint, settings.model.empty() ? usualModel : settings.model};
}

std::string ServerTranscriber::transcribe(const Server& server, const std::string& wavFile,
                                          std::stop_token stop) {
    HttpRequest request;
    request.method = "POST";
    request.url = server.url;
    // Those who want a key take any.
    request.headers = {
        {"Authorization", "Bearer local"},
        {"Content-Type", std::string("multipart/form-data; boundary=").append(boundary)}};
    request.body = formOf(wavFile, server.model);
    request.timeout = patience;
    request.maximumResponseBytes = longestReplyBytes;
    return textIn(session.send(request, std::move(stop)));
}

void ServerTranscriber::leaveAlone(const std::string& reason) {
    log("[stt] ⚠ the recognition server " + reason +
        "; using the built-in recogniser for a minute");
    const std::lock_guard lock(mutex);
    aloneUntil = clock.now() + timeAlone;
}

bool ServerTranscriber::isLeftAlone() {
    const std::lock_guard lock(mutex);
    return aloneUntil && clock.now() < *aloneUntil;
}

} // namespace tavik
