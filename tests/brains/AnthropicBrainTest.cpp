#include "brains/AnthropicBrain.h"
#include "tests/brains/FakeHttpSession.h"
#include "tests/support/SimulatedClock.h"

namespace tavik {

namespace {

constexpr auto emptyAnswer = "Anthropic sent back an empty answer. Try again.";

class AnthropicBrainTest : public testing::Test {
protected:
    AnthropicBrain brain(std::optional<std::string> effort = std::nullopt) {
        return {
            {"key", "claude-x", "Be brief.", effort, "https://api.test/v1/messages"}, http, clock};
    }

    // The "messages" that are sent for `transcript`.
    std::string wire(const std::vector<AgentMessage>& transcript) {
        http.answer(200, R"({"content":[]})");
        brain().chat(transcript, {}, {});
        return compactJson(http.sentBody()["messages"]);
    }

    BrainReply reply(const std::string& body) {
        http.answer(200, body);
        return brain().chat({UserMessage{"hi"}}, {}, {});
    }

    FakeHttpSession http;
    SimulatedClock clock;
};

} // namespace

TEST_F(AnthropicBrainTest, SendsItsRequest) {
    http.answer(200, R"({"content":[]})");
    brain("low").chat({UserMessage{"hi"}}, {{"look", "Looks.", json(R"({"type":"object"})")}}, {});
    EXPECT_EQ(http.requests.back().url, "https://api.test/v1/messages");
    EXPECT_EQ(http.requests.back().headers,
              (std::vector<HttpRequest::Header>{{"x-api-key", "key"},
                                                {"anthropic-version", "2023-06-01"},
                                                {"content-type", "application/json"}}));
    EXPECT_EQ(http.sentBody(), json(R"({"model":"claude-x","max_tokens":1500,"system":"Be brief.",
        "messages":[{"role":"user","content":"hi"}],
        "tools":[{"name":"look","description":"Looks.","input_schema":{"type":"object"}}],
        "output_config":{"effort":"low"}})"));
    EXPECT_EQ(brain().label(), "anthropic/claude-x");

    http.answer(200, R"({"content":[]})");
    brain().chat({}, {}, {});
    EXPECT_EQ(http.sentBody(), json(R"({"model":"claude-x","max_tokens":1500,"system":"Be brief.",
        "messages":[]})"));
}

TEST_F(AnthropicBrainTest, TranslatesTranscripts) {
    const ToolCall first{"a", "look", json(R"({"at":"menu"})"), json(R"({"ignored":1})")};
    const ToolCall second{"b", "wait"};
    const struct {
        std::vector<AgentMessage> transcript;
        std::string expected;
    } cases[] = {
        {{UserMessage{"go"}, AssistantMessage{"", {first, second}},
          ToolResultMessage{"a", "look", "seen"}, ToolResultMessage{"b", "wait", ""}},
         R"([{"role":"user","content":"go"},{"role":"assistant","content":[)"
         R"({"type":"tool_use","id":"a","name":"look","input":{"at":"menu"}},)"
         R"({"type":"tool_use","id":"b","name":"wait","input":{}}]},{"role":"user","content":[)"
         R"({"type":"tool_result","tool_use_id":"a","content":"seen"},)"
         R"({"type":"tool_result","tool_use_id":"b","content":""}]}])"},
        {{ToolResultMessage{"a", "look", "seen"}, AssistantMessage{"Done.", {}}, UserMessage{"ok"}},
         R"([{"role":"user","content":[{"type":"tool_result","tool_use_id":"a","content":"seen"}]},)"
         R"({"role":"assistant","content":[{"type":"text","text":"Done."}]},)"
         R"({"role":"user","content":"ok"}])"},
        {{ToolResultMessage{"a", "look", "seen"}, UserMessage{"stop"}},
         R"([{"role":"user","content":[{"type":"tool_result","tool_use_id":"a","content":"seen"}]},)"
         R"({"role":"user","content":"stop"}])"},
        {{UserMessage{"hm"}, AssistantMessage{}}, R"([{"role":"user","content":"hm"}])"},
    };
    for (const auto& [transcript, expected] : cases)
        EXPECT_EQ(wire(transcript), expected);
}

TEST_F(AnthropicBrainTest, ReadsReplies) {
    BrainReply read = reply(R"({"content":[{"type":"thinking","text":"no"},
        {"type":"text","text":"One."},{"type":"tool_use","id":"a","name":"look","input":{"x":1}},
        {"type":"text","text":"Two."},{"type":"tool_use","id":"b","name":"wait"},
        {"type":"tool_use","id":"c","name":"odd","input":[1]}]})");
    EXPECT_EQ(read.text, "One.Two.");
    ASSERT_EQ(read.toolCalls.size(), 3u);
    EXPECT_EQ(read.toolCalls[0].id, "a");
    EXPECT_EQ(read.toolCalls[0].name, "look");
    EXPECT_EQ(compactJson(read.toolCalls[0].args), R"({"x":1})");
    EXPECT_TRUE(read.toolCalls[0].raw.empty());
    for (const std::size_t i : {1u, 2u})
        EXPECT_EQ(compactJson(read.toolCalls[i].args), "{}");

    for (const char* nothing : {R"({"content":[]})", R"({"content":[{"type":"text","text":""}]})",
                                R"({"content":[{"type":"text","text":7},{"type":7},{}]})",
                                R"({"content":[{"type":"tool_use","name":"look"},
                                   {"type":"tool_use","id":1,"name":"look"}]})"}) {
        read = reply(nothing);
        EXPECT_FALSE(read.text) << nothing;
        EXPECT_TRUE(read.toolCalls.empty()) << nothing;
    }
    for (const char* unusable :
         {"{}", R"({"content":null})", R"({"content":"text"})", R"({"content":{}})",
          R"({"content":[1]})", R"({"content":[{},[]]})"})
        EXPECT_EQ(sentenceOf([&] { reply(unusable); }), emptyAnswer) << unusable;
}

TEST_F(AnthropicBrainTest, SearchesTheWeb) {
    http.answer(200, R"({"content":[{"type":"server_tool_use","id":"s","name":"web_search"},
        {"type":"text","text":"It rains"},{"type":"web_search_tool_result","content":[]},
        {"type":"text","text":" today."}]})");
    EXPECT_EQ(brain("high").webSearch("weather", {}), "It rains today.");
    EXPECT_EQ(http.sentBody(), json(R"({"model":"claude-x","max_tokens":1024,
        "tools":[{"type":"web_search_20250305","name":"web_search","max_uses":3}],
        "messages":[{"role":"user","content":"weather"}],"output_config":{"effort":"high"}})"));
    for (const char* nothing : {"{}", R"({"content":[{"type":"text","text":""}]})"}) {
        http.answer(200, nothing);
        EXPECT_EQ(sentenceOf([&] { brain().webSearch("weather", {}); }),
                  "The web search returned nothing.");
    }
}

} // namespace tavik
