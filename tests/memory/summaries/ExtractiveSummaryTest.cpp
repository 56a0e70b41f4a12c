#include "memory/summaries/ExtractiveSummary.h"
#include "memory/Summarizer.h"
#include "memory/summaries/OneLine.h"
#include "platform/text/Text.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <filesystem>
#include <random>
#include <set>

namespace tavik {

namespace {

using testing::HasSubstr;
using testing::Not;

ConversationTurn turnOf(const std::string& role, const std::string& text) {
    return {"session", role, text, {}};
}

// A file holds turns as "user: ..." and "assistant: ..." lines, and after "---" what the summary is
// ("is ..."), what it has ("has ...") and what it has not ("not ...").
class Conversation {
public:
    explicit Conversation(const std::string& text) {
        for (const std::string& line : splitDroppingEmpty(text, '\n'))
            if (!read(line))
                ADD_FAILURE() << "not understood: " << line;
    }

    void checkSummary() const {
        const std::string summary = extractiveSummary(turns);
        ASSERT_FALSE(expected.empty());
        for (const auto& matches : expected)
            EXPECT_THAT(summary, matches);
    }

private:
    bool read(const std::string& line) {
        const std::size_t gap = line.find(' ');
        const std::string word = line.substr(0, gap);
        const std::string rest = gap == std::string::npos ? "" : line.substr(gap + 1);
        if (word == "user:" || word == "assistant:")
            turns.push_back(turnOf(word.substr(0, word.size() - 1), rest));
        else if (word == "is")
            expected.push_back(rest);
        else if (word == "has")
            expected.push_back(HasSubstr(rest));
        else if (word == "not")
            expected.push_back(Not(HasSubstr(rest)));
        else
            return word == "---";
        return true;
    }

    std::vector<ConversationTurn> turns;
    std::vector<testing::Matcher<std::string>> expected;
};

std::set<std::string> wordSet(const std::string& text) {
    const auto all = words(lowercased(text));
    return {all.begin(), all.end()};
}

// Conversations of scraps that are hard to report.
class RandomConversation {
public:
    explicit RandomConversation(unsigned seed)
        : random(seed) {}

    std::vector<ConversationTurn> next() {
        static const char* roles[] = {"user", "assistant", "assistant", "user", "system"};
        std::vector<ConversationTurn> turns;
        for (std::size_t count = below(8) + 1; count > 0; --count)
            turns.push_back(turnOf(roles[below(5)], text()));
        return turns;
    }

private:
    std::string text() {
        static const char* scraps[] = {"open ",
                                       "Xcode ",
                                       "what is ",
                                       "the weather ",
                                       "in Paris ",
                                       "? ",
                                       ". ",
                                       "\n",
                                       "Dr. ",
                                       "my ",
                                       "thanks ",
                                       "yes ",
                                       "\"Up\" ",
                                       "🎷",
                                       "👨‍👩‍👧 ",
                                       "please ",
                                       "حالة ",
                                       "天気 ",
                                       "é́́́́́́́́́́́ ",
                                       "\u202E",
                                       "\xff",
                                       "**bold** ",
                                       "remind me ",
                                       "to call ",
                                       "… ",
                                       "! ",
                                       "supercalifragilistic ",
                                       ", "};
        std::string made;
        for (std::size_t count = below(40); count > 0; --count)
            made += scraps[below(std::size(scraps))];
        return made;
    }

    std::size_t below(std::size_t limit) { return random() % limit; }

    std::mt19937 random;
};

} // namespace

TEST(ExtractiveSummary, SaysWhatEachConversationWasAbout) {
    int count = 0;
    for (const auto& file : std::filesystem::directory_iterator(TAVIK_CONVERSATIONS)) {
        SCOPED_TRACE(file.path().filename());
        Conversation(readFile(file.path())).checkSummary();
        ++count;
    }
    EXPECT_GE(count, 30);
}

TEST(ExtractiveSummary, IsOneShortVisibleLineOfTheConversationsOwnWords) {
    const std::string frame = "You asked told Tavik to then it said and answered";
    RandomConversation conversations(2026);
    int made = 0;
    for (int round = 0; round < 2000; ++round) {
        const auto turns = conversations.next();
        std::string said = frame;
        for (const auto& turn : turns)
            said += " " + oneLine(turn.text);
        std::string summary;
        try {
            summary = extractiveSummary(turns);
        } catch (const SummaryError&) {
            continue;
        }
        ++made;
        ASSERT_LE(characterCount(summary), 200u) << summary;
        ASSERT_TRUE(isValidUtf8(summary));
        for (const char* hidden : {"\n", "\r", "\t", "  ", "\u202E", "\uFFFD"})
            ASSERT_THAT(summary, Not(HasSubstr(hidden)));
        ASSERT_THAT(wordSet(said), testing::IsSupersetOf(wordSet(summary))) << summary;
        ASSERT_EQ(extractiveSummary(turns), summary);
    }
    EXPECT_GT(made, 1500);
}

TEST(ExtractiveSummary, SurvivesWhatNobodySays) {
    const std::vector<std::vector<ConversationTurn>> silent = {
        {},
        {turnOf("user", " \n"), turnOf("assistant", "\u202E")},
        {turnOf("system", "Be brief.")}};
    for (const auto& turns : silent)
        EXPECT_THROW(extractiveSummary(turns), SummaryError);

    EXPECT_EQ(
        extractiveSummary({turnOf("user", "explain\nwhat a   \u202Emonad\tis"),
                           turnOf("assistant", "A monad\r\n\r\nchains\u200B steps.\a")}),
        "You asked Tavik to explain what a monad is and it answered \"A monad chains steps.\"");

    std::string family = "👨"; // one character, and a hundred thousand bytes
    for (int count = 0; count < 15'000; ++count)
        family += "‍👩";
    std::vector<ConversationTurn> endless(500, turnOf("user", family));
    endless.push_back(turnOf("assistant", std::string(10'000'000, 'a')));
    EXPECT_LT(extractiveSummary(endless).size(), 8000u);
}

} // namespace tavik
