#include "platform/inference/AudioNetwork.h"

#include "platform/files/AtomicFile.h"

#include <algorithm>
#include <cmath>
#include <fmt/format.h>
#include <opencv2/core/utils/logger.hpp>
#include <opencv2/dnn.hpp>

namespace tavik {

namespace {

constexpr const char* inputName = "audio";
constexpr std::size_t largestModel = 16 << 20;

// Both are settings of the whole process. A prediction is small: a second thread would cost more
// than it saves. The library reports by exceptions; what it prints besides is noise.
void configureLibrary() {
    cv::setNumThreads(1);
    cv::utils::logging::setLogLevel(cv::utils::logging::LOG_LEVEL_SILENT);
}

cv::dnn::Net parsed(const std::string& path) {
    const auto bytes = readWholeFile(path, largestModel);
    if (!bytes)
        throw ModelError(fmt::format("The model file {} is missing or cannot be read.", path));
    try {
        auto network = cv::dnn::readNetFromONNX(bytes->data(), bytes->size());
        network.setPreferableBackend(cv::dnn::DNN_BACKEND_OPENCV);
        network.setPreferableTarget(cv::dnn::DNN_TARGET_CPU);
        return network;
    } catch (const std::exception&) {
        throw ModelError(fmt::format("The model file {} holds no network that can be run.", path));
    }
}

class OpenCvNetwork : public AudioNetwork {
public:
    OpenCvNetwork(const cv::dnn::Net& loaded, std::size_t windowSamples, std::size_t outputCount)
        : network(loaded)
        , input(1, static_cast<int>(windowSamples), CV_32F)
        , outputs(outputCount) {}

    std::span<const float> run(std::span<const float> window) override {
        if (window.size() != input.total())
            throw ModelError(fmt::format("The model takes {} samples at a time, not {}.",
                                         input.total(), window.size()));
        std::ranges::copy(window, input.ptr<float>());
        forward();
        keepOutputs();
        return outputs;
    }

private:
    void forward() {
        try {
            network.setInput(input, inputName);
            output = network.forward();
        } catch (const std::exception&) {
            throw ModelError(
                fmt::format("The model cannot be run on {} samples of audio.", input.total()));
        }
    }

    void keepOutputs() {
        if (output.type() != CV_32F || !output.isContinuous() || output.total() != outputs.size())
            throw ModelError(fmt::format("The model gives {} numbers instead of {}.",
                                         output.total(), outputs.size()));
        const std::span<const float> values(output.ptr<float>(), output.total());
        if (!std::ranges::all_of(values, [](float value) { return std::isfinite(value); }))
            throw ModelError("The model gives numbers that are not finite.");
        std::ranges::copy(values, outputs.begin());
    }

    cv::dnn::Net network;
    cv::Mat input;
    cv::Mat output;
    std::vector<float> outputs;
};

} // namespace

std::unique_ptr<AudioNetwork> loadAudioNetwork(const std::string& path, std::size_t windowSamples,
                                               std::size_t outputCount) {
    configureLibrary();
    auto loaded = std::make_unique<OpenCvNetwork>(parsed(path), windowSamples, outputCount);
    try {
        loaded->run(std::vector<float>(windowSamples));
    } catch (const ModelError& error) {
        throw ModelError(fmt::format("The model file {} does not fit. {}", path, error.what()));
    }
    return loaded;
}

} // namespace tavik
