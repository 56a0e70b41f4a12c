#pragma once

#include <string>
#include <vector>

namespace tavik {

// `text` said by a synthetic voice, as mono samples at 16 kHz. A voice is named
// "espeak-ng:en-us+f3" or "flite:slt". Throws std::runtime_error when the synthesiser is not
// installed.
std::vector<float> spoken(const std::string& text, const std::string& voice);

// Without the silence at both ends.
std::vector<float> trimmed(const std::vector<float>& samples);

// How many words of `expected` were left out or replaced, and how many came on top, at least.
std::size_t wordErrors(const std::string& expected, const std::string& heard);

// Noise of the given root mean square; the same for the same seed.
std::vector<float> noise(std::size_t samples, float level, unsigned seed = 1);

} // namespace tavik
