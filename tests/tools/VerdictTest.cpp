#include "tools/demo/Verdict.h"

#include <gtest/gtest.h>

namespace tavik::demo {
namespace {

struct Comparison {
    const char* answer;
    const char* heard;
    double share;
};

class SharedWords : public testing::TestWithParam<Comparison> {};

TEST_P(SharedWords, CountsTheAnswersWordsThatWereHeardInOrder) {
    EXPECT_DOUBLE_EQ(sharedWords(GetParam().answer, GetParam().heard), GetParam().share);
}

INSTANTIATE_TEST_SUITE_P(
    Answers, SharedWords,
    testing::Values(Comparison{"The library is open.", "the library is open", 1},
                    Comparison{"The library is open.", "well the library um is open today", 1},
                    Comparison{"one two three four", "four three two one", 0.25},
                    Comparison{"one two three four", "one four", 0.5},
                    Comparison{"go go go", "go", 1.0 / 3},
                    Comparison{"It is 09:42.", "it is nine forty two", 1},
                    Comparison{"Now I’ll go.", "now i'll go", 1},
                    Comparison{"That makes 1234567890123.", "that makes", 2.0 / 3},
                    Comparison{"The library is open.", "", 0}, Comparison{"", "anything", 0},
                    Comparison{"...", "anything", 0}));

TEST(Verdict, RefusesOtherWordsAndSilence) {
    const std::string answer = "The library is open from nine in the morning.";
    EXPECT_TRUE(compare(answer, "the library is open from line in the morning").isGood());
    EXPECT_FALSE(compare(answer, "the weather is fine in the evening").isGood());
    EXPECT_FALSE(compare(answer, "").isGood());
}

TEST(Verdict, ProvesNothingWhenTheUnrelatedSentenceIsHeardAsWell) {
    const std::string answer = "Bring two umbrellas before midnight.";
    EXPECT_FALSE(compare(answer, "bring two umbrellas because heavy rain will reach the harbour "
                                 "before midnight")
                     .isGood());
}

} // namespace
} // namespace tavik::demo
