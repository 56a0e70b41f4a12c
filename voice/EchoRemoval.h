#pragma once

#include <span>
#include <vector>

namespace tavik {

// What the microphone heard without what the loudspeaker played meanwhile, both in mono at 16 kHz,
// equally long and ending at the same time. Some tens of milliseconds of work a second of sound.
std::vector<float> withoutEcho(std::span<const float> heard, std::span<const float> played);

} // namespace tavik
