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

} // namespace

SpeechModels installedModels(Vocabulary) {
    const std::string folder = TAVIK_POCKETSPHINX_MODELS "/en-us";
    return {.acousticFolder = folder + "/en-us",
            .dictionary = folder + "/cmudict-en-us.dict",
            .generalLanguage = folder + "/en-us.lm.bin",
            .domainLanguage = resourcePath("language/commands.arpa"),
            .domainShare = 0.5F,
            .addedWords = {{"vessa", "V EH S AH"},
                           {"vessas", "V EH S AH Z"},
                           {"vesa", "V EY S AH"},
                           {"wessa", "W EH S AH"},
                           {"tavik", "T AA V IH K"}},
            .framesHeardFirst = 150};
}

void requireReadable(const SpeechModels& models) {
    for (const char* part : {"feat.params", "mdef", "means", "variances", "transition_matrices",
                             "sendump", "noisedict"})
        requireContent(models.acousticFolder + "/" + part);
    requireContent(models.dictionary);
    requireContent(models.generalLanguage);
    requireContent(models.domainLanguage);
}

} // namespace tavik
