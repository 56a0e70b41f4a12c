#include "tools/hearing/NotingTranscriber.h"

namespace tavik {

class NotingTranscriber::NotedUtterance : public Utterance {
public:
    NotedUtterance(std::unique_ptr<Utterance> noted, std::string& note)
        : actual(std::move(noted))
        , text(note) {
        text.clear();
    }

    void feed(std::span<const float> samples) override { actual->feed(samples); }

    std::string finish(std::stop_token stop) override {
        text = actual->finish(std::move(stop));
        return text;
    }

private:
    const std::unique_ptr<Utterance> actual;
    std::string& text;
};

NotingTranscriber::NotingTranscriber(std::unique_ptr<Transcriber> noted)
    : actual(std::move(noted)) {}

std::unique_ptr<Utterance> NotingTranscriber::begin(std::stop_token stop) {
    return std::make_unique<NotedUtterance>(actual->begin(std::move(stop)), text);
}

} // namespace tavik
