#pragma once

#include <string>

namespace tavik {

enum class Vocabulary;

// The files that a decoder is made of.
struct SpeechModels {
    std::string acousticFolder;
    std::string dictionary;
    std::string generalLanguage; // of everyday English
};

// The files of `vocabulary` as installed.
SpeechModels installedModels(Vocabulary vocabulary);

// Throws TranscriberError, naming the file, when one is missing or empty.
void requireReadable(const SpeechModels& models);

} // namespace tavik
