// tavik-hearing MODEL THRESHOLD ... < LIST
// LIST has a line for each recording: its path, a tab and the samples before the first look. For
// each candidate a line comes
// out: path, threshold, seconds, probability, 1 if confirmed or 0, transcript; separated by tabs.

#include "platform/inference/AudioNetwork.h"
#include "tools/hearing/Listener.h"
#include "tools/hearing/Recording.h"
#include "voice/VoiceTuning.h"

#include <cstdio>
#include <fmt/format.h>
#include <iostream>
#include <stdexcept>

namespace {

using namespace tavik;

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
