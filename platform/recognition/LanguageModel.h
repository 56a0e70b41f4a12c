#pragma once

#include <memory>
#include <vector>

struct ngram_model_s;
struct ps_decoder_s;

namespace tavik {

struct LanguageShare;

struct ReleaseLanguageModel {
    void operator()(ngram_model_s* model) const;
};
using LanguageModel = std::unique_ptr<ngram_model_s, ReleaseLanguageModel>;

// The mixture of `languages` for `decoder`; of one alone, that model itself. Throws
// TranscriberError.
LanguageModel loadLanguages(ps_decoder_s* decoder, const std::vector<LanguageShare>& languages);

} // namespace tavik
