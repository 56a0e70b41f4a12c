#include "tools/hearing/Listener.h"

#include "platform/inference/AudioNetwork.h"
#include "voice/SampleRing.h"
#include "voice/VoiceTuning.h"
#include "voice/WakeVerification.h"

#include <algorithm>

namespace tavik {

namespace {

constexpr std::size_t samplesIn(std::chrono::milliseconds time) {
    return tuning::SAMPLE_RATE / 1000 * static_cast<std::size_t>(time.count());
}

constexpr std::size_t hop = samplesIn(tuning::HOP_SECONDS);

} // namespace

Listener::Listener(const std::string& modelPath)
    : model(loadAudioNetwork(modelPath, tuning::WAKE_WINDOW, 2))
    , transcriber(openEmbeddedTranscriber(Vocabulary::wakePhrase)) {}

Listener::~Listener() = default;

void Listener::take(std::vector<float> samples, std::size_t phase) {
    recording = std::move(samples);
    firstLook = phase + hop;
    probabilities.clear();
    judgements.clear();
}

std::vector<Candidate> Listener::candidates(double threshold) {
    std::vector<Candidate> found;
    std::size_t forgotten = 0;
    std::size_t deafUntil = 0;
    for (std::size_t heard = firstLook; heard <= recording.size(); heard += hop) {
        if (heard < deafUntil || probability({heard, forgotten}) < threshold)
            continue;
        const auto& [confirmed, transcript] = verification({heard, forgotten});
        found.push_back({heard, probability({heard, forgotten}), confirmed, transcript});
        forgotten = heard;
        deafUntil = heard + samplesIn(tuning::WAKE_COOLDOWN);
    }
    return found;
}

std::vector<float> Listener::window(std::size_t length, Moment moment) const {
    const auto [heard, forgotten] = moment;
    const std::size_t known = std::min(length, heard - forgotten);
    std::vector<float> samples(length);
    std::copy_n(recording.begin() + static_cast<std::ptrdiff_t>(heard - known), known,
                samples.end() - static_cast<std::ptrdiff_t>(known));
    return samples;
}

double Listener::probability(Moment moment) {
    // What was forgotten long ago makes no difference to what is remembered.
    moment.second =
        std::max(moment.second, moment.first - std::min(moment.first, tuning::WAKE_WINDOW));
    const auto [place, isNew] = probabilities.try_emplace(moment);
    if (isNew) {
        const auto samples = window(tuning::WAKE_WINDOW, moment);
        const bool isLoud = rootMeanSquare(samples) >= tuning::ENERGY_GATE;
        place->second = isLoud ? model->run(samples)[1] : 0.0;
    }
    return place->second;
}

const Listener::Judgement& Listener::verification(Moment moment) {
    moment.second =
        std::max(moment.second, moment.first - std::min(moment.first, tuning::STT_VERIFY_WINDOW));
    const auto [place, isNew] = judgements.try_emplace(moment);
    if (isNew) {
        const bool confirmed =
            verifyWakePhrase(transcriber, window(tuning::STT_VERIFY_WINDOW, moment), {});
        place->second = {confirmed, transcriber.lastText()};
    }
    return place->second;
}

} // namespace tavik
