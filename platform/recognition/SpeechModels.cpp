#include "platform/recognition/SpeechModels.h"

#include "app/Paths.h"
#include "platform/recognition/Transcriber.h"

#include <fmt/format.h>
#include <fstream>

namespace tavik {

namespace {

void requireContent(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file || file.peek() == std::ifstream::traits_type::eof())
        throw TranscriberError(
            fmt::format("The speech recognition file {} is missing or empty.", path));
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
            .framesHeardFirst = 150};
}

// A dictionary of two thousand words instead of a hundred thousand: little memory, and quick. The
// window is there as a whole, so it is heard as a whole before it is decoded.
SpeechModels forWakePhrase() {
    return {.acousticFolder = packageFolder + "/en-us",
            .dictionary = resourcePath("language/wake.dict"),
            .languages = {{resourcePath("language/wake.arpa"), 1.0F}},
            .addedWords = {},
            .framesHeardFirst = 800};
}

} // namespace

SpeechModels installedModels(Vocabulary vocabulary) {
    return vocabulary == Vocabulary::commands ? forCommands() : forWakePhrase();
}

void requireReadable(const SpeechModels& models) {
    for (const char* part : {"feat.params", "mdef", "means", "variances", "transition_matrices",
                             "sendump", "noisedict"})
        requireContent(models.acousticFolder + "/" + part);
    requireContent(models.dictionary);
    for (const LanguageShare& language : models.languages)
        requireContent(language.path);
}

} // namespace tavik
