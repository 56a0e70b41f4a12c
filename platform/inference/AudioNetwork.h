#pragma once

#include <memory>
#include <span>
#include <stdexcept>
#include <string>

namespace tavik {

// The model cannot be loaded, or cannot be run. `what()` is a clear phrase.
class ModelError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// A neural network that takes a window of audio of a fixed length and gives so many numbers about
// it. Runs on the caller's thread, one core. For one thread at a time.
class AudioNetwork {
public:
    virtual ~AudioNetwork() = default;

    // The numbers, valid until the next call. `window` must hold exactly the number of samples
    // given at loading. Throws ModelError.
    virtual std::span<const float> run(std::span<const float> window) = 0;
};

// Loads the ONNX file at `path`, whose one input "audio" has the shape [1, windowSamples] and whose
// first output has `outputCount` elements, and tries it once. Throws ModelError when the file is
// missing, truncated, no such model, or gives numbers that are not finite on silence.
std::unique_ptr<AudioNetwork> loadAudioNetwork(const std::string& path, std::size_t windowSamples,
                                               std::size_t outputCount);

} // namespace tavik
