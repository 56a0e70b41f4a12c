#include "platform/speech/SpeechDispatcher.h"

#include "platform/speech/SsipText.h"
#include "platform/text/Text.h"

#include <fmt/format.h>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr int messageQueued = 225;
constexpr int eventEnd = 702;
constexpr int eventCancelled = 703;

// Longer than voices take at their usual pace: for Chinese and for digits 330 ms a character.
constexpr auto utteranceBase = 10s;
constexpr auto utterancePerCharacter = 350ms;

constexpr auto stopPatience = 30ms;

} // namespace

std::unique_ptr<SpeechOutput> makeSpeechDispatcher() {
    return std::make_unique<SpeechDispatcher>();
}

SpeechDispatcher::SpeechDispatcher(Clock& time)
    : clock(time) {}

SpeechDispatcher::~SpeechDispatcher() {
    silence();
}

void SpeechDispatcher::connect(const std::stop_token& stop) {
    connection.reset();
    chosenVoice.clear();
    lastEnded.clear();
    auto opened = std::make_unique<SsipConnection>(
        [this](int code, const std::string& number) {
            if (code == eventEnd || code == eventCancelled)
                finish(number);
        },
        stop);
    opened->request("SET SELF CLIENT_NAME user:tavik:answers\r\n", stop);
    opened->request("SET SELF NOTIFICATION ALL ON\r\n", stop);
    opened->request("SET SELF SSML_MODE OFF\r\n", stop);
    // Answers are what the user waits for: they cut off what other programs read aloud, and are not
    // cut off by it.
    opened->request("SET SELF PRIORITY MESSAGE\r\n", stop);
    connection = std::move(opened);
}

void SpeechDispatcher::speak(const std::string& text, const std::optional<Voice>& voice,
                             std::stop_token stop) {
    const auto lock = mutex.lockUnlessStopped(stop);
    stopIsDue = false;
    silence();
    if (trimmed(text).empty())
        return;
    try {
        start(text, voice, stop);
    } catch (const std::exception&) { // a reply to what was asked may still come
        connection.reset();
        utterance.clear();
        throw;
    }
    if (stopIsDue.exchange(false))
        silence();
}

void SpeechDispatcher::start(const std::string& text, const std::optional<Voice>& voice,
                             const std::stop_token& stop) {
    if (!connection || !connection->poll())
        connect(stop);
    choose(voice, stop);
    connection->request("SPEAK\r\n", stop);
    const auto reply = connection->request(ssipText(text), stop);
    const std::string& number = reply.lines.front();
    // The service drops what has nothing to be spoken, and a short text may be over by now.
    if (reply.code != messageQueued || number == lastEnded)
        return;
    utterance = number;
    const auto length = static_cast<int>(characterCount(text));
    utteranceDeadline = clock.now() + utteranceBase + utterancePerCharacter * length;
}

void SpeechDispatcher::choose(const std::optional<Voice>& voice, const std::stop_token& stop) {
    if ((voice ? voice->identifier : "") == chosenVoice)
        return;
    // There is no command to go back to the default.
    if (!chosenVoice.empty())
        connect(stop);
    if (!voice)
        return;
    connection->request(fmt::format("SET SELF OUTPUT_MODULE {}\r\n", moduleOf(*voice)), stop);
    connection->request(fmt::format("SET SELF LANGUAGE {}\r\n", voice->language), stop);
    connection->request(fmt::format("SET SELF SYNTHESIS_VOICE {}\r\n", voice->name), stop);
    chosenVoice = voice->identifier;
}

bool SpeechDispatcher::isSpeaking() {
    const std::lock_guard lock(mutex);
    if (connection && !connection->poll()) {
        connection.reset();
        utterance.clear();
    }
    if (stopIsDue.exchange(false) || clock.now() > utteranceDeadline)
        silence();
    return !utterance.empty();
}

void SpeechDispatcher::stopSpeaking() {
    stopIsDue = true;
    const std::unique_lock lock(mutex, stopPatience);
    if (lock.owns_lock() && stopIsDue.exchange(false))
        silence();
}

void SpeechDispatcher::silence() {
    if (connection && !utterance.empty() && !connection->notify("CANCEL SELF\r\n"))
        connection.reset();
    utterance.clear();
}

void SpeechDispatcher::finish(const std::string& number) {
    lastEnded = number;
    if (number == utterance)
        utterance.clear();
}

} // namespace tavik
