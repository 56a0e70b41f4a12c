#pragma once

#include <string>
#include <vector>

namespace tavik {

// `text` said by a synthetic voice, as mono samples at 16 kHz. A voice is named
// "espeak-ng:en-us+f3" or "flite:slt". Throws std::runtime_error when the synthesiser is not
// installed.
std::vector<float> spoken(const std::string& text, const std::string& voice);

// Noise of the given root mean square; the same for the same seed.
std::vector<float> noise(std::size_t samples, float level, unsigned seed = 1);

} // namespace tavik
