#include "platform/recognition/SphinxDecoder.h"

#include "platform/recognition/LanguageModel.h"
#include "platform/recognition/SpeechModels.h"
#include "platform/recognition/Transcriber.h"

#include <algorithm>
#include <fmt/format.h>
#include <pocketsphinx.h>
#include <sphinxbase/cmn.h>
#include <sphinxbase/err.h>
#include <sphinxbase/feat.h>

namespace tavik {

namespace {

constexpr std::size_t samplesPerSecond = 16000;
constexpr std::size_t pieceSamples = samplesPerSecond / 10;
constexpr std::size_t mostHeld = 8 * samplesPerSecond;
constexpr std::size_t fewestFrames = 20; // whose average says something
constexpr std::size_t sectionEndsAtPause = 6 * samplesPerSecond;
constexpr std::size_t longestSection = 20 * samplesPerSecond;
constexpr const char* searchName = "mixture";

// PocketSphinx prints its progress on the standard error stream, for the whole process.
void silence() {
    static const bool once = [] {
        err_set_logfp(nullptr);
        return true;
    }();
    static_cast<void>(once);
}

cmd_ln_t* configuration(const SpeechModels& models) {
    return cmd_ln_init(nullptr, ps_args(), TRUE, "-hmm", models.acousticFolder.c_str(), "-dict",
                       models.dictionary.c_str(), "-vad_threshold",
                       fmt::format("{}", models.leastAboveNoise).c_str(), nullptr);
}

} // namespace

void SphinxDecoder::Release::operator()(ps_decoder_s* released) const {
    ps_free(released);
}

SphinxDecoder::SphinxDecoder(const SpeechModels& models)
    : framesHeardFirst(models.framesHeardFirst) {
    silence();
    requireReadable(models);
    cmd_ln_t* options = configuration(models);
    if (options != nullptr)
        decoder.reset(ps_init(options));
    cmd_ln_free_r(options);
    if (!decoder)
        throw TranscriberError("The speech recognition models could not be loaded.");
    spectrum.emplace(ps_get_fe(decoder.get()));
    if (!models.cleaner.empty())
        cleaner.emplace(models.cleaner);
    if (!models.noiseReduction.empty())
        noiseReduction.emplace(models.noiseReduction);
    addWords(models);
    chooseLanguage(models);
}

void SphinxDecoder::addWords(const SpeechModels& models) {
    for (const AddedWord& word : models.addedWords)
        ps_add_word(decoder.get(), word.spelling, word.phones, FALSE);
}

void SphinxDecoder::chooseLanguage(const SpeechModels& models) {
    const LanguageModel language = loadLanguages(decoder.get(), models.languages);
    if (ps_set_lm(decoder.get(), searchName, language.get()) < 0 ||
        ps_set_search(decoder.get(), searchName) < 0)
        throw TranscriberError("The language models do not fit the dictionary.");
}

void SphinxDecoder::start() {
    held.clear();
    heldTaken = 0;
    text.clear();
    spectrumSettled = false;
    spectrum->restart();
    if (noiseReduction)
        noiseReduction->restart();
}

void SphinxDecoder::decode(std::span<const std::int16_t> samples) {
    if (noiseReduction)
        take(noiseReduction->add(samples));
    else
        take(samples);
}

void SphinxDecoder::take(std::span<const std::int16_t> samples) {
    held.insert(held.end(), samples.begin(), samples.end());
    if (!spectrumSettled)
        spectrum->add(samples);
    if (cleaner)
        return forgetBeforeWindow();
    if (!spectrumSettled) {
        if (spectrum->speechFrames() < framesHeardFirst && held.size() < mostHeld)
            return;
        settleSpectrum();
    }
    decodeHeld(2 * samples.size());
}

std::string SphinxDecoder::end() {
    if (cleaner) {
        decodeCleaned();
        return std::move(text);
    }
    if (noiseReduction)
        take(noiseReduction->end());
    if (!spectrumSettled)
        settleSpectrum();
    decodeHeld(held.size());
    endSection();
    return std::move(text);
}

void SphinxDecoder::forgetBeforeWindow() {
    const std::size_t kept = std::min(held.size(), SpeechCleaner::windowSamples);
    held.erase(held.begin(), held.end() - static_cast<std::ptrdiff_t>(kept));
}

// Where there was no speech the decoder would understand something all the same.
void SphinxDecoder::decodeCleaned() {
    if (spectrum->speechFrames() == 0)
        return;
    auto cepstra = cleaner->cepstra(held);
    std::vector<mfcc_t*> frames;
    for (std::size_t frame = 0; frame < SpeechCleaner::frames; ++frame)
        frames.push_back(&cepstra[frame * SpeechCleaner::frameSize]);
    startSection();
    if (ps_process_cep(decoder.get(), frames.data(), SpeechCleaner::frames, FALSE, TRUE) < 0)
        throw TranscriberError("Speech recognition failed on the audio.");
    endSection();
}

void SphinxDecoder::abandon() {
    ps_end_utt(decoder.get());
}

void SphinxDecoder::settleSpectrum() {
    spectrumSettled = true;
    spectrum->settle(held);
    // Eight seconds with hardly any speech tell nothing about the voice.
    if (spectrum->speechFrames() >= fewestFrames)
        cmn_live_set(ps_get_feat(decoder.get())->cmn_struct, spectrum->average().data());
    startSection();
}

void SphinxDecoder::decodeHeld(std::size_t most) {
    const std::size_t until = std::min(held.size(), heldTaken + most);
    while (heldTaken < until) {
        const std::size_t count = std::min(pieceSamples, until - heldTaken);
        if (ps_process_raw(decoder.get(), &held[heldTaken], count, FALSE, FALSE) < 0)
            throw TranscriberError("Speech recognition failed on the audio.");
        heldTaken += count;
        sectionSamples += count;
        if (isSectionOver()) {
            endSection();
            startSection();
        }
    }
    if (heldTaken == held.size()) {
        held.clear();
        heldTaken = 0;
    }
}

bool SphinxDecoder::isSectionOver() const {
    const bool atPause = sectionSamples >= sectionEndsAtPause && !ps_get_in_speech(decoder.get());
    return atPause || sectionSamples >= longestSection;
}

void SphinxDecoder::startSection() {
    sectionSamples = 0;
    if (ps_start_utt(decoder.get()) < 0)
        throw TranscriberError("Speech recognition could not begin an utterance.");
}

void SphinxDecoder::endSection() {
    if (ps_end_utt(decoder.get()) < 0)
        throw TranscriberError("Speech recognition could not end the utterance.");
    const char* words = ps_get_hyp(decoder.get(), nullptr);
    if (words == nullptr || *words == '\0')
        return;
    if (!text.empty())
        text += ' ';
    text += words;
}

} // namespace tavik
