#include "app/Paths.h"

#include <cstdlib>

namespace tavik {

TEST(Paths, AreUnderTheHomeFolderOfTheMoment) {
    const std::string before = std::getenv("HOME");
    setenv("HOME", "/home/somebody/", 1);
    EXPECT_EQ(logPath(), "/home/somebody/Library/Logs/Tavik/tavik.log");
    EXPECT_EQ(auditPath(), "/home/somebody/Library/Application Support/Tavik/audit.jsonl");
    EXPECT_EQ(preferencesPath(), "/home/somebody/Library/Preferences/ai.tavik.json");
    EXPECT_EQ(legacyKeyPath("xai"), "/home/somebody/.vessa/xai_api_key");
    unsetenv("HOME");
    EXPECT_EQ(tavikHome().front(), '/');
    setenv("HOME", before.c_str(), 1);
}

TEST(Paths, FindResourcesInTheFolderNamedOrBesideTheProgram) {
    const std::string before = std::getenv("TAVIK_RESOURCES");
    setenv("TAVIK_RESOURCES", "/somewhere", 1);
    EXPECT_EQ(resourcePath("a.onnx"), "/somewhere/a.onnx");
    unsetenv("TAVIK_RESOURCES");
    EXPECT_TRUE(resourcePath("a.onnx").ends_with("/share/tavik/a.onnx"));
    setenv("TAVIK_RESOURCES", before.c_str(), 1);
}

} // namespace tavik
