#include "memory/summaries/StripPreamble.h"

namespace tavik {

namespace {

constexpr const char* sentence = "You asked Tavik to open Xcode and it did.";

} // namespace

TEST(StripPreamble, LeavesTheSentence) {
    const char* answers[] = {
        sentence,
        "  You asked Tavik to open Xcode and it did.\n",
        "Summary: You asked Tavik to open Xcode and it did.",
        "Note: \"You asked Tavik to open Xcode and it did.\"",
        "NOTE：You asked Tavik to open Xcode and it did.",
        "**Summary:** You asked Tavik to open Xcode and it did.",
        "**Summary**: *You asked Tavik to open Xcode and it did.*",
        "## Summary\n\nYou asked Tavik to open Xcode and it did.",
        "One-sentence summary - You asked Tavik to open Xcode and it did.",
        "A short, factual summary (one sentence): You asked Tavik to open Xcode and it did.",
        "Summary of the conversation: You asked Tavik to open Xcode and it did.",
        "Sure, here is the summary you asked for:\n\n\"You asked Tavik to open Xcode and it did.\"",
        "Sure! Here's a one-sentence summary:\n> You asked Tavik to open Xcode and it did.",
        "Certainly. You asked Tavik to open Xcode and it did.",
        "Of course! **Note:** “You asked Tavik to open Xcode and it did.”",
        "- You asked Tavik to open Xcode and it did.",
        "1. You asked Tavik to open Xcode and it did.",
        "«You asked Tavik to open Xcode and it did.»",
        "„You asked Tavik to open Xcode and it did“.",
        "'You asked Tavik to open Xcode and it did.'",
        "`\"You asked Tavik to open Xcode and it did.\"`",
        "```\nYou asked Tavik to open Xcode and it did.\n```",
        "「You asked Tavik to open Xcode and it did.」",
        "<think>The user wants: a note.\n\nSummary: hm</think>\n\nYou asked Tavik to open Xcode "
        "and it did.",
        "Note: Summary: Note: \"'**You asked Tavik to open Xcode and it did.**'\"",
        "Zusammenfassung: You asked Tavik to open Xcode and it did.",
        "You asked Tavik\nto open Xcode\r\nand it did.",
        "You asked Tavik to open Xcode and it did.\n\nLet me know if you need anything else!",
    };
    for (const char* answer : answers)
        EXPECT_EQ(stripPreamble(answer), sentence) << answer;
}

TEST(StripPreamble, LeavesWhatIsNoPreamble) {
    const char* answers[] = {
        "",
        "the user asked for the time.",
        "You asked for a summary: it was long.",
        "\"Up\" and \"Cars\" are what you asked Tavik to \"play\"",
        "'Up' and 'Cars'",
        "“Up” and “Cars”",
        "«Up» et «Cars»",
        "*Up* and *Cars*",
        "Tavik answered \"yes\"",
        "Notes were taken: three of them.",
        "Great Expectations is by Dickens.",
        "42 is the answer: so it said.",
        "\"",
    };
    for (const char* answer : answers)
        EXPECT_EQ(stripPreamble(answer), answer);
    EXPECT_EQ(stripPreamble("\"You asked \"why?\" and Tavik didn't say.\""),
              "You asked \"why?\" and Tavik didn't say.");
    EXPECT_EQ(stripPreamble("'You asked why Tavik didn't say.'"),
              "You asked why Tavik didn't say.");
}

} // namespace tavik
