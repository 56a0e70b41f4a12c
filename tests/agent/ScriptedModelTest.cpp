#include "tools/stand-ins/model/ScriptedModel.h"
#include "platform/http/HttpSession.h"
#include "platform/json/Json.h"
#include "tools/stand-ins/model/SpokenArithmetic.h"

#include <chrono>
#include <thread>

namespace tavik {
namespace {

using testing::HasSubstr;

Json anthropicMessage(const char* role, const Json& block) {
    return {{"role", role}, {"content", Json::array({block})}};
}

Json anthropicCall(const std::string& id) {
    return anthropicMessage(
        "assistant", {{"type", "tool_use"}, {"id", id}, {"name", "x"}, {"input", Json::object()}});
}

Json anthropicResult(const std::string& id) {
    return anthropicMessage("user",
                            {{"type", "tool_result"}, {"tool_use_id", id}, {"content", "done"}});
}

Json chatCall(const std::string& id) {
    const Json function = {{"name", "x"}, {"arguments", "{}"}};
    const Json call = {{"id", id}, {"type", "function"}, {"function", function}};
    return {{"role", "assistant"}, {"content", ""}, {"tool_calls", Json::array({call})}};
}

Json chatResult(const std::string& id) {
    return {{"role", "tool"}, {"tool_call_id", id}, {"content", "done"}};
}

const Json user = {{"role", "user"}, {"content", "hello"}};

class ScriptedModelTest : public testing::Test {
protected:
    ScriptedModelTest() { model.answerWhen({}, "Hello."); }

    HttpResponse post(const std::string& provider, const std::vector<Json>& messages,
                      std::vector<HttpRequest::Header> headers) {
        const Json body = {{"model", "m"}, {"max_tokens", 9}, {"messages", messages}};
        headers.emplace_back("content-type", "application/json");
        HttpRequest request{"POST", model.chatUrl(provider), std::move(headers), body.dump()};
        return http->send(request, {});
    }

    HttpResponse post(const std::string& provider, const std::vector<Json>& messages) {
        return post(provider, messages,
                    {{"x-api-key", "k"},
                     {"anthropic-version", "2023-06-01"},
                     {"Authorization", "Bearer k"}});
    }

    ScriptedModel model;
    std::unique_ptr<HttpSession> http = makeHttpSession();
};

TEST_F(ScriptedModelTest, RefusesTranscriptsThatTheProvidersRefuse) {
    struct Case {
        const char* provider;
        std::vector<Json> messages;
        int status;
    };
    const Case cases[] = {
        {"anthropic", {user}, 200},
        {"anthropic", {user, anthropicCall("1"), anthropicResult("1"), user}, 200},
        {"anthropic", {}, 400},
        {"anthropic", {anthropicCall("1"), anthropicResult("1")}, 400},
        {"anthropic", {user, anthropicCall("1")}, 400},
        {"anthropic", {user, anthropicCall("1"), user}, 400},
        {"anthropic", {user, anthropicCall("1"), anthropicResult("2")}, 400},
        {"anthropic", {user, anthropicResult("1")}, 400},
        {"anthropic",
         {user, anthropicCall("1"), anthropicResult("1"), anthropicCall("1"), anthropicResult("1")},
         400},
        {"anthropic", {user, {{"role", "assistant"}, {"content", Json::array()}}, user}, 400},
        {"openai", {user}, 200},
        {"openai", {user, chatCall("1"), chatResult("1"), user}, 200},
        {"openai", {user, chatCall("1"), user}, 400},
        {"openai", {user, chatCall("1")}, 400},
        {"openai", {user, chatCall("1"), chatResult("2")}, 400},
        {"openai", {user, chatResult("1")}, 400},
        {"openai", {user, chatCall("1"), chatResult("1"), chatResult("1")}, 400},
        {"gemini", {user}, 200},
        {"gemini", {user, chatCall("1"), chatResult("1")}, 400}, // without its signature
        {"anthropic", {{{"role", "user"}, {"content", "hello"}, {"name", "me"}}}, 400},
        {"openai", {{{"role", "user"}, {"content", "hello"}, {"mood", "good"}}}, 400},
    };
    for (const Case& example : cases) {
        const HttpResponse response = post(example.provider, example.messages);
        EXPECT_EQ(response.status, example.status)
            << example.provider << Json(example.messages) << response.body;
        EXPECT_THAT(response.body, HasSubstr(example.status == 200 ? "Hello." : "\"message\""));
    }
}

TEST_F(ScriptedModelTest, AsksForAKeyAndAVersion) {
    model.acceptOnlyKey("k");
    const HttpRequest::Header key{"x-api-key", "k"};
    const HttpRequest::Header version{"anthropic-version", "2023-06-01"};
    EXPECT_EQ(post("anthropic", {user}, {key, version}).status, 200);
    EXPECT_EQ(post("anthropic", {user}, {key}).status, 400);
    EXPECT_EQ(post("anthropic", {user}, {version}).status, 401);
    EXPECT_EQ(post("xai", {user}, {{"Authorization", "Bearer other"}}).status, 401);
    EXPECT_EQ(post("xai", {user}, {{"Authorization", "k"}}).status, 401);
}

TEST_F(ScriptedModelTest, StopsAtOnceWithConnectionsOpenAndARequestWaiting) {
    auto stopping = std::make_unique<ScriptedModel>();
    ModelReply slow = say("late");
    slow.delay = std::chrono::seconds(30);
    stopping->replyNext({slow});
    HttpRequest request{"POST", stopping->chatUrl("openai"), {}, R"({"model":"m"})"};
    http->send(request, {}); // refused; its connection stays
    request.headers = {{"Authorization", "Bearer k"}, {"content-type", "application/json"}};
    request.body = R"({"model":"m","max_tokens":9,"messages":[{"role":"user","content":"x"}]})";
    std::jthread asking([&] { EXPECT_THROW(http->send(request, {}), TransportError); });
    while (stopping->requests().size() < 2)
        std::this_thread::sleep_for(std::chrono::milliseconds(1));

    const auto start = std::chrono::steady_clock::now();
    stopping.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST(SpokenArithmetic, AddsAsItHears) {
    const std::pair<const char*, std::optional<long long>> cases[] = {
        {"what is two plus two", 4},     {"How much is twenty-one times 3?", 63},
        {"ten minus forty five", -35},   {"what time is it", std::nullopt},
        {"two", std::nullopt},           {"two birds", std::nullopt},
        {"two plus stone", std::nullopt}};
    for (const auto& [text, result] : cases)
        EXPECT_EQ(spokenResult(text), result) << text;
}

} // namespace
} // namespace tavik
