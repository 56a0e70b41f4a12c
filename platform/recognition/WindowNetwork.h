#pragma once

#include "platform/inference/AudioNetwork.h"

#include <memory>
#include <span>
#include <string>

namespace tavik {

// A network that hears 2.5 s of 16 kHz at a time, the way the acoustic model hears: it gives some
// numbers for each 10 ms. For one thread at a time; everything throws TranscriberError.
class WindowNetwork {
public:
    static constexpr std::size_t windowSamples = 40000;
    static constexpr std::size_t frames = 248;

    // `path` is that of the file, which has to give `frameSize` numbers for each frame.
    WindowNetwork(const std::string& path, std::size_t frameSize);

    // The numbers of one frame after the other, valid until the next call. `window` has
    // windowSamples.
    std::span<const float> hear(std::span<const float> window);

private:
    std::unique_ptr<AudioNetwork> network;
};

} // namespace tavik
