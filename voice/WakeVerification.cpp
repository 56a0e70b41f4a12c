#include "voice/WakeVerification.h"

#include "app/Log.h"
#include "platform/recognition/Transcriber.h"
#include "platform/text/Text.h"

#include <algorithm>
#include <string>

namespace tavik {

namespace {

std::string transcribe(Transcriber& transcriber, std::span<const float> window,
                       std::stop_token stop) {
    try {
        const auto utterance = transcriber.begin(stop);
        utterance->feed(window);
        return utterance->finish(std::move(stop));
    } catch (const TranscriberError& error) {
        log(std::string("[wake-verify] transcriber error: ") + error.what());
        return "";
    }
}

} // namespace

bool confirmsWakePhrase(std::string_view transcript) {
    constexpr std::size_t maximumWords = 4;
    const auto spoken = words(lowercased(transcript));
    return spoken.size() <= maximumWords &&
           std::ranges::any_of(spoken,
                               [](const std::string& word) { return wakeWords().contains(word); });
}

bool verifyWakePhrase(Transcriber& transcriber, std::span<const float> window,
                      std::stop_token stop) {
    const bool confirmed = confirmsWakePhrase(transcribe(transcriber, window, std::move(stop)));
    log(confirmed ? "[wake-verify] confirmed" : "[wake-verify] rejected");
    return confirmed;
}

} // namespace tavik
