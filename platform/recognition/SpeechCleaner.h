#pragma once

#include "platform/recognition/WindowNetwork.h"

#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace tavik {

// Hears 2.5 s of sound without most of its noise and room, and without those who talk far softer
// than whoever speaks last, and gives a frame of thirteen cepstra for each 10 ms. For one thread at
// a time; everything throws TranscriberError.
class SpeechCleaner {
public:
    static constexpr std::size_t windowSamples = WindowNetwork::windowSamples;
    static constexpr std::size_t frames = WindowNetwork::frames;
    static constexpr std::size_t frameSize = 13;

    // `path` is that of the network.
    explicit SpeechCleaner(const std::string& path);

    // One frame after the other, of the last 2.5 s of 16 kHz; what is missing was silence before.
    std::vector<float> cepstra(std::span<const std::int16_t> samples);

private:
    WindowNetwork network;
};

} // namespace tavik
