#include "platform/recognition/SphinxDecoder.h"

#include "platform/recognition/SpeechModels.h"
#include "platform/recognition/Transcriber.h"

#include <algorithm>
#include <pocketsphinx.h>
#include <sphinxbase/err.h>

namespace tavik {

namespace {

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
                       models.dictionary.c_str(), "-lm", models.generalLanguage.c_str(), nullptr);
}

} // namespace

void SphinxDecoder::Release::operator()(ps_decoder_s* decoder) const {
    ps_free(decoder);
}

SphinxDecoder::SphinxDecoder(const SpeechModels& models) {
    silence();
    requireReadable(models);
    cmd_ln_t* options = configuration(models);
    if (options != nullptr)
        decoder.reset(ps_init(options));
    cmd_ln_free_r(options);
    if (!decoder)
        throw TranscriberError("The speech recognition models could not be loaded.");
}

void SphinxDecoder::start() {
    if (ps_start_utt(decoder.get()) < 0)
        throw TranscriberError("Speech recognition could not begin an utterance.");
}

void SphinxDecoder::decode(std::span<const std::int16_t> samples) {
    if (ps_process_raw(decoder.get(), samples.data(), samples.size(), FALSE, FALSE) < 0)
        throw TranscriberError("Speech recognition failed on the audio.");
}

std::string SphinxDecoder::end() {
    if (ps_end_utt(decoder.get()) < 0)
        throw TranscriberError("Speech recognition could not end the utterance.");
    const char* text = ps_get_hyp(decoder.get(), nullptr);
    return text ? text : "";
}

void SphinxDecoder::abandon() {
    ps_end_utt(decoder.get());
}

} // namespace tavik
