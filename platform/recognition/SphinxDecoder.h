#pragma once

#include "platform/recognition/NoiseReduction.h"
#include "platform/recognition/SpeechCleaner.h"
#include "platform/recognition/SpeechSpectrum.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

struct ps_decoder_s;

namespace tavik {

struct SpeechModels;

// PocketSphinx with its models loaded. For one thread at a time. Everything throws
// TranscriberError.
//
// The samples are held back until enough speech was heard to know its average spectrum; a decoder
// that starts without it makes far more errors, most of all on a quiet microphone. A long
// utterance is decoded in sections that end at pauses, because the last search through a section
// takes time that grows with its length. All of it is heard through the noise reduction, where the
// models have one. With models that have a cleaner all of this is left to that, and what it gives
// is decoded when the utterance ends.
class SphinxDecoder {
public:
    explicit SphinxDecoder(const SpeechModels& models);

    void start();
    // 16 kHz. Takes about a tenth to a third of the time that the samples last, or of twice that
    // while samples that were held back are caught up with.
    void decode(std::span<const std::int16_t> samples);
    // Ends the utterance and gives its words, in lower case, separated by single spaces.
    std::string end();
    // Ends the utterance without a text.
    void abandon();

private:
    struct Release {
        void operator()(ps_decoder_s* decoder) const;
    };

    void addWords(const SpeechModels& models);
    void chooseLanguage(const SpeechModels& models);
    void settleSpectrum();
    void decodeHeld(std::size_t most);
    void take(std::span<const std::int16_t> samples);
    void forgetBeforeWindow();
    void decodeCleaned();
    bool isSectionOver() const;
    void startSection();
    void endSection();

    std::unique_ptr<ps_decoder_s, Release> decoder;
    std::optional<SpeechCleaner> cleaner;
    std::optional<NoiseReduction> noiseReduction;
    std::optional<SpeechSpectrum> spectrum; // of the decoder's front end
    const std::size_t framesHeardFirst;
    std::vector<std::int16_t> held; // back
    std::size_t heldTaken = 0;      // of `held`
    bool spectrumSettled = false;
    std::size_t sectionSamples = 0;
    std::string text;
};

} // namespace tavik
