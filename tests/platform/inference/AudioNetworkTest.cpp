#include "platform/inference/AudioNetwork.h"

#include "app/Paths.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>

namespace tavik {
namespace {

using testing::HasSubstr;

std::string model(const std::string& name) {
    return TAVIK_TEST_MODELS "/" + name + ".onnx";
}

// What loading says, or nothing when it succeeds.
std::string complaint(const std::string& path, std::size_t samples = 8, std::size_t classes = 2) {
    try {
        loadAudioNetwork(path, samples, classes);
        return "";
    } catch (const ModelError& error) {
        return error.what();
    }
}

std::string randomBytes(std::size_t count, unsigned seed) {
    std::mt19937 random(seed);
    std::string bytes(count, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

TEST(AudioNetwork, GivesTheProbabilitiesOfEachWindow) {
    const auto network = loadAudioNetwork(model("sum"), 8, 2);
    for (const float sample : {0.0F, 0.1F, -0.25F, 0.1F}) {
        const auto probabilities = network->run(std::vector<float>(8, sample));
        ASSERT_EQ(probabilities.size(), 2U);
        const double expected = 1 / (1 + std::exp(-2 * 8.0 * sample));
        EXPECT_NEAR(probabilities[1], expected, 1e-5) << "for samples of " << sample;
        EXPECT_NEAR(probabilities[0], 1 - expected, 1e-5);
    }
}

TEST(AudioNetwork, RefusesFilesThatDoNotFit) {
    for (const char* name :
         {"sixteen-samples", "average-of-sixteen", "three-classes", "other-input-name",
          "not-finite", "no-nodes", "unknown-operation", "absent"})
        EXPECT_THAT(complaint(model(name)), HasSubstr(model(name)));
    EXPECT_THAT(complaint(model("sum"), 16, 2), HasSubstr("16 samples"));
    EXPECT_THAT(complaint(model("sum"), 8, 3), HasSubstr("2 numbers instead of 3"));
    EXPECT_EQ(complaint(model("sum")), "");
}

TEST(AudioNetwork, RefusesDamagedFiles) {
    const TemporaryFolder folder;
    const std::string path = folder.file("damaged.onnx");
    const std::string whole = readFile(model("sum"));
    for (std::size_t size = 0; size < whole.size(); ++size) {
        writeFile(path, whole.substr(0, size));
        // Cut between two of its last fields, a protobuf may still be whole enough.
        if (const std::string said = complaint(path); !said.empty())
            EXPECT_THAT(said, HasSubstr(path));
        else
            EXPECT_GT(size, whole.size() - 10) << "a file cut to " << size << " bytes was taken";
    }
    for (const unsigned seed : {1U, 2U, 3U, 4U}) {
        writeFile(path, randomBytes(4096, seed));
        EXPECT_THAT(complaint(path), HasSubstr(path));
    }
    writeFile(path, std::string((16U << 20) + 1, '\0'));
    EXPECT_THAT(complaint(path), HasSubstr("missing or cannot"));
    EXPECT_THAT(complaint(folder.path()), HasSubstr("missing or cannot"));
}

TEST(AudioNetwork, ReportsAWindowThatCannotBeClassified) {
    const auto network = loadAudioNetwork(model("square-root"), 8, 2);
    EXPECT_THROW(network->run(std::vector<float>(7)), ModelError);
    EXPECT_THROW(network->run({}), ModelError);
    EXPECT_THROW(network->run(std::vector<float>(8, -1.0F)), ModelError);
    EXPECT_FLOAT_EQ(network->run(std::vector<float>(8, 1.0F))[0], 3) << "works afterwards";
}

TEST(AudioNetwork, TheWakeModelLoadsAndKeepsStillWhereNobodySpeaks) {
    constexpr std::size_t samples = 24000;
    const auto network = loadAudioNetwork(resourcePath("HeyVessa_runtime.onnx"), samples, 2);
    std::mt19937 random(1);
    for (const float level : {0.0F, 0.001F, 0.01F, 0.1F, 0.5F}) {
        std::normal_distribution<float> next(0, std::max(level, 1e-30F));
        std::vector<float> window(samples);
        for (float& sample : window)
            sample = next(random);
        const auto probabilities = network->run(window);
        EXPECT_LT(probabilities[1], 0.3) << "for noise of " << level;
        EXPECT_NEAR(probabilities[0] + probabilities[1], 1, 1e-3);
    }
}

} // namespace
} // namespace tavik
