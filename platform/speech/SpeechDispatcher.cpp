#include "platform/speech/SpeechDispatcher.h"

#include "platform/speech/SsipText.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <fmt/format.h>
#include <set>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr int eventEnd = 702;
constexpr int eventCancelled = 703;

// An utterance whose end is never told is over after this time: longer than the slowest voice
// takes.
constexpr auto utteranceBase = 10s;
constexpr auto utterancePerCharacter = 120ms;

constexpr auto stopPatience = 30ms;

VoiceQuality qualityOf(const std::string& module) {
    static const std::set<std::string> neural = {"piper", "mimic3", "coqui", "kokoro"};
    static const std::set<std::string> recorded = {
        "pico", "mbrola", "espeak-ng-mbrola", "rhvoice", "baratinoo", "ibmtts", "voxin"};
    for (const std::string& name : neural)
        if (module.starts_with(name))
            return VoiceQuality::premium;
    for (const std::string& name : recorded)
        if (module.starts_with(name))
            return VoiceQuality::enhanced;
    return VoiceQuality::compact;
}

std::string moduleOf(const Voice& voice) {
    return voice.identifier.substr(0, voice.identifier.find('/'));
}

// A row "name TAB language TAB variant"; nothing for a mere variant of a voice.
std::optional<Voice> voiceOf(const std::string& row, const std::string& module) {
    const std::size_t first = row.find('\t');
    const std::size_t second = row.find('\t', first + 1);
    if (first == std::string::npos || second == std::string::npos)
        return std::nullopt;
    const std::string variant = row.substr(second + 1);
    if (variant != "none" && variant != "null" && !variant.empty())
        return std::nullopt;
    const std::string name = row.substr(0, first);
    return Voice{module + "/" + name, name, row.substr(first + 1, second - first - 1),
                 qualityOf(module)};
}

} // namespace

std::unique_ptr<SpeechOutput> makeSpeechDispatcher() {
    return std::make_unique<SpeechDispatcher>();
}

SsipConnection& SpeechDispatcher::connected() {
    if (!connection || !connection->poll())
        connect();
    return *connection;
}

void SpeechDispatcher::connect() {
    installed.clear();
    chosenVoice.clear();
    utterance.clear();
    connection.reset();
    auto opened = std::make_unique<SsipConnection>([this](int code, const std::string& number) {
        if (code == eventEnd || code == eventCancelled)
            finish(number);
    });
    opened->request("SET SELF CLIENT_NAME user:tavik:answers\r\n");
    opened->request("SET SELF NOTIFICATION ALL ON\r\n");
    // Answers are what the user waits for: other programs' chatter does not cut them off.
    opened->request("SET SELF PRIORITY IMPORTANT\r\n");
    connection = std::move(opened);
}

void SpeechDispatcher::speak(const std::string& text, const std::optional<Voice>& voice) {
    const std::lock_guard lock(mutex);
    stopIsDue = false;
    try {
        connected();
        silence();
        if (voice)
            choose(*voice);
        connection->request("SPEAK\r\n");
        const auto reply = connection->request(ssipText(text));
        if (reply.lines.front() != lastEnded) // a short text may be over by now
            utterance = reply.lines.front();
        utteranceDeadline = steady_clock::now() + utteranceBase +
                            utterancePerCharacter * static_cast<int>(characterCount(text));
    } catch (const SpeechError&) {
        connection.reset();
        utterance.clear();
        throw;
    }
    if (stopIsDue.exchange(false))
        silence();
}

void SpeechDispatcher::choose(const Voice& voice) {
    if (voice.identifier == chosenVoice)
        return;
    connection->request(fmt::format("SET SELF OUTPUT_MODULE {}\r\n", moduleOf(voice)));
    connection->request(fmt::format("SET SELF LANGUAGE {}\r\n", voice.language));
    connection->request(fmt::format("SET SELF SYNTHESIS_VOICE {}\r\n", voice.name));
    chosenVoice = voice.identifier;
}

bool SpeechDispatcher::isSpeaking() {
    const std::lock_guard lock(mutex);
    if (connection && !connection->poll()) {
        connection.reset();
        utterance.clear();
    }
    if (!utterance.empty() && steady_clock::now() > utteranceDeadline)
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

std::vector<Voice> SpeechDispatcher::voices() {
    const std::lock_guard lock(mutex);
    try {
        connected();
        if (installed.empty())
            installed = readVoices();
    } catch (const SpeechError&) {
        connection.reset();
        throw;
    }
    if (stopIsDue.exchange(false))
        silence();
    return installed;
}

std::vector<Voice> SpeechDispatcher::readVoices() {
    std::vector<Voice> found;
    auto modules = connection->request("LIST OUTPUT_MODULES\r\n").lines;
    modules.pop_back(); // says that the list was sent
    for (const std::string& module : modules) {
        if (module == "dummy") // says only that there is no synthesiser
            continue;
        connection->request(fmt::format("SET SELF OUTPUT_MODULE {}\r\n", module));
        auto rows = connection->request("LIST SYNTHESIS_VOICES\r\n").lines;
        rows.pop_back();
        for (const std::string& row : rows)
            if (auto voice = voiceOf(row, module))
                found.push_back(std::move(*voice));
    }
    chosenVoice.clear(); // another module is set now
    return found;
}

} // namespace tavik
