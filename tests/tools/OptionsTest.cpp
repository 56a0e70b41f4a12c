#include "tools/demo/Options.h"

#include "tools/demo/Failure.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <gtest/gtest.h>

namespace tavik::demo {
namespace {

std::optional<Options> parse(std::vector<const char*> arguments) {
    arguments.insert(arguments.begin(), {"demo", "--tavik", "/bin/true"});
    return parseOptions(static_cast<int>(arguments.size()), arguments.data());
}

TEST(DemoOptions, AreAllHeeded) {
    const TemporaryFolder folder;
    const std::string kept = folder.file("new/folder");
    const auto options = parse({"--say", "hello there", "--speaker", "flite:rms", "--provider",
                                "gemini", "--keep", kept.c_str()});
    ASSERT_TRUE(options);
    EXPECT_EQ(options->say, "hello there");
    EXPECT_EQ(options->speaker, "flite:rms");
    EXPECT_EQ(options->provider, "gemini");
    EXPECT_EQ(options->tavik, "/bin/true");
    EXPECT_FALSE(options->isLive);
}

TEST(DemoOptions, AreRefusedWithASentence) {
    const std::vector<std::vector<const char*>> senseless = {
        {"--bogus"},
        {"word"},
        {"--say"},
        {"--say", " ?! "},
        {"--provider", "nobody"},
        {"--wav", "/no/such/file"},
        {"--wav", "/bin/true", "--say", "hello"},
        {"--tavik", "/no/such/program"},
        {"--keep", "/dev/null/folder"},
        {"--live"}, // without a key
    };
    for (const auto& arguments : senseless) {
        try {
            parse(arguments);
            ADD_FAILURE() << arguments.front() << " was accepted";
        } catch (const Failure& failure) {
            EXPECT_EQ(failure.status, ExitStatus::usage) << arguments.front();
            EXPECT_STREQ(failure.what() + std::string(failure.what()).size() - 1, ".");
        }
    }
}

} // namespace
} // namespace tavik::demo
