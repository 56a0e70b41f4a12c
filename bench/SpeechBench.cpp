// From the answer's text to its first sound at the loudspeaker, and from the call that stops it to
// silence, through a private speech service and sound server. Limit: a tenth of a second each,
// below which people notice no delay.

#include "bench/FreshHome.h"
#include "platform/audio/AudioServer.h"
#include "platform/speech/SpeechOutput.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"
#include "tools/stand-ins/services/PrivateSpeechDispatcher.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <thread>

namespace {

using namespace tavik;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr float audible = 0.003F;

// When the loudspeaker was heard last, and since when without a pause.
struct Ear {
    std::atomic<steady_clock::rep> lastSound = 0;
    std::atomic<bool> heard = false;

    void listen(std::span<const float> samples) {
        const bool loud = std::any_of(samples.begin(), samples.end(),
                                      [](float sample) { return std::abs(sample) > audible; });
        if (!loud)
            return;
        lastSound = steady_clock::now().time_since_epoch().count();
        heard = true;
    }
};

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void run() {
    const PrivatePulseAudio sound;
    const PrivateSpeechDispatcher service(sound.server());
    setenv("PULSE_SERVER", sound.server().c_str(), 1);
    setenv("SPEECHD_ADDRESS", service.address().c_str(), 1);
    const auto audio = makePulseAudioServer();
    const auto speech = makeSpeechDispatcher();
    Ear ear;
    AudioDevice monitor = audio->defaultOutput({}).value();
    monitor.identifier = "speaker.monitor";
    const auto capture = audio->openCapture(
        monitor, [&](std::span<const float> samples, const AudioFormat&) { ear.listen(samples); },
        [](const std::string&) {}, {});
    std::this_thread::sleep_for(3s); // the sink's long blocks give way to short ones

    std::vector<double> starts;
    std::vector<double> stops;
    for (int round = 0; round < 10; ++round) {
        ear.heard = false;
        const auto asked = steady_clock::now();
        speech->speak("The library is open from nine in the morning until eight in the evening.",
                      {}, {});
        while (!ear.heard)
            std::this_thread::sleep_for(1ms);
        const steady_clock::time_point first{steady_clock::duration(ear.lastSound)};
        starts.push_back(std::chrono::duration<double, std::milli>(first - asked).count());
        std::this_thread::sleep_for(700ms);
        const auto stopped = steady_clock::now();
        speech->stopSpeaking();
        std::this_thread::sleep_for(600ms);
        const steady_clock::time_point last{steady_clock::duration(ear.lastSound)};
        stops.push_back(
            std::max(0.0, std::chrono::duration<double, std::milli>(last - stopped).count()));
    }
    std::printf("answer to first sound      %7.1f ms median, %7.1f ms worst of 10 (limit 100)\n",
                median(starts), *std::max_element(starts.begin(), starts.end()));
    std::printf("stop to silence            %7.1f ms median, %7.1f ms worst of 10 (limit 100)\n",
                median(stops), *std::max_element(stops.begin(), stops.end()));
}

} // namespace

int main() {
    const FreshHome home;
    run();
    return 0;
}
