#include "platform/recognition/AnyPaceTranscriber.h"

#include "platform/audio/Resampler.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace tavik {

namespace {

// What is running speech at its own pace is so at any other, whatever is understood then.
constexpr std::size_t mostWords = 4;
// At another pace more is imagined, and only the awaited words by themselves count.
constexpr std::size_t mostWordsAtOtherPace = 2;

constexpr std::array otherPaces = {110U, 94U}; // percent of the time it took

constexpr std::size_t usualSeconds = 3;

std::vector<float> played(std::vector<float> samples, std::uint32_t rate, std::uint32_t pace) {
    constexpr std::uint32_t heldBackPerSecond = 50; // 20 ms, by the resampler
    samples.resize(samples.size() + rate / heldBackPerSecond);
    Resampler resampler({rate, 1}, rate * pace / 100);
    const auto atPace = resampler.process(samples);
    return {atPace.begin(), atPace.end()};
}

} // namespace

// Keeps what it hears, for the other paces.
class AnyPaceTranscriber::KeptUtterance : public Utterance {
public:
    KeptUtterance(std::shared_ptr<Transcriber> transcriber, std::set<std::string> awaitedWords,
                  std::stop_token stop)
        : recogniser(std::move(transcriber))
        , awaited(std::move(awaitedWords))
        , atOwnPace(recogniser->begin(std::move(stop))) {
        samples.reserve(usualSeconds * recogniser->sampleRate()); // not on the audio thread
    }

    void feed(std::span<const float> more) override {
        atOwnPace->feed(more);
        const std::lock_guard lock(mutex);
        samples.insert(samples.end(), more.begin(), more.end());
    }

    std::string finish(std::stop_token stop) override {
        std::string text = atOwnPace->finish(stop);
        if (!saysLittle(text) || holdsAwaited(text))
            return text;
        atOwnPace.reset(); // one utterance at a time
        for (const std::uint32_t pace : otherPaces)
            if (auto other = understoodAt(pace, stop))
                return std::move(*other);
        return text;
    }

private:
    static bool saysLittle(const std::string& text) {
        const std::size_t count = words(text).size();
        return count > 0 && count <= mostWords;
    }

    bool holdsAwaited(const std::string& text) const {
        return std::ranges::any_of(words(text),
                                   [&](const std::string& word) { return awaited.contains(word); });
    }

    std::optional<std::string> understoodAt(std::uint32_t pace, const std::stop_token& stop) {
        const auto utterance = recogniser->begin(stop);
        utterance->feed(played(recording(), recogniser->sampleRate(), pace));
        std::string text = utterance->finish(stop);
        const bool isAlone = words(text).size() <= mostWordsAtOtherPace;
        return isAlone && holdsAwaited(text) ? std::optional(std::move(text)) : std::nullopt;
    }

    std::vector<float> recording() {
        const std::lock_guard lock(mutex);
        return samples;
    }

    const std::shared_ptr<Transcriber> recogniser;
    const std::set<std::string> awaited;
    std::unique_ptr<Utterance> atOwnPace;
    std::mutex mutex;
    std::vector<float> samples; // guarded by mutex
};

AnyPaceTranscriber::AnyPaceTranscriber(std::unique_ptr<Transcriber> other,
                                       std::set<std::string> awaitedWords)
    : recogniser(std::move(other))
    , awaited(std::move(awaitedWords)) {}

std::unique_ptr<Utterance> AnyPaceTranscriber::begin(std::stop_token stop) {
    return std::make_unique<KeptUtterance>(recogniser, awaited, std::move(stop));
}

} // namespace tavik
