#include "tools/stand-ins/services/StandInVoice.h"

#include "tools/stand-ins/services/ChildProcess.h"

#include <filesystem>
#include <stdexcept>
#include <vector>

namespace tavik {

namespace {

std::vector<std::string> commandFor(const std::string& text, const std::string& voice,
                                    const std::string& wavPath) {
    const std::size_t colon = voice.find(':');
    const std::string synthesiser = voice.substr(0, colon);
    const std::string name = colon == std::string::npos ? "" : voice.substr(colon + 1);
    if (synthesiser == "espeak-ng")
        return {"espeak-ng", "-v", name.empty() ? "en-us" : name, "-w", wavPath, "--", text};
    if (synthesiser == "flite")
        return {"flite", "-voice", name.empty() ? "slt" : name, "-t", text, "-o", wavPath};
    throw std::runtime_error("There is no synthesiser \"" + synthesiser +
                             "\". Voices are, for example, espeak-ng:en-us, espeak-ng:en-us+f3 and "
                             "flite:slt.");
}

} // namespace

void synthesizeSpeech(const std::string& text, const std::string& voice,
                      const std::string& wavPath) {
    ChildProcess synthesiser({.arguments = commandFor(text, voice, wavPath),
                              .environment = {},
                              .outputPath = "",
                              .input = ""});
    const auto status = synthesiser.waitFor(std::chrono::seconds(30));
    std::error_code ignored;
    constexpr std::uintmax_t headerBytes = 44;
    if (status != 0 || std::filesystem::file_size(wavPath, ignored) <= headerBytes)
        throw std::runtime_error("The voice \"" + voice +
                                 "\" could not speak. Voices are, for "
                                 "example, espeak-ng:en-us, espeak-ng:en-us+f3 and flite:slt.");
}

} // namespace tavik
