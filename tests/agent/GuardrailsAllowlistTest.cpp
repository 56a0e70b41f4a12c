#include "tests/agent/GuardrailsTest.h"

#include "tests/agent/ScriptedBrain.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <chrono>
#include <sys/stat.h>

namespace tavik {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* held = "held: pushing to a remote repository";

class GuardrailsAllowlistTest : public GuardrailsTest {
protected:
    GuardrailsAllowlistTest() {
        std::filesystem::create_directories(std::filesystem::path(allowlistPath()).parent_path());
    }

    // With the allowlist as it stands now.
    std::string checkAfresh(const ToolCall& call, const ClipboardReader& clipboardReader = {}) {
        return outcome(Guardrails(clipboardReader).check(call, 0));
    }

    static std::string logText() {
        TavikLog::flush();
        return readFile(TavikLog::path());
    }
};

TEST_F(GuardrailsAllowlistTest, WhatAPatternMatchesRunsWithoutAWord) {
    writeFile(
        allowlistPath(),
        Json({{"allow", {"^git push$", "origin (?!main)", "^RM -rf ~$", "(", "", "*", "a{2,1}"}},
              {"other", 1}})
            .dump());
    const std::pair<const char*, const char*> cases[] = {
        {"git push", "runs"},
        {"Git Push", "runs"},
        {"git push ", held},
        {"git\u00A0push", held}, // what it is made to look like exempts nothing
        {"git push origin side", "runs"},
        {"git push origin main", held},
        {"rm -rf ~", "runs"},
        {"rm -rf ~ ", "refused: recursive delete of the root or home directory"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(checkAfresh(typing(text)), expected) << text;
    EXPECT_THAT(logText(), HasSubstr("[guard] loaded 3 allowlist pattern(s)\n"));
    EXPECT_EQ(auditedEvents().size(), 4u); // of those that did not run
}

TEST_F(GuardrailsAllowlistTest, APasteIsExemptOnlyWhenAllOfItIsKnown) {
    writeFile(allowlistPath(), R"({"allow": ["^cmd\\+v( git push)?$"]})");
    const ToolCall paste = {"id", "press_key", {{"keys", "cmd+v"}}};
    EXPECT_EQ(checkAfresh(paste, [](std::stop_token) { return "git push"; }), "runs");
    EXPECT_EQ(checkAfresh(paste, [](std::stop_token) { return "git push x"; }), held);
    EXPECT_EQ(checkAfresh(paste, [](std::stop_token) { return std::nullopt; }),
              "held: pasting text that couldn't be checked");
}

TEST_F(GuardrailsAllowlistTest, AFileThatIsNoAllowlistExemptsNothing) {
    const std::string path = allowlistPath();
    const std::function<void()> oddities[] = {
        [] {},
        [&] { std::filesystem::create_directories(path); },
        [&] { ASSERT_EQ(mkfifo(path.c_str(), 0600), 0); },
        [&] { writeFile(path, ""); },
        [&] { writeFile(path, R"({"allow": ["git"])"); },
        [&] { writeFile(path, R"({"Allow": ["git"]})"); },
        [&] { writeFile(path, R"({"allow": "git"})"); },
        [&] { writeFile(path, R"({"allow": {"a": "git"}})"); },
        [&] { writeFile(path, R"({"allow": ["git", 1]})"); },
        [&] { writeFile(path, R"({"allow": []})"); },
        [&] { writeFile(path, R"(["git"])"); },
        [&] { writeFile(path, "{\"allow\": [\"git\xFF\"]}"); },
        [&] { writeFile(path, R"({"allow": ["git"]})" + std::string(2'000'000, ' ')); },
        [&] {
            writeFile(path, "x");
            std::filesystem::resize_file(path, 100'000'000);
        },
    };
    for (std::size_t index = 0; index < std::size(oddities); ++index) {
        std::filesystem::remove_all(path);
        oddities[index]();
        EXPECT_EQ(checkAfresh(typing("git push")), held) << index;
    }
    EXPECT_THAT(logText(), Not(HasSubstr("allowlist")));
}

TEST_F(GuardrailsAllowlistTest, APatternThatCannotBeDecidedInTimeExemptsNothing) {
    Json patterns = Json::array();
    for (const char* hostile :
         {"(?!x)git push (a|aa)+!", "((a*)*)*\\1!$", "(?<!x)(a+a+)+y", "(.*)(.*)\\1\\2x"})
        patterns.insert(patterns.end(), 20, hostile);
    patterns.push_back("(?:a?){1000}b(?:x|y|git)");
    writeFile(allowlistPath(), Json({{"allow", patterns}}).dump());
    const auto started = std::chrono::steady_clock::now();
    EXPECT_EQ(checkAfresh(typing("git push " + std::string(10'000, 'a'))), held);
    EXPECT_EQ(checkAfresh(typing("git push " + std::string(10'000'000, 'a'))), held);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::seconds(30));
}

} // namespace
} // namespace tavik
