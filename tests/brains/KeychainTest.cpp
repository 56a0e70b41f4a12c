#include "brains/Keychain.h"
#include "app/Log.h"
#include "app/Paths.h"
#include "brains/BrainKey.h"
#include "tests/brains/FakeSecretStore.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cstdlib>

namespace tavik {

namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Pair;

// A home folder of its own, for the key files.
class KeychainTest : public testing::Test {
protected:
    KeychainTest() {
        setenv("HOME", home.path().c_str(), 1);
        TavikLog::clearHistory();
    }
    ~KeychainTest() override {
        unsetenv("XAI_API_KEY");
        setenv("HOME", oldHome.c_str(), 1);
    }

    // What was logged, without the times.
    static std::vector<std::string> logged() {
        TavikLog::flush();
        std::istringstream lines(readFile(TavikLog::path()));
        std::vector<std::string> result;
        for (std::string line; std::getline(lines, line);)
            result.push_back(line.substr(line.find("] ") + 2));
        return result;
    }

    const std::string oldHome = tavikHome();
    const TemporaryFolder home;
    FakeSecretStore store;
    Keychain keychain{store};
};

} // namespace

TEST_F(KeychainTest, UpdatesAKeyAndAddsOneThatIsMissing) {
    EXPECT_EQ(keychain.get("gemini"), std::nullopt);
    EXPECT_TRUE(keychain.set("first", "gemini"));
    EXPECT_TRUE(keychain.set("second", "gemini"));
    EXPECT_EQ(keychain.get("gemini"), "second");
    EXPECT_EQ(keychain.get("openai"), std::nullopt);
    EXPECT_THAT(store.secrets, ElementsAre(Pair("ai.tavik/gemini", "second")));
    EXPECT_THAT(store.changes, ElementsAre("update", "add Tavik key for gemini", "update"));
    keychain.remove("gemini");
    EXPECT_EQ(keychain.get("gemini"), std::nullopt);
    EXPECT_THAT(logged(), IsEmpty());
}

TEST_F(KeychainTest, TakesOnlyTextForAKey) {
    for (const std::string& value : {std::string("\xff\xfe"), std::string(64 * 1024 + 1, 'k')}) {
        store.secrets["ai.tavik/gemini"] = value;
        EXPECT_EQ(keychain.get("gemini"), std::nullopt);
    }
}

TEST_F(KeychainTest, LogsFailuresByTheirNumberOnly) {
    store.updateStatus = -2002;
    EXPECT_FALSE(keychain.set("secret", "xai"));
    EXPECT_THAT(store.changes, ElementsAre("update")) << "what failed is not added";
    store.updateStatus = 0;
    store.addStatus = -1024;
    EXPECT_FALSE(keychain.set("secret", "xai"));
    store.removeStatus = -3002;
    keychain.remove("xai");
    store.lookUpStatus = -2002;
    EXPECT_EQ(keychain.get("xai"), std::nullopt);
    store.failure = SecretFailure::noService;
    EXPECT_EQ(keychain.get("xai"), std::nullopt);
    EXPECT_THAT(logged(), ElementsAre("[keychain] update failed for xai: OSStatus -2002",
                                      "[keychain] add failed for xai: OSStatus -1024",
                                      "[keychain] delete failed for xai: OSStatus -3002",
                                      "[keychain] look-up failed for xai: OSStatus -2002"));
}

TEST_F(KeychainTest, CopiesTheKeysOfFilesOnce) {
    store.secrets["ai.tavik/openai"] = "newer";
    for (const char* provider : {"anthropic", "openai", "gemini"})
        writeFile(legacyKeyPath(provider), std::string(" key-of-") + provider + "\n");
    writeFile(legacyKeyPath("xai"), " \n");
    writeFile(legacyKeyPath("mistral"), "unknown");
    keychain.migrateFromFilesIfNeeded();
    const auto copied =
        ElementsAre(Pair("ai.tavik/anthropic", "key-of-anthropic"),
                    Pair("ai.tavik/gemini", "key-of-gemini"), Pair("ai.tavik/openai", "newer"));
    const auto lines = ElementsAre("[keychain] migrated anthropic key from ~/.vessa into Keychain",
                                   "[keychain] migrated gemini key from ~/.vessa into Keychain");
    EXPECT_THAT(store.secrets, copied);
    EXPECT_THAT(logged(), lines);
    EXPECT_EQ(readFile(legacyKeyPath("gemini")), " key-of-gemini\n") << "the file stays";

    const auto changes = store.changes;
    keychain.migrateFromFilesIfNeeded();
    EXPECT_EQ(store.changes, changes);
    EXPECT_THAT(logged(), lines);
}

TEST_F(KeychainTest, DoesNotCopyIntoAKeyringThatCannotBeRead) {
    writeFile(legacyKeyPath("gemini"), "older");
    store.secrets["ai.tavik/gemini"] = "newer";
    store.lookUpStatus = -1024;
    keychain.migrateFromFilesIfNeeded();
    EXPECT_THAT(store.changes, IsEmpty());

    store.lookUpStatus = 0;
    store.secrets.clear();
    store.addStatus = -2002;
    keychain.migrateFromFilesIfNeeded();
    EXPECT_THAT(logged(), ElementsAre("[keychain] look-up failed for gemini: OSStatus -1024",
                                      "[keychain] add failed for gemini: OSStatus -2002"));
}

TEST_F(KeychainTest, ComesBeforeTheEnvironmentAndTheFile) {
    const auto key = [&] { return brainKey("xai", "XAI_API_KEY", {}, keychain); };
    store.secrets["ai.tavik/xai"] = "from the keyring\n";
    setenv("XAI_API_KEY", "from the environment", 1);
    writeFile(legacyKeyPath("xai"), "from the file");
    EXPECT_EQ(key(), "from the keyring");
    for (const char* noKey : {"", " \n", "\xff"}) {
        store.secrets["ai.tavik/xai"] = noKey;
        EXPECT_EQ(key(), "from the environment");
    }
    store.lookUpStatus = -1024;
    EXPECT_EQ(key(), "from the environment");
    unsetenv("XAI_API_KEY");
    EXPECT_EQ(key(), "from the file");
}

} // namespace tavik
