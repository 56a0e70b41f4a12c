#include "platform/recognition/LanguageModel.h"

#include "platform/recognition/SpeechModels.h"
#include "platform/recognition/Transcriber.h"

#include <fmt/format.h>
#include <pocketsphinx.h>
#include <sphinxbase/ngram_model.h>

namespace tavik {

namespace {

LanguageModel load(ps_decoder_s* decoder, const std::string& path) {
    LanguageModel model(ngram_model_read(ps_get_config(decoder), path.c_str(), NGRAM_AUTO,
                                         ps_get_logmath(decoder)));
    if (!model)
        throw TranscriberError(fmt::format("The language model {} could not be loaded.", path));
    return model;
}

} // namespace

void ReleaseLanguageModel::operator()(ngram_model_s* model) const {
    ngram_model_free(model);
}

LanguageModel loadLanguages(ps_decoder_s* decoder, const std::vector<LanguageShare>& languages) {
    std::vector<LanguageModel> loaded;
    std::vector<ngram_model_t*> models;
    std::vector<char*> names;
    std::vector<float> shares;
    for (const LanguageShare& language : languages) {
        models.push_back(loaded.emplace_back(load(decoder, language.path)).get());
        names.push_back(const_cast<char*>(language.path.c_str()));
        shares.push_back(language.share);
    }
    if (loaded.size() == 1)
        return std::move(loaded.front());
    LanguageModel mixture(ngram_model_set_init(ps_get_config(decoder), models.data(), names.data(),
                                               shares.data(), static_cast<int>(models.size())));
    if (!mixture)
        throw TranscriberError("The language models could not be mixed.");
    return mixture; // It holds on to its parts.
}

} // namespace tavik
