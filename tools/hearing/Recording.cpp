#include "tools/hearing/Recording.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>

namespace tavik {

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

} // namespace tavik
