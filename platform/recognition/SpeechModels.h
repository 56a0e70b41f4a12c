#pragma once

#include <string>
#include <vector>

namespace tavik {

enum class Vocabulary;

// A word that the dictionary lacks, with its phones: "vessa", "V EH S AH".
struct AddedWord {
    const char* spelling;
    const char* phones;
};

// A language model and the weight of its probabilities in the mixture, from 0 to 1.
struct LanguageShare {
    std::string path;
    float share;
};

// What a decoder is made of, and how it is tuned.
struct SpeechModels {
    std::string acousticFolder;
    std::string dictionary;
    std::vector<LanguageShare> languages;
    std::vector<AddedWord> addedWords;
    // How much speech is heard before decoding begins, in frames of 10 ms: see SpeechSpectrum.
    std::size_t framesHeardFirst;
    // The network through which an utterance is heard (SpeechCleaner), which is then 2.5 s long and
    // decoded when it has ended; empty for none.
    std::string cleaner;
    // The network that takes the noise out of what is heard (NoiseReduction); empty for none.
    std::string noiseReduction;
    // How much louder than the noise something is that is taken for speech, in nats of energy.
    float leastAboveNoise;
};

// Those of `vocabulary` as installed.
SpeechModels installedModels(Vocabulary vocabulary);

// Throws TranscriberError, naming the file, when one is missing, empty or visibly damaged.
void requireReadable(const SpeechModels& models);

} // namespace tavik
