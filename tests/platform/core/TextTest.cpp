#include "platform/text/Text.h"
#include "platform/text/Pattern.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace tavik {

TEST(Text, CountsAndCutsAsPeopleDo) {
    struct Case {
        std::string text;
        std::size_t count;
        std::string firstTwo;
    };
    const std::vector<Case> cases = {
        {"", 0, ""},
        {"abc", 3, "ab"},
        {"e\xCC\x81ta", 3, "e\xCC\x81t"}, // a letter with a combining accent
        {"👩‍👩‍👧👍🏽x", 3,
         "👩‍👩‍👧👍🏽"}, // a family, and a thumb with its colour
        {"🇩🇪🇫🇷🇮🇹", 3, "🇩🇪🇫🇷"},
        {"\r\na", 2, "\r\na"},
        {"a\xFFz", 3, "a\xEF\xBF\xBD"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(characterCount(each.text), each.count) << each.text;
        EXPECT_EQ(firstCharacters(each.text, 2), each.firstTwo) << each.text;
    }
}

TEST(Text, ChangesCase) {
    EXPECT_EQ(capitalized("openai"), "Openai");
    EXPECT_EQ(capitalized("xAI corp"), "Xai Corp");
    EXPECT_EQ(capitalized(""), "");
    EXPECT_EQ(lowercased("ÄRGER İ"), "ärger i̇");
}

TEST(Text, TrimsSplitsAndJoins) {
    EXPECT_EQ(trimmed(" \t\n a b \xC2\xA0"
                      "\r\n"),
              "a b");
    EXPECT_EQ(trimmed(" \n "), "");
    EXPECT_THAT(words("Hey, Vessa! it's 9—10"), ElementsAre("Hey", "Vessa", "it", "s", "9", "10"));
    EXPECT_THAT(words("…"), IsEmpty());
    EXPECT_THAT(splitDroppingEmpty("  a b  c", ' '), ElementsAre("a", "b", "c"));
    EXPECT_EQ(joined({"a", "b"}, ", "), "a, b");
}

TEST(Pattern, MatchesHostileTextInLinearTime) {
    const auto pattern = Pattern::compile("(a+)+$", Pattern::Case::sensitive);
    std::string text(200'000, 'a');
    text.back() = '!';
    EXPECT_FALSE(pattern->matches(text));
}

TEST(Pattern, FindsAndReplacesLiterally) {
    const auto tag = Pattern::compile("<[^>]+>", Pattern::Case::insensitive);
    EXPECT_EQ(tag->replaceAll("<p>a</p>", R"(\1$&)"), R"(\1$&a\1$&)");
    EXPECT_EQ(
        Pattern::compile("DELETE|send", Pattern::Case::insensitive)->firstMatch("now Delete it"),
        "Delete");
    EXPECT_FALSE(Pattern::compile("(", Pattern::Case::sensitive));
}

} // namespace tavik
