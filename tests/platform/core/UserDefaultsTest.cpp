#include "platform/defaults/UserDefaults.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <filesystem>

namespace tavik {

class UserDefaultsTest : public testing::Test {
protected:
    TemporaryFolder folder;
    std::string path = folder.file("Preferences/ai.tavik.json");
    UserDefaults defaults{path};
};

TEST_F(UserDefaultsTest, TreatsAWrongTypeAsMissing) {
    writeFile(path, R"({"text":"x","flag":true,"number":0.5,"whole":3,"none":null})");
    EXPECT_EQ(defaults.string("text"), "x");
    EXPECT_EQ(defaults.boolean("flag"), true);
    EXPECT_EQ(defaults.number("number"), 0.5);
    EXPECT_EQ(defaults.number("whole"), 3);
    EXPECT_FALSE(defaults.string("flag") || defaults.boolean("text") || defaults.number("text"));
    EXPECT_FALSE(defaults.string("none") || defaults.string("missing"));
}

TEST_F(UserDefaultsTest, KeepsUnknownKeysAndTheirOrder) {
    writeFile(path, R"({"future":{"b":1,"a":2},"provider":"xai"})");
    defaults.set("provider", "openai");
    defaults.set("verbosity", "normal");
    defaults.remove("verbosity");
    EXPECT_EQ(compactJson(*parseJson(readFile(path))),
              R"({"future":{"b":1,"a":2},"provider":"openai"})");
}

TEST_F(UserDefaultsTest, SeesWhatAnotherProcessWrites) {
    EXPECT_FALSE(defaults.string("provider"));
    UserDefaults other(path);
    other.set("provider", "xai");
    EXPECT_EQ(defaults.string("provider"), "xai");
    other.set("provider", "gemini");
    EXPECT_EQ(defaults.string("provider"), "gemini");
    std::filesystem::remove(path);
    EXPECT_FALSE(defaults.string("provider"));
}

TEST_F(UserDefaultsTest, ReadsABrokenFileAsNoSettingsAndKeepsItAside) {
    for (const std::string broken : {"", "no json", "[1]", "{\"provider\":"}) {
        writeFile(path, broken);
        EXPECT_FALSE(UserDefaults(path).string("provider")) << broken;
        UserDefaults(path).set("provider", "xai");
        EXPECT_EQ(UserDefaults(path).string("provider"), "xai");
        EXPECT_EQ(readFile(path + ".unreadable"), broken);
    }
}

TEST_F(UserDefaultsTest, LivesWithAFolderInItsPlace) {
    std::filesystem::create_directories(path + "/inside");
    EXPECT_FALSE(defaults.string("provider"));
    writeFile(folder.file("file"), "");
    EXPECT_THROW(UserDefaults(folder.file("file/ai.tavik.json")).set("a", 1), std::system_error);
}

} // namespace tavik
