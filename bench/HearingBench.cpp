// From the last captured audio to the finished transcript, fed as a microphone feeds it: while the
// words are spoken. The peer is decoding the same recording only after its end. What one look at
// the wake model takes, as a share of the 200 ms between two looks. And how long it takes to
// confirm the phrase, or to refuse what sounds otherwise at any pace, against the silence that ends
// a command: nobody may wait for it.

#include "app/Paths.h"
#include "bench/FreshHome.h"
#include "bench/QuietLog.h"
#include "platform/audio/Resampler.h"
#include "platform/inference/AudioNetwork.h"
#include "platform/recognition/Transcriber.h"
#include "tools/stand-ins/services/StandInVoice.h"
#include "voice/VoiceTuning.h"
#include "voice/WakeVerification.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <sndfile.h>
#include <thread>

namespace {

using namespace tavik;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

constexpr std::size_t piece = tuning::SAMPLE_RATE / 50; // 20 ms, as the sound server delivers

double millisecondsSince(steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(steady_clock::now() - start).count();
}

std::vector<float> spoken(const FreshHome& home, const std::string& text) {
    const std::string path = home.file("speech.wav");
    synthesizeSpeech(text, "flite:slt", path);
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    std::vector<float> frames(static_cast<std::size_t>(info.frames * info.channels));
    sf_readf_float(file, frames.data(), info.frames);
    sf_close(file);
    Resampler resampler(
        {static_cast<std::uint32_t>(info.samplerate), static_cast<std::uint32_t>(info.channels)},
        tuning::SAMPLE_RATE);
    const auto samples = resampler.process(frames);
    return {samples.begin(), samples.end()};
}

// Milliseconds from the last piece to the text.
double transcribe(Transcriber& transcriber, const std::vector<float>& samples, bool asSpoken) {
    const auto utterance = transcriber.begin({});
    auto due = steady_clock::now();
    for (std::size_t begin = 0; begin < samples.size(); begin += piece) {
        utterance->feed(std::span(samples).subspan(begin, std::min(piece, samples.size() - begin)));
        if (asSpoken)
            std::this_thread::sleep_until(due += 20ms);
    }
    const auto ended = steady_clock::now();
    utterance->finish({});
    return millisecondsSince(ended);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

void benchRecognition(const FreshHome& home, FILE* figures) {
    const auto transcriber = openEmbeddedTranscriber(Vocabulary::commands);
    auto samples = spoken(home, "what are the opening hours of the library");
    // The silence that ends a command is recorded, too.
    samples.resize(samples.size() + static_cast<std::size_t>(1.2 * tuning::SAMPLE_RATE));
    std::vector<double> streamed;
    std::vector<double> afterwards;
    for (int round = 0; round < 5; ++round) {
        streamed.push_back(transcribe(*transcriber, samples, true));
        afterwards.push_back(transcribe(*transcriber, samples, false));
    }
    std::fprintf(
        figures,
        "last audio to transcript   %7.1f ms streamed, %7.1f ms decoded afterwards, ratio %.2f\n",
        median(streamed), median(afterwards), median(streamed) / median(afterwards));
}

void benchWakeModel(const FreshHome& home, FILE* figures) {
    constexpr int looks = 200;
    const auto model =
        loadAudioNetwork(resourcePath("HeyVessa_runtime.onnx"), tuning::WAKE_WINDOW, 2);
    auto window = spoken(home, "hey there, how are you doing today");
    window.resize(tuning::WAKE_WINDOW);
    const auto start = steady_clock::now();
    for (int look = 0; look < looks; ++look)
        model->run(window);
    const double each = millisecondsSince(start) / looks;
    std::fprintf(figures,
                 "a look at the wake model   %7.2f ms, %.1f %% of one core at five a second\n",
                 each, each * 5 / 10);
}

// Milliseconds for the last 2.5 s of `text` and a pause.
double verify(Transcriber& transcriber, const FreshHome& home, const std::string& text) {
    auto window = spoken(home, text);
    window.resize(window.size() + tuning::SAMPLE_RATE / 5);
    window.insert(window.begin(), tuning::STT_VERIFY_WINDOW, 0.0F);
    const auto newest = std::span(window).last(tuning::STT_VERIFY_WINDOW);
    std::vector<double> times;
    for (int round = 0; round < 9; ++round) {
        const auto start = steady_clock::now();
        verifyWakePhrase(transcriber, newest, {});
        times.push_back(millisecondsSince(start));
    }
    return median(times);
}

void benchVerification(const FreshHome& home, FILE* figures) {
    const auto transcriber = openEmbeddedTranscriber(Vocabulary::wakePhrase);
    const double confirmed = verify(*transcriber, home, "hey vessa");
    const double refused = verify(*transcriber, home, "hey there");
    const auto silence = static_cast<double>(tuning::END_SILENCE.count());
    std::fprintf(
        figures,
        "verification               %7.1f ms confirmed, %7.1f ms refused, ratio %.2f; %.0f %% "
        "of the silence that ends a command\n",
        confirmed, refused, refused / confirmed, 100 * refused / silence);
}

} // namespace

int main() {
    FILE* const figures = quietLog();
    const FreshHome home;
    benchRecognition(home, figures);
    benchWakeModel(home, figures);
    benchVerification(home, figures);
    return 0;
}
