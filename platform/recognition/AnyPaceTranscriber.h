#pragma once

#include "platform/recognition/Transcriber.h"

#include <memory>
#include <set>
#include <string>

namespace tavik {

// Listens for a few words by another transcriber, and hears people of any size: that one mistakes
// the vowels of people much smaller or larger than those it knows. Where it understands little, and
// none of the words, it hears the same once more, played slower, and so lower, and then faster. If
// one of the words is understood then, and hardly anything else, that is the text.
class AnyPaceTranscriber : public Transcriber {
public:
    // `awaited`: in lower case.
    AnyPaceTranscriber(std::unique_ptr<Transcriber> recogniser, std::set<std::string> awaited);

    std::uint32_t sampleRate() const override { return recogniser->sampleRate(); }
    std::unique_ptr<Utterance> begin(std::stop_token stop) override;

private:
    class KeptUtterance;

    const std::shared_ptr<Transcriber> recogniser; // its utterances need it as long as they live
    const std::set<std::string> awaited;
};

} // namespace tavik
