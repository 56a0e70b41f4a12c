#include "voice/WakeVerification.h"

#include "app/Log.h"
#include "platform/audio/Resampler.h"
#include "platform/recognition/Transcriber.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <array>
#include <set>
#include <string>
#include <vector>

namespace tavik {

namespace {

constexpr std::size_t mostWords = 4;
// At another pace more is imagined, and only the phrase by itself counts.
constexpr std::size_t mostWordsAtOtherPace = 2;

// A recogniser mistakes the vowels of people much smaller or larger than those it knows. Played
// slower, and so lower, the one sounds like them, and played faster the other.
constexpr std::array otherPaces = {110U, 94U}; // percent of the time it took

std::vector<float> played(std::span<const float> window, std::uint32_t rate, std::uint32_t pace) {
    constexpr std::uint32_t heldBackPerSecond = 50; // 20 ms, by the resampler
    std::vector<float> whole(window.begin(), window.end());
    whole.resize(whole.size() + rate / heldBackPerSecond);
    Resampler resampler({rate, 1}, rate * pace / 100);
    const auto samples = resampler.process(whole);
    return {samples.begin(), samples.end()};
}

bool holdsWakeWord(std::string_view transcript, std::size_t most) {
    static const std::set<std::string> accepted = {"vessa", "vessas", "vesa", "wessa"};
    const auto spoken = words(lowercased(transcript));
    return spoken.size() <= most &&
           std::any_of(spoken.begin(), spoken.end(),
                       [](const std::string& word) { return accepted.contains(word); });
}

bool saysLittle(std::string_view transcript) {
    const std::size_t count = words(transcript).size();
    return count > 0 && count <= mostWords;
}

std::string transcribe(Transcriber& transcriber, std::span<const float> window,
                       std::stop_token stop) {
    try {
        const auto utterance = transcriber.begin();
        utterance->feed(window);
        return utterance->finish(std::move(stop));
    } catch (const TranscriberError& error) {
        log(std::string("[wake-verify] transcriber error: ") + error.what());
        return "";
    }
}

// What is running speech at its own pace is so at any other, whatever is understood then.
bool isWakePhrase(Transcriber& transcriber, std::span<const float> window,
                  const std::stop_token& stop) {
    const std::string text = transcribe(transcriber, window, stop);
    const auto isAtPace = [&](std::uint32_t pace) {
        const auto samples = played(window, transcriber.sampleRate(), pace);
        return holdsWakeWord(transcribe(transcriber, samples, stop), mostWordsAtOtherPace);
    };
    return confirmsWakePhrase(text) ||
           (saysLittle(text) && std::ranges::any_of(otherPaces, isAtPace));
}

} // namespace

bool confirmsWakePhrase(std::string_view transcript) {
    return holdsWakeWord(transcript, mostWords);
}

bool verifyWakePhrase(Transcriber& transcriber, std::span<const float> window,
                      const std::stop_token& stop) {
    const bool confirmed = isWakePhrase(transcriber, window, stop);
    log(confirmed ? "[wake-verify] confirmed" : "[wake-verify] rejected");
    return confirmed;
}

} // namespace tavik
