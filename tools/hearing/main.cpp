// tavik-hearing MODEL THRESHOLD ... < LIST
// LIST has a line for each recording: its path, a tab and the samples before the first look. A
// recording is bare 16-bit little-endian samples, 16 kHz, mono. For each candidate a line comes
// out: path, threshold, seconds, probability, 1 if confirmed or 0, transcript; separated by tabs.

#include "platform/inference/AudioClassifier.h"
#include "tools/hearing/Listener.h"
#include "voice/VoiceTuning.h"

#include <cstdint>
#include <cstdio>
#include <fmt/format.h>
#include <fstream>
#include <iostream>
#include <stdexcept>

namespace {

using namespace tavik;

std::vector<float> recordingAt(const std::string& path) {
    std::ifstream file(path, std::ios::binary | std::ios::ate);
    std::vector<std::int16_t> stored(
        static_cast<std::size_t>(std::max<std::streamoff>(0, file.tellg())) / 2);
    file.seekg(0);
    file.read(reinterpret_cast<char*>(stored.data()),
              static_cast<std::streamsize>(stored.size() * 2));
    if (!file)
        throw std::runtime_error(fmt::format("The recording {} cannot be read.", path));
    std::vector<float> samples(stored.size());
    for (std::size_t i = 0; i < stored.size(); ++i)
        samples[i] = static_cast<float>(stored[i]) / 32768.0F;
    return samples;
}

void print(const std::string& path, double threshold, const Candidate& candidate) {
    fmt::print("{}\t{}\t{:.3f}\t{:.4f}\t{}\t{}\n", path, threshold,
               static_cast<double>(candidate.heard) / tuning::SAMPLE_RATE, candidate.probability,
               candidate.confirmed ? 1 : 0, candidate.transcript);
}

void listen(const std::string& modelPath, const std::vector<double>& thresholds) {
    Listener listener(modelPath);
    for (std::string line; std::getline(std::cin, line);) {
        const auto tab = line.find('\t');
        const std::string path = line.substr(0, tab);
        const auto phase = tab == std::string::npos ? 0 : std::stoul(line.substr(tab + 1));
        listener.take(recordingAt(path), phase);
        for (const double threshold : thresholds)
            for (const Candidate& candidate : listener.candidates(threshold))
                print(path, threshold, candidate);
        std::fflush(stdout);
    }
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 3) {
        std::cerr << "Usage: tavik-hearing MODEL THRESHOLD ... < LIST\n";
        return 2;
    }
    try {
        std::vector<double> thresholds;
        for (int i = 2; i < argc; ++i)
            thresholds.push_back(std::stod(argv[i]));
        listen(argv[1], thresholds);
        return 0;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return 1;
    }
}
