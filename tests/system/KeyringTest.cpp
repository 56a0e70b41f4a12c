#include "tests/system/RunningTavik.h"
#include "tools/stand-ins/model/ScriptedModel.h"
#include "tools/stand-ins/services/PrivateKeyring.h"

#include <filesystem>

using namespace std::chrono_literals;
using testing::HasSubstr;
using testing::Not;

namespace tavik {

namespace {

// The program with a key that only a key file holds, and a model that accepts no other.
class KeyringTest : public testing::Test {
protected:
    KeyringTest() {
        model.acceptOnlyKey("the-key");
        writeFile(keyFile, "the-key\n");
        writeFile(home.file("Library/Preferences/ai.tavik.json"),
                  settingsFor("gemini", model.host()).dump());
    }

    // What it prints, when it answers.
    std::string ask(std::chrono::milliseconds thinking) {
        ModelReply reply = say("Hello.");
        reply.delay = thinking;
        model.replyNext({reply});
        const std::string output = home.file("output");
        std::filesystem::remove(output);
        ChildProcess tavik({.arguments = {TAVIK_PROGRAM, "--selftest-agent", "hello"},
                            .environment = {{"HOME", home.path()},
                                            {"DBUS_SESSION_BUS_ADDRESS", keyring.address()}},
                            .outputPath = output,
                            .input = ""});
        EXPECT_EQ(tavik.waitFor(20s), 0);
        EXPECT_THAT(readFile(output), HasSubstr("[selftest] ANSWER: Hello.\n"));
        EXPECT_THAT(readFile(output), Not(HasSubstr("the-key")));
        return readFile(output);
    }

    PrivateKeyring keyring;
    ScriptedModel model;
    const TemporaryFolder home;
    const std::string keyFile = home.file(".vessa/gemini_api_key");
};

} // namespace

TEST_F(KeyringTest, TakesOverTheKeyOfAFile) {
    const auto taken = HasSubstr("[keychain] migrated gemini key from ~/.vessa into Keychain\n");
    EXPECT_THAT(ask(1s), taken);
    EXPECT_EQ(keyring.secretTool({"lookup", "service", "ai.tavik", "account", "gemini"}),
              "the-key");
    EXPECT_EQ(readFile(keyFile), "the-key\n");
    EXPECT_THAT(ask(100ms), Not(taken));
    std::filesystem::remove(keyFile);
    ask(0ms);
}

TEST_F(KeyringTest, AnswersWithTheKeyOfAFileWhenTheKeyringHangs) {
    keyring.keyring().suspend();
    const auto started = std::chrono::steady_clock::now();
    EXPECT_THAT(ask(0ms), HasSubstr("[keychain] look-up failed for gemini: OSStatus -1024\n"));
    EXPECT_LT(std::chrono::steady_clock::now() - started, 5s);
}

} // namespace tavik
