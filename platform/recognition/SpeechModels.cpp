#include "platform/recognition/SpeechModels.h"

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
            .generalLanguage = folder + "/en-us.lm.bin"};
}

void requireReadable(const SpeechModels& models) {
    for (const char* part : {"feat.params", "mdef", "means", "variances", "transition_matrices",
                             "sendump", "noisedict"})
        requireContent(models.acousticFolder + "/" + part);
    requireContent(models.dictionary);
    requireContent(models.generalLanguage);
}

} // namespace tavik
