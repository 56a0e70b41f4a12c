#include "voice/LoudspeakerEar.h"

#include "app/Log.h"
#include "platform/audio/Resampler.h"
#include "voice/EchoRemoval.h"
#include "voice/VoiceServices.h"
#include "voice/VoiceTuning.h"
#include "voice/WakeDetector.h"

namespace tavik {

namespace {

// The loudspeaker's sound is clean: what is the phrase in the microphone is so all the more here.
// And to let one own phrase pass is worse than to make the user say his again.
constexpr double certainty = 0.3;

AudioDevice monitorOf(AudioDevice output) {
    output.identifier += ".monitor";
    return output;
}

} // namespace

struct LoudspeakerEar::Recording {
    explicit Recording(const AudioFormat& format)
        : converter(format, tuning::SAMPLE_RATE) {}

    void hear(std::span<const float> samples) {
        const auto mono = converter.process(samples);
        ring.with([&](SampleRing& kept) { kept.append(mono); });
    }

    Resampler converter; // used on the audio thread
    Locked<SampleRing> ring{tuning::STT_VERIFY_WINDOW};
    std::unique_ptr<AudioCapture> capture; // last: it stops calling before the converter goes
};

LoudspeakerEar::LoudspeakerEar(const VoiceServices& voiceServices, WakeDetector& wakeDetector)
    : services(voiceServices)
    , detector(wakeDetector) {}

LoudspeakerEar::~LoudspeakerEar() = default;

void LoudspeakerEar::follow(bool isSpeaking, std::stop_token stop) {
    if (isSpeaking && !wasSpeaking)
        open(std::move(stop));
    wasSpeaking = isSpeaking;
    if (recording)
        look();
    if (!isSpeaking)
        recording.reset();
}

void LoudspeakerEar::open(std::stop_token stop) {
    try {
        const auto output = services.audio.defaultOutput(stop);
        if (!output)
            return;
        auto opened = std::make_unique<Recording>(output->format);
        opened->capture = services.audio.openCapture(
            monitorOf(*output),
            [&ear = *opened](std::span<const float> samples, const AudioFormat&) {
                ear.hear(samples);
            },
            [](const std::string&) {}, std::move(stop));
        recording = std::move(opened);
    } catch (const AudioError& error) {
        log(std::string("[wake] ⚠ the loudspeaker cannot be heard: ") + error.what());
    }
}

void LoudspeakerEar::look() {
    recording->ring.with([this](const SampleRing& ring) { ring.copyTo(played); });
    const auto window = std::span<const float>(played).last(tuning::WAKE_WINDOW);
    if (rootMeanSquare(window) >= tuning::ENERGY_GATE && detector.wakeProb(window) >= certainty)
        lastHeard = services.clock.now();
}

std::vector<float> LoudspeakerEar::withoutOwnVoice(std::span<const float> heard) {
    if (!recording || rootMeanSquare(played) < tuning::ENERGY_GATE)
        return {heard.begin(), heard.end()};
    return withoutEcho(heard, played);
}

bool LoudspeakerEar::heardWakePhrase() const {
    return lastHeard && services.clock.now() - *lastHeard < tuning::OWN_PHRASE;
}

} // namespace tavik
