#include "platform/recognition/SpeechModels.h"

#include "app/Paths.h"
#include "platform/recognition/Transcriber.h"

#include <fmt/format.h>
#include <fstream>

namespace tavik {

namespace {

// The library ends the process, or reads past the end, on some damaged files. These are the damages
// that can be told at a glance.
void requireContent(const std::string& path, std::string_view beginning = "") {
    std::ifstream file(path, std::ios::binary);
    std::string found(beginning.size(), '\0');
    file.read(found.data(), static_cast<std::streamsize>(found.size()));
    if (!file || file.peek() == std::ifstream::traits_type::eof())
        throw TranscriberError(
            fmt::format("The speech recognition file {} is missing or empty.", path));
    if (found != beginning)
        throw TranscriberError(fmt::format("The speech recognition file {} is damaged.", path));
}

void requireWholeArpa(const std::string& path) {
    requireContent(path);
    constexpr std::string_view ending = "\\end\\\n";
    std::ifstream file(path, std::ios::binary);
    std::string found(ending.size(), '\0');
    file.seekg(-static_cast<std::streamoff>(ending.size()), std::ios::end);
    file.read(found.data(), static_cast<std::streamsize>(found.size()));
    if (found != ending)
        throw TranscriberError(fmt::format("The language model {} is cut short.", path));
}

const std::string packageFolder = TAVIK_POCKETSPHINX_MODELS "/en-us";

SpeechModels forCommands() {
    return {.acousticFolder = packageFolder + "/en-us",
            .dictionary = packageFolder + "/cmudict-en-us.dict",
            .languages = {{packageFolder + "/en-us.lm.bin", 0.5F},
                          {resourcePath("language/commands.arpa"), 0.5F}},
            .addedWords = {{"vessa", "V EH S AH"},
                           {"vessas", "V EH S AH Z"},
                           {"vesa", "V EY S AH"},
                           {"wessa", "W EH S AH"},
                           {"tavik", "T AA V IH K"}},
            .framesHeardFirst = 150,
            .cleaner = "",
            .noiseReduction = resourcePath("NoiseReduction.onnx"),
            .leastAboveNoise = 3};
}

// A dictionary of two thousand words instead of a hundred thousand: little memory, and quick. The
// window is there as a whole, so it is cleaned as a whole before it is decoded.
SpeechModels forWakePhrase() {
    return {.acousticFolder = packageFolder + "/en-us",
            .dictionary = resourcePath("language/wake.dict"),
            .languages = {{resourcePath("language/wake.arpa"), 1.0F}},
            .addedWords = {},
            .framesHeardFirst = 0,
            .cleaner = resourcePath("CleanSpeech.onnx"),
            .noiseReduction = "",
            .leastAboveNoise = 2};
}

} // namespace

const std::set<std::string>& wakeWords() {
    static const std::set<std::string> spellings = {"vessa", "vessas", "vesa", "wessa"};
    return spellings;
}

SpeechModels installedModels(Vocabulary vocabulary) {
    return vocabulary == Vocabulary::commands ? forCommands() : forWakePhrase();
}

void requireReadable(const SpeechModels& models) {
    for (const char* part : {"means", "variances", "transition_matrices"})
        requireContent(models.acousticFolder + "/" + part, "s3\n");
    for (const char* part : {"feat.params", "sendump", "noisedict"})
        requireContent(models.acousticFolder + "/" + part);
    requireContent(models.acousticFolder + "/mdef", "BMDF");
    requireContent(models.dictionary);
    for (const LanguageShare& language : models.languages)
        if (language.path.ends_with(".arpa"))
            requireWholeArpa(language.path);
        else
            requireContent(language.path);
}

} // namespace tavik
