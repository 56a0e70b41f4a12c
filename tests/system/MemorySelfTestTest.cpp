#include "tests/system/RunningTavik.h"
#include "tools/stand-ins/model/ScriptedModel.h"

using namespace std::chrono_literals;
using testing::HasSubstr;

namespace tavik {

namespace {

struct MemorySelfTest : RunningTavik {
    explicit MemorySelfTest(const Json& settings)
        : RunningTavik({"--selftest-memory"}, settings) {
        EXPECT_EQ(process().waitFor(60s), 0);
    }

    // Both ends of the test, and that no word of it was found for another topic.
    void expectPass(const std::string& sentence) const {
        EXPECT_THAT(output(), HasSubstr("[selftest-memory] recorded 2 turns for session "));
        EXPECT_THAT(output(), HasSubstr("[selftest-memory] PASS recap: [Recent memory — your last "
                                        "conversation with the user ended moments ago: " +
                                        sentence));
        EXPECT_THAT(output(), testing::ContainsRegex("search\\(\"puppy\"\\): .*: "));
        EXPECT_THAT(output(),
                    HasSubstr("search(\"quantum physics\"): No match for \"quantum "
                              "physics\" in that range — here's what's on record recently "
                              "instead:\n"));
        EXPECT_THAT(output(), HasSubstr("[selftest-memory] DONE (seeded conversation left in the "
                                        "store)\n"));
    }
};

} // namespace

TEST(MemorySelfTestRun, RemembersOnItsOwn) {
    const MemorySelfTest test(nullptr);
    EXPECT_THAT(test.output(), HasSubstr("[selftest-memory] model availability: built-in"));
    test.expectPass("You asked");
    EXPECT_THAT(test.output(), HasSubstr("golden retriever puppy"));
}

TEST(MemorySelfTestRun, RemembersWithAModelOnThisMachine) {
    ScriptedModel model;
    model.servePage("/v1/models", R"({"object":"list","data":[{"id":"m"}]})", "application/json");
    model.replyNext({say("Summary: \"You asked Tavik for puppy names.\"")});
    const MemorySelfTest test({{"localModelURL", model.host()}, {"localModel", "m"}});
    test.expectPass("You asked Tavik for puppy names.]");
}

TEST(MemorySelfTestRun, SaysThatTheStoreIsDamagedAndGoesOn) {
    const TemporaryFolder elsewhere;
    RunningTavik seeded({"--selftest-memory"}, nullptr);
    EXPECT_EQ(seeded.process().waitFor(60s), 0);
    const std::string path = seeded.home() + "/Library/Application Support/Tavik/Memory.store";
    const std::string damaged(10'000, 'x');
    writeFile(path, damaged);
    ChildProcess again({.arguments = {TAVIK_PROGRAM, "--selftest-memory"},
                        .environment = {{"HOME", seeded.home()}},
                        .outputPath = elsewhere.file("output"),
                        .input = ""});
    EXPECT_EQ(again.waitFor(60s), 0);
    const std::string output = readFile(elsewhere.file("output"));
    EXPECT_THAT(output, HasSubstr("[memory] store unavailable — original files preserved\n"));
    EXPECT_THAT(output,
                HasSubstr("[selftest-memory] FAIL — no recap returned for a session recorded "
                          "seconds ago\n"));
    EXPECT_THAT(output, HasSubstr("DONE"));
    EXPECT_EQ(readFile(path), damaged);
}

} // namespace tavik
