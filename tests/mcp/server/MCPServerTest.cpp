#include "agent/Audit.h"
#include "app/Paths.h"
#include "mcp/ClientConfiguration.h"
#include "tests/mcp/server/ServerFixture.h"

#include <filesystem>
#include <fmt/format.h>
#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

constexpr auto disabled =
    "!Tavik's MCP access is currently disabled — enable \"Allow external agents (MCP)\" in Tavik's "
    "Settings → Integrations.";

class MCPServerTest : public ServerFixture {
protected:
    std::vector<std::string> toolNames() {
        std::vector<std::string> names;
        const Json answer = SocketClient(path).ask({{"id", 1}, {"method", "tools/list"}});
        for (const Json& tool : answer["result"]["tools"])
            names.push_back(tool["name"]);
        return names;
    }
};

} // namespace

TEST_F(MCPServerTest, AnswersTheProtocolsOwnRequests) {
    const auto initialized = [](const char* version) {
        return fmt::format(R"({{"protocolVersion":"{}","capabilities":{{"tools":{{}}}},)"
                           R"("serverInfo":{{"name":"tavik","version":"0.1.0"}}}})",
                           version);
    };
    const auto unsupported = [](const std::string& id, const std::string& method) {
        return fmt::format(
            R"({{"jsonrpc":"2.0","id":{},"error":{{"code":-32601,"message":"Method not supported: {}"}}}})",
            id, method);
    };
    const auto result = [](const std::string& id, const std::string& value) {
        return fmt::format(R"({{"jsonrpc":"2.0","id":{},"result":{}}})", id, value);
    };
    const std::pair<std::string, std::string> exchanges[] = {
        {R"({"jsonrpc":"2.0","id":"a","method":"ping"})", result("\"a\"", "{}")},
        {R"({"id":-7,"method":"ping"})", result("-7", "{}")},
        {R"({"id":1.5,"method":"ping"})", result("1.5", "{}")},
        {R"({"id":18446744073709551615,"method":"ping"})", result("18446744073709551615", "{}")},
        {R"({"id":null,"method":"ping"})", result("null", "{}")},
        {R"({"id":[{}],"method":"ping","method":"ping"})", result("[{}]", "{}")},
        {R"({"id":3,"method":"resources/list"})", unsupported("3", "resources/list")},
        {R"({"id":"","method":7})", unsupported("\"\"", "")},
        {R"({"id":4,"result":{}})", unsupported("4", "")},
        {R"({"id":5,"method":"initialize","params":{"protocolVersion":"2025-03-26"}})",
         result("5", initialized("2025-03-26"))},
        {R"({"id":6,"method":"initialize","params":[]})", result("6", initialized("2024-11-05"))},
        {R"({"id":7,"method":"initialize","params":{"protocolVersion":1}})",
         result("7", initialized("2024-11-05"))},
    };
    SocketClient client(path);
    for (const auto& [request, answer] : exchanges) {
        client.sendBytes(request + "\r\n");
        EXPECT_EQ(client.readLine(), answer) << request;
    }
}

TEST_F(MCPServerTest, PassesOverWhatIsNoRequest) {
    SocketClient client(path);
    const std::string nested(100'000, '[');
    for (const std::string& line :
         {std::string("{\"method\":\"ping\"}"), std::string("no JSON"), std::string("[{\"id\":1}]"),
          std::string("7"), std::string("{\"id\":1,\"method\":\"ping\",\"x\":\"\xff\"}"), nested,
          "{\"id\":1,\"x\":" + nested + "}", std::string("{\"id\":1,\0}", 10),
          std::string("{\"id\":1,\"method\":\"notifications/cancelled\"}"), std::string("\n\n"),
          std::string(
              R"({"method":"tools/call","params":{"name":"speak","arguments":{"text":"x"}}})"),
          std::string(R"({"method":"notifications/initialized"})")})
        client.sendBytes(line + "\n");
    EXPECT_EQ(client.ask({{"id", "last"}, {"method", "ping"}})["id"], "last");
    EXPECT_THAT(speech->texts(), ElementsAre());
}

TEST_F(MCPServerTest, OffersFourOfItsOwnToolsAndFourOfTheEngines) {
    const Json answer = SocketClient(path).ask({{"id", 1}, {"method", "tools/list"}});
    const Json& tools = answer["result"]["tools"];
    EXPECT_THAT(toolNames(), ElementsAre("focus_app", "open_url", "web_search", "speak", "snapshot",
                                         "type", "hotkey"));
    EXPECT_EQ(compactJson(tools[0]),
              R"({"name":"focus_app","description":"Launch a Mac app or bring it to the front by )"
              R"x(name (e.g. 'Cursor', 'Safari', 'Terminal').","inputSchema":{"type":"object",)x"
              R"("properties":{"name":{"type":"string","description":"App display name"}},)"
              R"("required":["name"]}})");
    const std::string confirmed =
        R"("confirmed":{"type":"boolean","description":"Set true only after the user explicitly )"
        R"(confirmed an action Tavik flagged as irreversible."})";
    EXPECT_EQ(
        compactJson(tools[5]),
        R"({"name":"type","description":"Type. (Executed by Tavik on this Mac; irreversible )"
        R"x(actions require user confirmation.)","inputSchema":{"type":"object","properties":)x"
        R"({"text":{"type":"string"},)" +
            confirmed + R"(},"required":["text"]}})");
    EXPECT_EQ(compactJson(tools[6]["inputSchema"]),
              R"({"type":"object","properties":{)" + confirmed + "}}");
}

TEST_F(MCPServerTest, LooksForAMissingEngineAgain) {
    engine = "/nonexistent";
    EXPECT_THAT(toolNames(), ElementsAre("focus_app", "open_url", "web_search", "speak"));
    engine = TAVIK_SCRIPTED_ENGINE;
    EXPECT_EQ(toolNames().size(), 7u);
}

TEST_F(MCPServerTest, DoesNothingWhileAgentsAreShutOut) {
    SocketClient client(path);
    EXPECT_EQ(textOf(client.call("focus_app", {{"name", "Notes"}})), "Opened Notes.");
    allowAgents(false);
    EXPECT_EQ(textOf(client.call("focus_app", {{"name", "Notes"}})), disabled);
    EXPECT_THAT(toolNames(), ElementsAre());
    defaults.set("mcpEnabled", "yes"); // no boolean
    EXPECT_EQ(textOf(client.call("nonsense")), disabled);
    allowAgents(true);
    EXPECT_EQ(textOf(client.call("nonsense")), "!Unknown tool: nonsense");
}

TEST_F(MCPServerTest, RunsItsOwnTools) {
    struct Case {
        const char* tool;
        Json arguments;
        const char* text;
    };
    const Case cases[] = {
        {"focus_app", {{"name", "Notes"}}, "Opened Notes."},
        {"focus_app", {{"name", ""}}, "!Missing app name."},
        {"focus_app", {{"name", "Nots"}}, "!Couldn't launch Nots: no app of that name was found."},
        {"focus_app", {{"name", "Broken"}}, "!Couldn't launch Broken: it ended at once"},
        {"open_url", {{"url", "https://a.test"}}, "Opened https://a.test in the default browser."},
        {"open_url", {{"url", "file:///x"}}, "!The URL couldn't be opened."},
        {"open_url", {{"url", 7}}, "!Missing URL."},
        {"web_search", {{"query", ""}}, "!Missing search query."},
        {"web_search", {{"query", "tea"}}, "!No API key configured in Tavik."},
        {"speak", Json::array({"text"}), "!Missing text."},
        {"speak", {{"text", "fails"}}, "!Couldn't speak: the service is gone"},
        {"ax_snapshot", Json::object(), "!Unknown tool: ax_snapshot"},
        {"", nullptr, "!Unknown tool: "},
    };
    for (const Case& example : cases)
        EXPECT_EQ(call(example.tool, example.arguments), example.text) << example.arguments;
    brain = new ScriptedBrain;
    EXPECT_EQ(call("web_search", {{"query", "tea"}}), "found tea");
    brain = new ScriptedBrain;
    brain->search = [](const std::string&, std::stop_token) -> std::string {
        throw BrainError("the model is gone");
    };
    EXPECT_EQ(call("web_search", {{"query", "tea"}}), "!Web search failed.");
}

TEST_F(MCPServerTest, SpeaksOneTextAfterAnotherInTheUsersVoice) {
    defaults.set("voiceId", "chosen");
    SocketClient client(path);
    for (const char* text : {"first", "second"})
        client.send({{"id", text},
                     {"method", "tools/call"},
                     {"params", {{"name", "speak"}, {"arguments", {{"text", text}}}}}});
    while (!speech->speaking)
        std::this_thread::sleep_for(1ms);
    std::this_thread::sleep_for(100ms);
    ASSERT_EQ(speech->texts().size(), 1u);
    speech->speaking = false;
    EXPECT_EQ(textOf(client.read()["result"]), "Spoken.");
    while (!speech->speaking)
        std::this_thread::sleep_for(1ms);
    allowAgents(false); // falls silent
    client.read();
    EXPECT_FALSE(speech->speaking);
    EXPECT_THAT(speech->texts(),
                testing::UnorderedElementsAre("first in chosen", "second in chosen"));
}

TEST_F(MCPServerTest, SpeaksBetweenConversations) {
    std::optional<Floor::Taken> conversation(floor);
    SocketClient client(path);
    client.send({{"id", 1},
                 {"method", "tools/call"},
                 {"params", {{"name", "speak"}, {"arguments", {{"text", "done"}}}}}});
    std::this_thread::sleep_for(100ms);
    EXPECT_FALSE(speech->speaking);
    conversation.reset();
    while (!speech->speaking)
        std::this_thread::sleep_for(1ms);
    EXPECT_TRUE(floor.isLent());
    conversation.emplace(floor); // the user comes first
    while (speech->speaking)
        std::this_thread::sleep_for(1ms);
    EXPECT_FALSE(client.readLine(100ms));
    conversation.reset();
    while (!speech->speaking)
        std::this_thread::sleep_for(1ms);
    speech->speaking = false;
    EXPECT_EQ(textOf(client.read()["result"]), "Spoken.");
    EXPECT_EQ(speech->texts().size(), 2u);
}

TEST_F(MCPServerTest, ForwardsDesktopActionsThroughTheGuardrails) {
    const auto isHeld = [](const std::string& reason) {
        return "!BLOCKED pending user confirmation: this is " + reason +
               ", which is irreversible. Ask your user explicitly whether to proceed; only "
               "after "
               "they clearly agree, call this tool again with the same arguments plus "
               "\"confirmed\": true.";
    };
    EXPECT_EQ(call("snapshot", {{"window", 1}}), R"(ax_snapshot {"window":1})");
    EXPECT_EQ(call("type", {{"text", "hello"}}), R"(type_text {"text":"hello","verify":true})");
    EXPECT_EQ(call("click", {{"label", "Delete"}}), isHeld("activating \"Delete\""));
    EXPECT_EQ(call("click", {{"label", "Delete"}, {"confirmed", "true"}}),
              isHeld("activating \"Delete\""));
    EXPECT_EQ(call("click", {{"label", "Delete"}, {"confirmed", true}}),
              R"(click_element {"label":"Delete","verify":true})");
    EXPECT_THAT(call("type", {{"text", "rm -rf /"}, {"confirmed", true}}),
                testing::StartsWith("!HARD-BLOCKED by Tavik's safety rules"));
    clipboard = "sudo rm -rf /";
    EXPECT_THAT(call("hotkey", {{"keys", "cmd+v"}, {"confirmed", true}}), HasSubstr("HARD-BLOCK"));
    EXPECT_EQ(call("snapshot", {{"exit", true}}),
              "!Desktop action failed: The desktop-control engine stopped unexpectedly.");
}

TEST_F(MCPServerTest, RecordsEveryRunOfATool) {
    Audit::clearHistory();
    call("focus_app", {{"name", "Notes"}});
    call(std::string(1000, 'n'));
    allowAgents(false);
    call("focus_app", {{"name", "Notes"}});
    Audit::flush();
    const std::string records = readFile(Audit::path());
    EXPECT_THAT(
        records,
        HasSubstr(R"("event":"tool","source":"mcp","name":"focus_app","success":true,"ms":)"));
    EXPECT_THAT(records, HasSubstr("\"name\":\"" + std::string(200, 'n') + "\",\"success\":false"));
    EXPECT_EQ(std::count(records.begin(), records.end(), '\n'), 2);
}

TEST(ClientConfiguration, NamesTheProgramThatBridges) {
    EXPECT_EQ(mcpConfigJSON(), R"({
  "mcpServers": {
    "tavik": {
      "args": [
        "--mcp"
      ],
      "command": ")" + executablePath() +
                                   R"("
    }
  }
})");
    EXPECT_TRUE(std::filesystem::exists(executablePath()));
}

} // namespace tavik
