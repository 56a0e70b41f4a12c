#include "brains/SpokenError.h"
#include "brains/SystemPrompt.h"
#include "platform/text/Text.h"

#include <fmt/format.h>

namespace tavik {

TEST(SpokenError, HasASentenceForEachStatus) {
    const std::string rejected = " rejected the API key. Please check it in Tavik's settings.";
    const struct {
        const char* provider;
        int status;
        std::string expected;
    } cases[] = {
        {"openai", 401, "Openai" + rejected},
        {"openai", 403, "Openai" + rejected},
        {"gemini", 429, "Gemini says we've hit the rate limit. Give it a minute and try again."},
        {"xai", 500, "Xai is overloaded right now. That's on their side — try again in a moment."},
        {"xai", 599, "Xai is overloaded right now. That's on their side — try again in a moment."},
        {"anthropic", 404,
         "Anthropic doesn't know this model. Check the model name in Tavik's settings."},
        {"anthropic", 0, "Anthropic returned an error: why."},
        {"anthropic", 400, "Anthropic returned an error: why."},
        {"anthropic", 600, "Anthropic returned an error: why."},
    };
    for (const auto& [provider, status, expected] : cases)
        EXPECT_EQ(spokenError(provider, status, "why"), expected);
}

TEST(SpokenError, SpeaksTheBeginningOfADetail) {
    const auto detail = [](const std::string& text) {
        const std::string sentence = spokenError("xai", 400, text);
        return sentence.substr(std::string("Xai returned an error: ").size());
    };
    EXPECT_EQ(detail(std::string(500, 'd')), fmt::format("{:d<120}.", ""));
    // Characters, not bytes; and no flood of marks on one of them.
    std::string accents;
    for (int i = 0; i < 130; ++i)
        accents += "é";
    EXPECT_EQ(characterCount(detail(accents)), 121u);
    std::string marks = "e";
    for (int i = 0; i < 1'000'000; ++i)
        marks += "\u0301";
    EXPECT_LT(detail(marks).size(), 10'000u);
}

TEST(SystemPrompt, DiffersInTheLengthSentenceOnly) {
    const std::string opening = "You are Tavik, a hands-free voice assistant on this Mac";
    const std::pair<const char*, const char*> sentences[] = {
        {"detailed", "no URLs. Answer thoroughly, in plain spoken prose.\n\nWhen the request"},
        {"normal", "no URLs. Answer in a few short sentences.\n\nWhen the request"},
        {"concise", "no URLs. Answer in 1–3 short sentences.\n\nWhen the request"},
    };
    const std::string concise = systemPrompt("concise");
    for (const auto& [verbosity, sentence] : sentences) {
        const std::string prompt = systemPrompt(verbosity);
        EXPECT_TRUE(prompt.starts_with(opening));
        EXPECT_THAT(prompt, testing::HasSubstr(sentence));
        EXPECT_EQ(prompt.substr(prompt.find("\n\n")), concise.substr(concise.find("\n\n")));
    }
    EXPECT_EQ(systemPrompt("chatty"), concise);
    EXPECT_EQ(systemPrompt(""), concise);
}

TEST(SystemPrompt, HasFourParagraphsOfRules) {
    const std::string prompt = systemPrompt("concise");
    std::vector<std::string> beginnings;
    for (std::size_t at = 0; (at = prompt.find("\n\n", at)) != std::string::npos; at += 2)
        beginnings.push_back(firstCharacters(prompt.substr(at + 2), 16));
    EXPECT_THAT(beginnings, testing::ElementsAre("When the request", "Destructive or i",
                                                 "Two distinct sto", "Multi-step tasks"));
    EXPECT_TRUE(prompt.ends_with("never verbatim walls of text."));
    EXPECT_THAT(prompt, testing::HasSubstr("for \"Hey Vessa\" afterward"));
}

} // namespace tavik
