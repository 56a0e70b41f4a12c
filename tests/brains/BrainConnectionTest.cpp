#include "brains/BrainConnection.h"
#include "platform/concurrency/Cancelled.h"
#include "tests/brains/FakeHttpSession.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto pasteFirst = "Paste a valid API key first.";

class BrainConnectionTest : public testing::Test {
protected:
    std::string failure(const std::string& provider, const std::string& key,
                        const std::string& model = "m") {
        return sentenceOf([&] { connection.check(provider, key, model, {}); });
    }

    const TemporaryFolder folder;
    UserDefaults defaults{folder.file("settings.json")};
    FakeHttpSession http;
    const BrainConnection connection{defaults, http};
};

} // namespace

TEST_F(BrainConnectionTest, AsksForTheModelsDescription) {
    using Headers = std::vector<HttpRequest::Header>;
    const struct {
        const char *provider, *url;
        Headers headers;
    } cases[] = {
        {"gemini",
         "https://generativelanguage.googleapis.com/v1beta/models/m",
         {{"x-goog-api-key", "key"}}},
        {"anthropic",
         "https://api.anthropic.com/v1/models/m",
         {{"x-api-key", "key"}, {"anthropic-version", "2023-06-01"}}},
        {"openai", "https://api.openai.com/v1/models/m", {{"Authorization", "Bearer key"}}},
        {"xai", "https://api.x.ai/v1/models/m", {{"Authorization", "Bearer key"}}},
    };
    for (const auto& [provider, url, headers] : cases) {
        const HttpRequest request = connection.request(provider, " key\r\n", "m");
        EXPECT_EQ(request.method, "GET");
        EXPECT_EQ(request.url, url);
        EXPECT_EQ(request.headers, headers);
        EXPECT_EQ(request.timeout, 15s);
    }
    defaults.set("openaiHost", "http://127.0.0.1:8080/");
    const std::pair<const char*, const char*> models[] = {
        {"a/b c%d", "a%2Fb%20c%25d"}, {"..", "%2E%2E"}, {"é?x#y", "%C3%A9%3Fx%23y"}};
    for (const auto& [model, component] : models)
        EXPECT_EQ(connection.request("openai", "key", model).url,
                  std::string("http://127.0.0.1:8080/v1/models/") + component);
}

TEST_F(BrainConnectionTest, WantsAKeyAndAProviderBeforeItAsks) {
    for (const std::string& key :
         {std::string(), std::string(" \n\t"), std::string("two words"), std::string("line\nend"),
          std::string("nul\0", 4), std::string("ключ"), std::string(100'000, 'k')})
        EXPECT_EQ(failure("openai", key), pasteFirst);
    EXPECT_EQ(failure("mistral", "key"), "Choose an AI provider first.");
    EXPECT_EQ(failure("", "key"), "Choose an AI provider first.");
    EXPECT_TRUE(http.requests.empty());
}

TEST_F(BrainConnectionTest, SaysWhatCameOfIt) {
    constexpr auto key =
        "Your provider didn't accept this key or its access permissions. Check the "
        "key in your provider's account.";
    constexpr auto unexpected = "The provider returned an unexpected response. Please try again.";
    constexpr auto failed = "The connection check failed. Please try again shortly.";
    const struct {
        int status;
        std::string body, sentence;
    } cases[] = {
        {200, R"({"id":"m"})", ""},
        {200, R"({"id":7,"name":"models/m"})", ""},
        {200, R"({"id":""})", unexpected},
        {200, R"({"id":"m","error":null})", unexpected},
        {200, R"({"error":{"message":"no"}})", unexpected},
        {200, R"([{"id":"m"}])", unexpected},
        {200, "<html>", unexpected},
        {200, std::string(100'000, '['), unexpected},
        {401, "", key},
        {403, R"({"id":"m"})", key},
        {404, "",
         "This model isn't available with your key. Choose another model in Brain Settings."},
        {429, "", "Your provider is limiting requests. Check your account and try again shortly."},
        {201, R"({"id":"m"})", failed},
        {302, "", failed},
        {503, "", failed},
    };
    for (const auto& [status, body, sentence] : cases) {
        http.requests.clear();
        http.answer(status, body);
        EXPECT_EQ(failure("openai", "key"), sentence) << status << body.substr(0, 40);
        EXPECT_EQ(http.requests.size(), 1u); // never twice
    }
    for (const TransportFailure kind :
         {TransportFailure::notConnectedToInternet, TransportFailure::timedOut}) {
        http.fail(kind);
        EXPECT_EQ(failure("xai", "key"),
                  "Couldn't reach your AI provider. Check your connection and try again.");
    }
    http.hang();
    EXPECT_LT(timeToCancel([this](std::stop_token stop) {
                  connection.check("xai", "key", "m", std::move(stop));
              }),
              50ms);
}

} // namespace tavik
