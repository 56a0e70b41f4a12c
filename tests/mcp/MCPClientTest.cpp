#include "mcp/MCPClient.h"
#include "app/Log.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/Task.h"
#include "tests/support/SentenceOf.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <csignal>
#include <filesystem>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto notRunning = "The desktop-control engine is not running.";
constexpr auto stoppedUnexpectedly = "The desktop-control engine stopped unexpectedly.";
constexpr auto noAnswer =
    "The desktop-control engine didn't respond in time. The action may already have happened; "
    "check the desktop before retrying.";

std::size_t openDescriptors() {
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {}));
}

class MCPClientTest : public testing::Test {
protected:
    void start(MCPClient::Environment environment = {}) {
        client.emplace("vamo", TAVIK_SCRIPTED_ENGINE, std::vector<std::string>(),
                       std::move(environment));
        client->start({});
    }

    std::string call(const std::string& tool, const Json& arguments = Json::object(),
                     std::chrono::milliseconds timeout = 10s, std::stop_token stop = {}) {
        return client->callTool(tool, arguments, timeout, std::move(stop)).text;
    }

    std::string failure(const std::string& tool, const Json& arguments = Json::object(),
                        std::chrono::milliseconds timeout = 10s) {
        return sentenceOf([&] { call(tool, arguments, timeout); });
    }

    static bool logged(const std::string& text) {
        TavikLog::flush();
        return readFile(TavikLog::path()).find(text) != std::string::npos;
    }

    std::optional<MCPClient> client;
};

} // namespace

TEST_F(MCPClientTest, TalksThroughPipesHoweverTheBytesCome) {
    start();
    EXPECT_TRUE(client->alive());
    EXPECT_EQ(call("echo", {{"text", "two\nlines “é”"}}), "{\"text\":\"two\\nlines “é”\"}");
    EXPECT_EQ(call("split"), "split");
    EXPECT_EQ(call("babble"), "after all");
    EXPECT_EQ(call("flood", {}, 60s), "after the flood");
    EXPECT_TRUE(logged("[vamo] diagnostic output received ("));
    const std::string large(10 << 20, 'x');
    EXPECT_EQ(call("echo", {{"large", large}}, 60s).size(), large.size() + 12);

    std::vector<std::unique_ptr<Task<std::string>>> held;
    for (int count = 0; count < 3; ++count)
        held.push_back(std::make_unique<Task<std::string>>(
            [this](std::stop_token stop) { return call("hold", {}, 10s, stop); }));
    std::this_thread::sleep_for(100ms);
    EXPECT_EQ(call("release"), "released"); // all four in one write, the last one first
    for (auto& task : held)
        EXPECT_EQ(task->get(), "held");
}

TEST_F(MCPClientTest, ReadsRepliesAsTheyAreMeant) {
    start();
    const struct {
        Json reply;
        std::string text;
        bool isError;
    } cases[] = {
        {R"({"result":{"content":[{"type":"image"},{"type":"text","text":"done"}]}})"_json,
         "[non-text content omitted]\ndone", false},
        {R"({"result":{"content":[{"type":"text","text":"{\"ok\": false}"}]}})"_json,
         "{\"ok\": false}", true},
        {R"({"result":{"content":[],"structuredContent":{"error":""}}})"_json, "", false},
        {R"({"result":{"structuredContent":{"error":{"code":1}}}})"_json, "", true},
        {R"({"result":{"structuredContent":{"blocked":"policy"}}})"_json, "", true},
        {R"({"result":{"structuredContent":{"success":false}}})"_json, "", true},
        {R"({"result":{"structuredContent":{"ok":0,"error":null,"blocked":[1]}}})"_json, "", false},
        {R"({"result":{"isError":true}})"_json, "", true},
        {R"({"result":{"isError":"true","content":["x"]}})"_json, "", false},
        {R"({"result":[1],"error":"a string"})"_json, "", false},
    };
    for (const auto& [reply, text, isError] : cases) {
        const ToolReply read = client->callTool("raw", reply, 10s, {});
        EXPECT_EQ(read.text, text) << reply;
        EXPECT_EQ(read.isError, isError) << reply;
    }
    EXPECT_EQ(failure("raw", R"({"error":{"message":"no window"},"result":{}})"_json),
              "The desktop-control engine reported an error: no window");
    EXPECT_EQ(failure("raw", R"({"error":{"code":7}})"_json),
              "The desktop-control engine reported an error: unknown error");
}

TEST_F(MCPClientTest, ListsTools) {
    start({{"TAVIK_TEST_TOOLS", R"({"tools":[{"name":"a","description":"does a",
        "inputSchema":{"type":"object","x":1}},{"description":"nameless"},
        {"name":"b","inputSchema":7}]})"}});
    const auto tools = client->listTools({});
    ASSERT_EQ(tools.size(), 2u);
    EXPECT_EQ(tools[0].description, "does a");
    EXPECT_EQ(compactJson(tools[0].inputSchema), R"({"type":"object","x":1})");
    EXPECT_EQ(tools[1].name + tools[1].description, "b");
    EXPECT_EQ(compactJson(tools[1].inputSchema), R"({"type":"object"})");
    for (const auto& [list, expected] :
         {std::pair(R"({"tools":[]})", ""),
          {"{}", "The desktop-control engine returned no tool list."},
          {R"({"tools":[1]})", "The desktop-control engine returned no tool list."}}) {
        start({{"TAVIK_TEST_TOOLS", list}});
        EXPECT_EQ(sentenceOf([&] { EXPECT_TRUE(client->listTools({}).empty()); }), expected);
    }
}

TEST_F(MCPClientTest, GivesUpInTimeAndTellsTheEngine) {
    start();
    EXPECT_EQ(failure("hang", {}, 50ms), noAnswer);
    EXPECT_LT(timeToCancel([this](std::stop_token stop) { call("hang", {}, 60s, stop); }), 50ms);
    std::stop_source stopped;
    stopped.request_stop();
    EXPECT_THROW(call("hang", {}, 60s, stopped.get_token()), Cancelled);
    EXPECT_EQ(call("cancelled"), R"([{"requestId":2,"reason":"Tavik stopped waiting"},)"
                                 R"({"requestId":3,"reason":"Tavik stopped waiting"}])");
    // One that no longer reads holds nobody up.
    EXPECT_EQ(failure("deaf", {}, 50ms), noAnswer);
    EXPECT_EQ(failure("echo", {{"large", std::string(1 << 20, 'x')}}, 100ms), noAnswer);
    EXPECT_LT(timeToCancel([this](std::stop_token stop) { call("echo", {}, 60s, stop); }), 50ms);
}

TEST_F(MCPClientTest, SaysHowItEnded) {
    start();
    EXPECT_EQ(call("last words"), "and gone");
    while (client->alive())
        std::this_thread::sleep_for(1ms);
    EXPECT_EQ(failure("echo"), notRunning);

    start();
    EXPECT_EQ(failure("exit"), stoppedUnexpectedly);
    EXPECT_FALSE(client->alive());
    client.reset();
    EXPECT_TRUE(logged("[mcp] vamo exited\n"));

    start();
    Task<std::string> waiting([this](std::stop_token) { return failure("hang"); });
    std::this_thread::sleep_for(50ms);
    client->terminate();
    EXPECT_EQ(waiting.get(),
              "The desktop-control connection was stopped. An action may already have happened; "
              "check the desktop before retrying.");
    EXPECT_EQ(failure("echo"), notRunning);
}

TEST_F(MCPClientTest, SaysWhyItDidNotStart) {
    client.emplace("vamo", "/nonexistent/python", std::vector<std::string>());
    EXPECT_EQ(sentenceOf([&] { client->start({}); }),
              "I couldn't start the desktop-control engine: No such file or directory");
    EXPECT_FALSE(client->alive());
    EXPECT_EQ(failure("echo"), notRunning);
    client.emplace("vamo", "/bin/true", std::vector<std::string>());
    EXPECT_THAT(sentenceOf([&] { client->start({}); }),
                testing::AnyOf(notRunning, stoppedUnexpectedly));
    client.emplace("vamo", TAVIK_SCRIPTED_ENGINE, std::vector<std::string>{"mute"});
    EXPECT_LT(timeToCancel([this](std::stop_token stop) { client->start(stop); }), 50ms);
}

TEST_F(MCPClientTest, LeavesNothingBehind) {
    const std::size_t before = openDescriptors();
    setenv("TAVIK_TEST_VARIABLE", "inherited", 1);
    client.emplace("vamo", TAVIK_SCRIPTED_ENGINE, std::vector<std::string>());
    client->start({});
    EXPECT_EQ(call("variable"), "inherited");
    start({{"TAVIK_TEST_VARIABLE", "given"}});
    EXPECT_EQ(call("variable"), "given");
    unsetenv("TAVIK_TEST_VARIABLE");
    // The standard ones, and the folder that is being listed.
    EXPECT_EQ(call("descriptors").size(), std::string("0 1 2 3 ").size());

    call("stubborn");
    const auto asked = std::chrono::steady_clock::now();
    client.reset();
    EXPECT_LT(std::chrono::steady_clock::now() - asked, 1s);
    EXPECT_EQ(openDescriptors(), before);
    siginfo_t child{};
    EXPECT_EQ(waitid(P_ALL, 0, &child, WEXITED | WNOHANG | WNOWAIT), -1) << "a child is left";
}

} // namespace tavik
