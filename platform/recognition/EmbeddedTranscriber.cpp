#include "platform/recognition/EmbeddedTranscriber.h"

#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/recognition/AnyPaceTranscriber.h"
#include "platform/recognition/SpeechModels.h"

namespace tavik {

namespace {

constexpr std::uint32_t decoderRate = 16000;
constexpr std::size_t pieceSamples = decoderRate / 10;

} // namespace

class EmbeddedTranscriber::SpokenUtterance : public Utterance {
public:
    SpokenUtterance(std::shared_ptr<Place> held, std::shared_ptr<DecodingSession> decoding)
        : place(std::move(held))
        , session(std::move(decoding)) {}

    ~SpokenUtterance() override {
        session->abandon();
        const std::lock_guard lock(place->mutex);
        place->taken = false;
        place->freed.notify_one();
    }

    void feed(std::span<const float> samples) override { session->feed(samples); }

    std::string finish(std::stop_token stop) override {
        throwIfStopped(stop);
        session->endInput();
        return session->awaitText(stop);
    }

private:
    std::shared_ptr<Place> place;
    std::shared_ptr<DecodingSession> session;
};

EmbeddedTranscriber::EmbeddedTranscriber(const SpeechModels& models)
    : decoder(models) {}

EmbeddedTranscriber::~EmbeddedTranscriber() {
    worker.request_stop();
    worker.join();
    for (const auto& session : sessions)
        session->setFailure(
            std::make_exception_ptr(TranscriberError("Speech recognition was shut down.")));
}

std::uint32_t EmbeddedTranscriber::sampleRate() const {
    return decoderRate;
}

std::unique_ptr<Utterance> EmbeddedTranscriber::begin(std::stop_token stop) {
    {
        std::unique_lock lock(place->mutex);
        if (!place->freed.wait(lock, stop, [this] { return !place->taken; }))
            throw Cancelled();
        place->taken = true;
    }
    auto session = std::make_shared<DecodingSession>(decoderRate);
    auto utterance = std::make_unique<SpokenUtterance>(place, session);
    const std::lock_guard lock(mutex);
    sessions.push_back(std::move(session));
    begun.notify_one();
    return utterance;
}

void EmbeddedTranscriber::run(std::stop_token stop) {
    nameThisThread("recogniser");
    while (const auto session = nextSession(stop))
        decode(*session, stop);
}

std::shared_ptr<DecodingSession> EmbeddedTranscriber::nextSession(std::stop_token stop) {
    std::unique_lock lock(mutex);
    begun.wait(lock, stop, [this] { return !sessions.empty(); });
    if (stop.stop_requested())
        return nullptr;
    auto session = std::move(sessions.front());
    sessions.pop_front();
    return session;
}

void EmbeddedTranscriber::decode(DecodingSession& session, std::stop_token stop) {
    try {
        decodeAll(session, stop);
    } catch (...) {
        decoder.abandon();
        session.setFailure(std::current_exception());
    }
}

void EmbeddedTranscriber::decodeAll(DecodingSession& session, std::stop_token stop) {
    std::vector<std::int16_t> piece;
    decoder.start();
    while (session.nextPiece(pieceSamples, piece, stop)) {
        if (piece.empty())
            return session.setText(decoder.end());
        decoder.decode(piece);
    }
    throw TranscriberError("Speech recognition was shut down.");
}

std::unique_ptr<Transcriber> openEmbeddedTranscriber(Vocabulary vocabulary) {
    auto embedded = std::make_unique<EmbeddedTranscriber>(installedModels(vocabulary));
    if (vocabulary == Vocabulary::wakePhrase)
        return std::make_unique<AnyPaceTranscriber>(std::move(embedded), wakeWords());
    return embedded;
}

} // namespace tavik
