#include "brains/OpenAICompatibleBrain.h"
#include "tests/brains/FakeHttpSession.h"
#include "tests/support/SimulatedClock.h"

namespace tavik {

namespace {

constexpr auto responsesReply = R"({"output":[{"type":"web_search_call","content":"x"},
    {"type":"message","content":[{"type":"output_text","text":"It "},{"type":"refusal","text":"no"},
    {"type":"output_text","text":"rains."},{"type":"output_text"}]},
    {"type":"message","content":[{"type":"output_text","text":" Again."}]},7]})";

class ProviderSearch : public testing::Test {
protected:
    std::string search(const std::string& provider, const std::string& model,
                       std::optional<std::string> effort = std::nullopt) {
        OpenAICompatibleBrain brain({"key", model, "https://api.test/chat", provider, "Be brief.",
                                     effort, "https://api.test"},
                                    http, clock);
        return brain.webSearch("weather", {});
    }

    FakeHttpSession http;
    SimulatedClock clock;
    const std::vector<HttpRequest::Header> bearer{{"Authorization", "Bearer key"},
                                                  {"content-type", "application/json"}};
};

} // namespace

TEST_F(ProviderSearch, AsksOpenAIsResponses) {
    http.answer(200, responsesReply);
    EXPECT_EQ(search("openai", "gpt-5.6", "low"), "It rains. Again.");
    EXPECT_EQ(http.requests.back().url, "https://api.test/v1/responses");
    EXPECT_EQ(http.requests.back().headers, bearer);
    EXPECT_EQ(http.sentBody(), json(R"({"model":"gpt-5.6","input":"weather",
        "tools":[{"type":"web_search"}],"max_output_tokens":1024,"reasoning":{"effort":"low"}})"));
    http.answer(200, responsesReply);
    search("openai", "gpt-4o-mini");
    EXPECT_FALSE(http.sentBody().contains("reasoning"));
}

TEST_F(ProviderSearch, AsksGeminiItself) {
    const struct {
        const char* model;
        std::optional<std::string> effort;
        std::optional<std::string> thinking;
    } cases[] = {
        {"gemini-3.5-flash", "minimal", R"({"thinkingLevel":"minimal"})"},
        {"gemini-2.5-pro", "none", R"({"thinkingBudget":0})"},
        {"gemini-2.5-pro", "low", R"({"thinkingBudget":1024})"},
        {"gemini-2.5-pro", "medium", R"({"thinkingBudget":8192})"},
        {"gemini-2.5-pro", "high", R"({"thinkingBudget":24576})"},
        {"gemini-2.5-pro", "minimal", std::nullopt},
        {"gemini-2.0-flash", "low", std::nullopt},
        {"gemini-3.5-flash", std::nullopt, std::nullopt},
    };
    for (const auto& [model, effort, thinking] : cases) {
        http.answer(200, R"({"candidates":[{"content":{"parts":
            [{"text":"It "},{"other":1},{"text":"rains."}]}},{"content":{"parts":[{"text":"no"}]}}]})");
        EXPECT_EQ(search("gemini", model, effort), "It rains.");
        Json expected = json(R"({"contents":[{"role":"user","parts":[{"text":"weather"}]}],
                                 "tools":[{"google_search":{}}]})");
        if (thinking)
            expected["generationConfig"]["thinkingConfig"] = json(*thinking);
        EXPECT_EQ(http.sentBody(), expected) << model;
        EXPECT_EQ(http.requests.back().url,
                  std::string("https://api.test/v1beta/models/") + model + ":generateContent");
        EXPECT_EQ(http.requests.back().headers,
                  (std::vector<HttpRequest::Header>{{"x-goog-api-key", "key"},
                                                    {"content-type", "application/json"}}));
    }
}

TEST_F(ProviderSearch, AsksXaisChat) {
    http.answer(200, R"({"choices":[{"message":{"content":"It rains."}}]})");
    EXPECT_EQ(search("xai", "grok-4.5", "low"), "It rains.");
    EXPECT_EQ(http.requests.back().url, "https://api.test/chat");
    EXPECT_EQ(http.requests.back().headers, bearer);
    EXPECT_EQ(http.sentBody(), json(R"({"model":"grok-4.5","max_tokens":1024,
        "search_parameters":{"mode":"on"},"messages":[{"role":"user","content":"weather"}],
        "reasoning_effort":"low"})"));
}

TEST_F(ProviderSearch, FollowsXaiWhereItsSearchWasRetired) {
    http.answer(410, R"({"error":"retired"})");
    http.answer(200, responsesReply);
    EXPECT_EQ(search("xai", "grok-4.5"), "It rains. Again.");
    EXPECT_EQ(http.requests.back().url, "https://api.test/v1/responses");
    EXPECT_EQ(http.requests.back().headers, bearer);

    http.answer(404, "");
    EXPECT_EQ(sentenceOf([this] { search("xai", "grok-4.5"); }),
              "Xai doesn't know this model. Check the model name in Tavik's settings.");
    EXPECT_EQ(http.requests.size(), 3u);
}

TEST_F(ProviderSearch, SaysThatItFoundNothing) {
    for (const char* provider : {"openai", "gemini", "xai"})
        for (
            const char* reply :
            {"{}", R"({"output":7,"candidates":7,"choices":7})",
             R"({"output":[],"candidates":[],"choices":[]})",
             R"({"output":[{"type":"message"}],"candidates":[7],"choices":[7]})",
             R"({"candidates":[{"content":{"parts":[1]}}],"choices":[{"message":{"content":""}}]})"}) {
            http.answer(200, reply);
            EXPECT_EQ(sentenceOf([&] { search(provider, "m"); }),
                      "The web search returned nothing.")
                << provider << reply;
        }
    EXPECT_EQ(sentenceOf([&] { search("mistral", "m"); }),
              "Web search isn't wired up for mistral yet.");
}

} // namespace tavik
