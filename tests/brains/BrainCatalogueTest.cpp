#include "brains/BrainCatalogue.h"
#include "platform/text/Text.h"

namespace tavik {

namespace {

std::string levels(const char* provider, const char* model) {
    std::vector<std::string> ids;
    for (const auto& option : brainEffortOptions(provider, model))
        ids.push_back(option.id.empty() ? "auto" : option.id);
    return joined(ids, " ");
}

} // namespace

TEST(BrainCatalogue, OffersTheEffortOfEachModel) {
    const struct {
        const char *provider, *model, *expected;
    } cases[] = {
        {"openai", "gpt-5.6-mini", "auto none low medium high xhigh max"},
        {"openai", "GPT-5.6", "auto none low medium high xhigh max"},
        {"openai", "gpt-5.5", ""},
        {"openai", "gpt-4o-mini", ""},
        {"openai", "my-gpt-5.6", ""},
        {"xai", "grok-4.20-multi-agent-1", "auto low medium high xhigh"},
        {"xai", "grok-4.5", "auto low medium high"},
        {"xai", "grok-4.20", ""},
        {"xai", "grok-2-latest", ""},
        {"anthropic", "claude-haiku-4-5-20251001", ""},
        {"anthropic", "claude-opus-4-5-20251101", "auto low medium high"},
        {"anthropic", "claude-opus-4-6", "auto low medium high max"},
        {"anthropic", "claude-sonnet-4-6", "auto low medium high max"},
        {"anthropic", "claude-opus-4-7", "auto low medium high xhigh max"},
        {"anthropic", "eu.Claude-Opus-4-8", "auto low medium high xhigh max"},
        {"anthropic", "claude-fable-5", "auto low medium high xhigh max"},
        {"anthropic", "claude-mythos-5", "auto low medium high xhigh max"},
        {"anthropic", "claude-opus-5", "auto low medium high xhigh max"},
        {"anthropic", "claude-sonnet-5", "auto low medium high xhigh max"},
        {"gemini", "gemini-3-flash-preview", "auto minimal low medium high"},
        {"gemini", "gemini-3.1-flash-lite", "auto minimal low medium high"},
        {"gemini", "gemini-3.1-flash", "auto low medium high"},
        {"gemini", "gemini-3.5-flash-lite", "auto minimal low medium high"},
        {"gemini", "gemini-3.6-flash", "auto minimal low medium high"},
        {"gemini", "gemini-3.5-pro", "auto low medium high"},
        {"gemini", "gemini-3-pro", ""},
        {"gemini", "gemini-2.5-flash", "auto none low medium high"},
        {"gemini", "gemini-2.0-flash", ""},
        {"mistral", "gemini-2.5-flash", "auto none low medium high"},
        {"gemini", "gpt-5.6", ""},
    };
    for (const auto& [provider, model, expected] : cases)
        EXPECT_EQ(levels(provider, model), expected) << provider << " " << model;
}

TEST(BrainCatalogue, SendsOnlyALevelThatTheModelHas) {
    using Effort = std::optional<std::string>;
    EXPECT_EQ(supportedBrainEffort("gemini", "gemini-2.5-flash", "none"), Effort("none"));
    EXPECT_EQ(supportedBrainEffort("gemini", "gemini-2.5-flash", ""), Effort());
    EXPECT_EQ(supportedBrainEffort("openai", "gpt-4o-mini", "low"), Effort());
    EXPECT_EQ(supportedBrainEffort("anthropic", "claude-opus-4-5-20251101", "xhigh"), Effort());
    EXPECT_EQ(supportedBrainEffort("openai", "gpt-5.6", "LOW"), Effort());
}

TEST(BrainCatalogue, LabelsTheLevelsAsTheModelMeansThem) {
    const auto first = [](const char* provider, const char* model) {
        return brainEffortOptions(provider, model).at(1).label;
    };
    EXPECT_EQ(first("openai", "gpt-5.6"), "None — fastest");
    EXPECT_EQ(first("gemini", "gemini-2.5-pro"), "Off — fastest");
    EXPECT_EQ(first("gemini", "gemini-3.5-flash"), "Minimal — fastest");
    EXPECT_EQ(first("xai", "grok-4.5"), "Low — fast");
}

} // namespace tavik
