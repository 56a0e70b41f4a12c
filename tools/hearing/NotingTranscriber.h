#pragma once

#include "platform/recognition/Transcriber.h"

namespace tavik {

// Another transcriber that remembers what it understood last. For one thread.
class NotingTranscriber : public Transcriber {
public:
    explicit NotingTranscriber(std::unique_ptr<Transcriber> actual);

    std::uint32_t sampleRate() const override { return actual->sampleRate(); }
    std::unique_ptr<Utterance> begin(std::stop_token stop) override;
    const std::string& lastText() const { return text; }

private:
    class NotedUtterance;

    const std::unique_ptr<Transcriber> actual;
    std::string text;
};

} // namespace tavik
