#include "brains/OpenAICompatibleBrain.h"
#include "tests/brains/FakeHttpSession.h"
#include "tests/support/SimulatedClock.h"

namespace tavik {

namespace {

constexpr auto incomplete =
    "The AI returned an incomplete action. Nothing in that action batch was "
    "run. Please try again.";
constexpr auto emptyReply = R"({"choices":[{"message":{}}]})";

class OpenAICompatibleBrainTest : public testing::Test {
protected:
    OpenAICompatibleBrain brain(const std::string& provider, const std::string& model,
                                std::optional<std::string> effort = std::nullopt) {
        return {{"key", model, "https://api.test/chat", provider, "Be brief.", effort,
                 "https://api.test"},
                http,
                clock};
    }

    BrainReply reply(const std::string& body, const std::string& provider = "openai") {
        http.answer(200, body);
        return brain(provider, "m").chat({UserMessage{"hi"}}, {}, {});
    }

    FakeHttpSession http;
    SimulatedClock clock;
};

} // namespace

TEST_F(OpenAICompatibleBrainTest, SendsItsRequest) {
    http.answer(200, emptyReply);
    brain("gemini", "m", "low")
        .chat({UserMessage{"hi"}}, {{"look", "Looks.", json(R"({"type":"object"})")}}, {});
    EXPECT_EQ(http.requests.back().url, "https://api.test/chat");
    EXPECT_EQ(http.requests.back().headers,
              (std::vector<HttpRequest::Header>{{"Authorization", "Bearer key"},
                                                {"content-type", "application/json"}}));
    EXPECT_EQ(http.sentBody(), json(R"({"model":"m",
        "messages":[{"role":"system","content":"Be brief."},{"role":"user","content":"hi"}],
        "max_tokens":1500,
        "tools":[{"type":"function","function":
            {"name":"look","description":"Looks.","parameters":{"type":"object"}}}],
        "reasoning_effort":"low"})"));
    EXPECT_EQ(brain("xai", "grok").label(), "xai/grok");

    http.answer(200, emptyReply);
    brain("gemini", "m").chat({}, {}, {});
    EXPECT_EQ(http.sentBody(), json(R"({"model":"m",
        "messages":[{"role":"system","content":"Be brief."}],"max_tokens":1500})"));
}

TEST_F(OpenAICompatibleBrainTest, LimitsTokensByTheKeyTheModelKnows) {
    const struct {
        const char *provider, *model;
        bool isNewer;
    } cases[] = {{"openai", "GPT-5-mini", true},
                 {"openai", "gpt-5", true},
                 {"openai", "gpt-4o-mini", false},
                 {"gemini", "gpt-5", false},
                 {"xai", "gpt-5", false}};
    for (const auto& [provider, model, isNewer] : cases) {
        http.answer(200, emptyReply);
        brain(provider, model).chat({}, {}, {});
        const Json body = http.sentBody();
        EXPECT_EQ(body.contains("max_completion_tokens"), isNewer) << provider << model;
        EXPECT_EQ(body.contains("max_tokens"), !isNewer) << provider << model;
    }
}

TEST_F(OpenAICompatibleBrainTest, TranslatesTranscripts) {
    // Keys in no order, a signature of the provider's own, a number that must stay a fraction.
    const std::string raw =
        R"({"type":"function","extra_content":{"google":{"thought_signature":"s=="}},"n":1.0,)"
        R"("id":"a","function":{"arguments":"{ }","name":"look"}})";
    http.answer(200, emptyReply);
    brain("gemini", "m")
        .chat({AssistantMessage{
                   std::nullopt,
                   {{"a", "look", Json(), json(raw)}, {"b", "say", json(R"({"x":"é"})")}}},
               ToolResultMessage{"a", "look", "seen"}, AssistantMessage{"Done.", {}}},
              {}, {});
    EXPECT_EQ(compactJson(http.sentBody()["messages"]),
              R"([{"role":"system","content":"Be brief."},)"
              R"({"role":"assistant","content":"","tool_calls":[)" +
                  raw +
                  R"(,{"id":"b","type":"function","function":{"name":"say",)"
                  R"("arguments":"{\"x\":\"é\"}"}}]},)"
                  R"({"role":"tool","tool_call_id":"a","name":"look","content":"seen"},)"
                  R"({"role":"assistant","content":"Done."}])");
}

TEST_F(OpenAICompatibleBrainTest, ReadsReplies) {
    const BrainReply read = reply(R"({"choices":[{"message":{"content":"Yes.","tool_calls":[
        {"id":"a","function":{"name":"look","arguments":"{\"x\":[1]}"},"extra":1},
        {"id":"b","function":{"name":"wait","arguments":"{}"}}]}}]})");
    EXPECT_EQ(read.text, "Yes.");
    ASSERT_EQ(read.toolCalls.size(), 2u);
    EXPECT_EQ(read.toolCalls[0].id, "a");
    EXPECT_EQ(read.toolCalls[0].name, "look");
    EXPECT_EQ(compactJson(read.toolCalls[0].args), R"({"x":[1]})");
    EXPECT_EQ(compactJson(read.toolCalls[0].raw),
              R"({"id":"a","function":{"name":"look","arguments":"{\"x\":[1]}"},"extra":1})");
    EXPECT_EQ(read.toolCalls[1].name, "wait");

    for (const char* nothing :
         {emptyReply, R"({"choices":[{"message":{"content":"","tool_calls":null}}]})",
          R"({"choices":[{"message":{"content":["x"],"tool_calls":[]}}]})"}) {
        EXPECT_FALSE(reply(nothing).text) << nothing;
        EXPECT_TRUE(reply(nothing).toolCalls.empty()) << nothing;
    }
}

TEST_F(OpenAICompatibleBrainTest, FailsOnRepliesWithoutAMessage) {
    for (const char* body : {"{}", R"({"choices":[]})", R"({"choices":{}})", R"({"choices":[1]})",
                             R"({"choices":[{"message":"x"}]})", R"({"choices":[{}]})"}) {
        EXPECT_EQ(sentenceOf([&] { reply(body, "xai"); }),
                  "Xai sent back an empty answer. Try again.")
            << body;
    }
}

TEST_F(OpenAICompatibleBrainTest, RunsNoneOfAnIncompleteBatch) {
    const std::string good = R"({"id":"a","function":{"name":"look","arguments":"{}"}})";
    const std::string deep = std::string(600, '[') + std::string(600, ']');
    for (const std::string& bad :
         {std::string("7"), std::string(R"({"id":"","function":{"name":"n","arguments":"{}"}})"),
          std::string(R"({"id":1,"function":{"name":"n","arguments":"{}"}})"),
          std::string(R"({"function":{"name":"n","arguments":"{}"}})"),
          std::string(R"({"id":"b","function":"n"})"), std::string(R"({"id":"b"})"),
          std::string(R"({"id":"b","function":{"name":"","arguments":"{}"}})"),
          std::string(R"({"id":"b","function":{"name":"n"}})"),
          std::string(R"({"id":"b","function":{"name":"n","arguments":{}}})"),
          std::string(R"({"id":"b","function":{"name":"n","arguments":""}})"),
          std::string(R"({"id":"b","function":{"name":"n","arguments":"{\"x\":"}})"),
          std::string(R"({"id":"b","function":{"name":"n","arguments":"[]"}})"),
          R"({"id":"b","function":{"name":"n","arguments":"{\"x\":)" + deep + R"(}"}})"}) {
        const Json calls = json("[" + good + "," + bad + "]");
        EXPECT_EQ(sentenceOf([&] { OpenAICompatibleBrain::parseToolCalls(&calls); }), incomplete)
            << bad;
    }
    for (const Json& list : {Json("x"), Json::object(), Json(1)})
        EXPECT_EQ(sentenceOf([&] { OpenAICompatibleBrain::parseToolCalls(&list); }), incomplete);
}

} // namespace tavik
