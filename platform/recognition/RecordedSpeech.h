#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace tavik {

// A WAV file, as bytes, of mono samples in [-1, 1], with 16 bits a sample. Louder samples are cut.
// Throws TranscriberError.
std::string wavFileOf(std::span<const float> samples, std::uint32_t sampleRate);

} // namespace tavik
