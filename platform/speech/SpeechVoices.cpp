#include "platform/speech/SpeechVoices.h"

#include "platform/speech/SsipConnection.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <fmt/format.h>
#include <initializer_list>

namespace tavik {

namespace {

// Says only that there is no synthesiser.
constexpr const char* dummyModule = "dummy";

// Synthesisers that are known to sound better than the small ones that come with every desktop.
constexpr std::array neuralModules = {"piper", "mimic3", "coqui", "kokoro"};
constexpr std::array recordedModules = {"mbrola",    "pico",  "rhvoice", "baratinoo", "ibmtts",
                                        "openjtalk", "voxin", "swift",   "mary",      "kali"};

VoiceQuality qualityOf(const std::string& module) {
    const auto names = [name = lowercased(module)](const char* synthesiser) {
        return name.find(synthesiser) != std::string::npos;
    };
    if (std::any_of(neuralModules.begin(), neuralModules.end(), names))
        return VoiceQuality::premium;
    if (std::any_of(recordedModules.begin(), recordedModules.end(), names))
        return VoiceQuality::enhanced;
    return VoiceQuality::compact;
}

// The lines of a list without the last one, which says that the list was sent.
std::vector<std::string> listed(SsipConnection& connection, const std::string& command,
                                const std::stop_token& stop) {
    auto lines = connection.request(command, stop).lines;
    lines.pop_back();
    return lines;
}

void appendVoices(SsipConnection& connection, const std::string& module,
                  const std::stop_token& stop, std::vector<Voice>& voices) {
    connection.request(fmt::format("SET SELF OUTPUT_MODULE {}\r\n", module), stop);
    for (const std::string& row : listed(connection, "LIST SYNTHESIS_VOICES\r\n", stop))
        if (auto voice = voiceOf(row, module))
            voices.push_back(std::move(*voice));
}

std::vector<Voice> readVoices(SsipConnection& connection, const std::stop_token& stop) {
    std::vector<Voice> voices;
    for (const std::string& module : listed(connection, "LIST OUTPUT_MODULES\r\n", stop)) {
        if (module == dummyModule)
            continue;
        try {
            appendVoices(connection, module, stop, voices);
        } catch (const SpeechRefusal&) {
            // One broken synthesiser does not hide the others.
        }
    }
    return voices;
}

} // namespace

SpeechVoices::SpeechVoices() = default;
SpeechVoices::~SpeechVoices() = default;

std::vector<Voice> SpeechVoices::list(const std::stop_token& stop) {
    const auto lock = mutex.lockUnlessStopped(stop);
    if (connection && connection->poll())
        return voices;
    connection.reset();
    auto opened = std::make_unique<SsipConnection>([](int, const std::string&) {}, stop);
    opened->request("SET SELF CLIENT_NAME user:tavik:voices\r\n", stop);
    voices = readVoices(*opened, stop);
    connection = std::move(opened);
    return voices;
}

std::string moduleOf(const Voice& voice) {
    return voice.identifier.substr(0, voice.identifier.find('/'));
}

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

} // namespace tavik
