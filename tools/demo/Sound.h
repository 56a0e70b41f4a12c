#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tavik::demo {

// Mono samples in [-1, 1].
struct Sound {
    std::uint32_t rate = 0; // Hz
    std::vector<float> samples;

    double seconds() const { return static_cast<double>(samples.size()) / rate; }
};

// A part of a sound, as sample numbers.
struct Part {
    std::size_t begin = 0;
    std::size_t end = 0;
};

// Reads a sound file of any rate and number of channels; these are averaged. Throws
// std::runtime_error with a sentence.
Sound readSound(const std::string& path);

// As a 16-bit WAVE file. Throws std::runtime_error with a sentence.
void writeSound(const std::string& path, const Sound& sound);

Sound resampled(const Sound& sound, std::uint32_t rate);

// From the first to the last 10 ms that are not silent beside the loudest; nothing when all of it
// is silent.
std::optional<Part> loudPart(std::span<const float> samples, std::uint32_t rate);

// Where the first pause of at least `seconds` within the loud part begins; nothing when there is
// none.
std::optional<std::size_t> firstPause(const Sound& sound, double seconds);

} // namespace tavik::demo
