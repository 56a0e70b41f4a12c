#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <string>

struct ps_decoder_s;

namespace tavik {

struct SpeechModels;

// PocketSphinx with its models loaded. For one thread at a time. Everything throws
// TranscriberError.
class SphinxDecoder {
public:
    explicit SphinxDecoder(const SpeechModels& models);

    void start();
    // 16 kHz. Takes about a tenth to a third of the time the samples last.
    void decode(std::span<const std::int16_t> samples);
    // Ends the utterance and gives its words, in lower case, separated by single spaces.
    std::string end();
    // Ends the utterance without a text.
    void abandon();

private:
    struct Release {
        void operator()(ps_decoder_s* decoder) const;
    };
    std::unique_ptr<ps_decoder_s, Release> decoder;
};

} // namespace tavik
