#include "platform/recognition/WindowNetwork.h"

#include "platform/recognition/Transcriber.h"

namespace tavik {

WindowNetwork::WindowNetwork(const std::string& path, std::size_t frameSize) {
    try {
        network = loadAudioNetwork(path, windowSamples, frames * frameSize);
    } catch (const ModelError& error) {
        throw TranscriberError(error.what());
    }
}

std::span<const float> WindowNetwork::hear(std::span<const float> window) {
    try {
        return network->run(window);
    } catch (const ModelError& error) {
        throw TranscriberError(error.what());
    }
}

} // namespace tavik
