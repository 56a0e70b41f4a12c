#include "tests/platform/recognition/SpokenSamples.h"

#include "tools/stand-ins/services/TemporaryFolder.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fmt/format.h>
#include <iterator>
#include <numeric>
#include <random>
#include <soxr.h>
#include <sstream>
#include <stdexcept>

namespace tavik {

namespace {

constexpr double targetRate = 16000;
constexpr std::size_t headerBytes = 44; // of the plain WAVE files that both synthesisers write
constexpr std::size_t rateOffset = 24;

std::string commandFor(const std::string& voice, const std::string& textFile,
                       const std::string& waveFile) {
    const auto colon = voice.find(':');
    const std::string program = voice.substr(0, colon);
    const std::string name = voice.substr(colon + 1);
    if (program == "flite")
        return fmt::format("flite -voice {} -f {} -o {}", name, textFile, waveFile);
    return fmt::format("espeak-ng -v {} -s 160 -f {} -w {}", name, textFile, waveFile);
}

std::vector<float> resampled(const std::vector<float>& samples, double rate) {
    std::vector<float> result(static_cast<std::size_t>(samples.size() * targetRate / rate));
    std::size_t written = 0;
    soxr_oneshot(rate, targetRate, 1, samples.data(), samples.size(), nullptr, result.data(),
                 result.size(), &written, nullptr, nullptr, nullptr);
    result.resize(written);
    return result;
}

std::vector<float> decodedWave(const std::string& wave) {
    if (wave.size() < headerBytes)
        throw std::runtime_error("The synthesiser wrote no sound.");
    std::uint32_t rate = 0;
    std::memcpy(&rate, wave.data() + rateOffset, sizeof rate);
    std::vector<std::int16_t> integers((wave.size() - headerBytes) / 2);
    std::memcpy(integers.data(), wave.data() + headerBytes, integers.size() * 2);
    std::vector<float> samples;
    for (const std::int16_t integer : integers)
        samples.push_back(integer / 32768.0F);
    return resampled(samples, rate);
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), {}};
}

} // namespace

std::vector<float> spoken(const std::string& text, const std::string& voice) {
    const TemporaryFolder folder;
    writeFile(folder.file("text"), text);
    const std::string command = commandFor(voice, folder.file("text"), folder.file("wave"));
    if (std::system((command + " >/dev/null 2>&1").c_str()) != 0)
        throw std::runtime_error("The synthesiser of " + voice + " failed.");
    return decodedWave(readFile(folder.file("wave")));
}

std::vector<float> trimmed(const std::vector<float>& samples) {
    const auto loud = [](float sample) { return std::abs(sample) > 0.01F; };
    const auto first = std::find_if(samples.begin(), samples.end(), loud);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), loud).base();
    return first < last ? std::vector<float>(first, last) : std::vector<float>();
}

std::size_t wordErrors(const std::string& expected, const std::string& heard) {
    const auto wanted = words(expected);
    const auto found = words(heard);
    std::vector<std::size_t> row(found.size() + 1);
    std::iota(row.begin(), row.end(), 0);
    for (std::size_t index = 0; index < wanted.size(); ++index) {
        std::size_t diagonal = row[0]++;
        for (std::size_t at = 0; at < found.size(); ++at) {
            const std::size_t replaced = diagonal + (wanted[index] != found[at]);
            diagonal = row[at + 1];
            row[at + 1] = std::min({row[at] + 1, row[at + 1] + 1, replaced});
        }
    }
    return row.back();
}

std::vector<float> noise(std::size_t samples, float level, unsigned seed) {
    std::mt19937 random(seed);
    std::normal_distribution<float> next(0, level);
    std::vector<float> result(samples);
    for (float& sample : result)
        sample = next(random);
    return result;
}

} // namespace tavik
