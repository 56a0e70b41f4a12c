// tavik-words [untuned] < LIST
// LIST has the path of a recording on each line. For each of them a line comes out: path, a tab and
// the words that the recogniser of commands understands; with "untuned", those that it understands
// as it comes, with its general language model alone.

#include "platform/recognition/EmbeddedTranscriber.h"
#include "platform/recognition/SpeechModels.h"
#include "tools/hearing/Recording.h"

#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <string_view>

namespace {

using namespace tavik;

SpeechModels untuned() {
    SpeechModels models = installedModels(Vocabulary::commands);
    models.languages.resize(1);
    models.languages.front().share = 1;
    models.framesHeardFirst = 0;
    models.noiseReduction.clear();
    models.leastAboveNoise = 2;
    return models;
}

void understand(const SpeechModels& models) {
    EmbeddedTranscriber transcriber(models);
    for (std::string path; std::getline(std::cin, path);) {
        const auto utterance = transcriber.begin({});
        utterance->feed(recordingAt(path));
        fmt::print("{}\t{}\n", path, utterance->finish({}));
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv) {
    const bool isUntuned = argc == 2 && std::string_view(argv[1]) == "untuned";
    if (argc > 1 && !isUntuned) {
        std::cerr << "Usage: tavik-words [untuned] < LIST\n";
        return 2;
    }
    try {
        understand(isUntuned ? untuned() : installedModels(Vocabulary::commands));
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
