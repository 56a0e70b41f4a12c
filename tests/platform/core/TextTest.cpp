#include "platform/text/Text.h"
#include "platform/text/Pattern.h"
#include "platform/text/UserPattern.h"

#include <random>

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

TEST(Pattern, FindsTheSameWithLittleMemory) {
    const char* expression = "a[ab]{14}c"; // tens of thousands of states
    const auto roomy = Pattern::compile(expression, Pattern::Case::sensitive);
    const auto tight = Pattern::compile(expression, Pattern::Case::sensitive, 8 * 1024);
    ASSERT_TRUE(tight);
    std::mt19937 random(5);
    std::string text(1'000'000, 'a');
    for (char& letter : text)
        letter = "ab"[random() % 2];
    EXPECT_FALSE(tight->matches(text));
    text.back() = 'c';
    text[text.size() - 16] = 'a';
    EXPECT_TRUE(roomy->matches(text));
    EXPECT_TRUE(tight->matches(text));
    EXPECT_FALSE(Pattern::compile("(?:a{100}){10}", Pattern::Case::sensitive, 8 * 1024));
}

TEST(UserPattern, TakesWhatEitherLibraryTakes) {
    struct Case {
        const char* expression;
        const char* text;
        bool matches;
    };
    const Case cases[] = {
        {"^GIT PUSH", "git push x", true},     {"^push", "git push", false},
        {"push(?! -f)", "git push", true},     {"push(?! -f)", "git push -f", false},
        {"(?<=é )(\\w)\\1", "É Aa", true},     {"a*+a", "aaa", false},
        {"(?:\\p{L}{300}){4}|b", "abc", true}, // more than RE2 may use
    };
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    for (const Case& each : cases)
        EXPECT_EQ(UserPattern::compile(each.expression).value().matches(each.text, deadline),
                  each.matches)
            << each.expression;
    for (const std::string& expression :
         {std::string(), std::string("("), std::string("(?=" + std::string(5000, 'a') + ")")})
        EXPECT_FALSE(UserPattern::compile(expression)) << expression;
}

TEST(UserPattern, DoesNotDecideWhatTakesTooLong) {
    using std::chrono::milliseconds;
    const std::string text = std::string(10'000, 'a') + "!";
    for (const char* expression :
         {"(?!x)(a|aa)+b|c(?=d)", "((a+)+)\\1x", "(a*)(a*)\\2\\1b", "(?:(?:(?=a)a*)*)*(?=x)y"}) {
        const auto pattern = UserPattern::compile(expression);
        ASSERT_TRUE(pattern) << expression;
        const auto started = std::chrono::steady_clock::now();
        EXPECT_FALSE(pattern->matches(text, started + milliseconds(50)).value_or(false));
        EXPECT_LT(std::chrono::steady_clock::now() - started, milliseconds(5000)) << expression;
    }
    const auto now = std::chrono::steady_clock::now();
    EXPECT_EQ(UserPattern::compile("(?!x)a")->matches(std::string(20'000, 'a'),
                                                      now + milliseconds(10'000)),
              std::nullopt);
    EXPECT_EQ(UserPattern::compile("a")->matches("a", now), std::nullopt);
}

} // namespace tavik
