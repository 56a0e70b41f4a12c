#pragma once

#include "platform/inference/AudioNetwork.h"

#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

namespace tavik {

// A network that hears 2.5 s of sound without most of its noise and room, the way the acoustic
// model hears: it gives a frame of thirteen cepstra for each 10 ms.
class SpeechCleaner {
public:
    static constexpr std::size_t windowSamples = 40000;
    static constexpr std::size_t frames = 248;
    static constexpr std::size_t frameSize = 13;

    // Throws TranscriberError when the file is missing or holds no such network.
    explicit SpeechCleaner(const std::string& path);

    // One frame after the other, of the last 2.5 s of 16 kHz; what is missing was silence before.
    // Throws TranscriberError.
    std::vector<float> cepstra(std::span<const std::int16_t> samples);

private:
    std::unique_ptr<AudioNetwork> network;
};

} // namespace tavik
