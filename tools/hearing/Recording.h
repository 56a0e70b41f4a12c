#pragma once

#include <string>
#include <vector>

namespace tavik {

// A file of bare 16-bit little-endian samples, 16 kHz, mono, as samples from -1 to 1. Throws
// std::runtime_error when it cannot be read.
std::vector<float> recordingAt(const std::string& path);

} // namespace tavik
