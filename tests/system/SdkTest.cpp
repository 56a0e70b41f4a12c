#include "tests/system/RunningTavik.h"

#include <cstdlib>
#include <filesystem>
#include <thread>

using namespace std::chrono_literals;
using testing::HasSubstr;

namespace tavik {

namespace {

// Hubs take paths only.
std::string nodePath() {
    const std::string folders = std::getenv("PATH");
    for (std::size_t begin = 0; begin < folders.size();) {
        const std::size_t end = std::min(folders.find(':', begin), folders.size());
        const std::string path = folders.substr(begin, end - begin) + "/node";
        if (std::filesystem::exists(path))
            return path;
        begin = end + 1;
    }
    return "";
}

// Tavik between peers that others wrote: agents and an engine on the protocol's own SDK.
class SdkTest : public testing::Test {
protected:
    void SetUp() override {
        if (!std::filesystem::exists(peers + "node_modules"))
            GTEST_SKIP() << "The protocol's SDK is not installed: \"./dev setup\" found no npm "
                            "registry.";
        writeFile(folder.file("Library/Preferences/ai.tavik.json"), R"({"mcpEnabled":true})");
        writeFile(folder.file(".claude.json"),
                  compactJson(
                      {{"mcpServers",
                        {{"vamo", {{"command", nodePath()}, {"args", {peers + "engine.mjs"}}}}}}}));
        tavik.emplace(ChildProcess::Command{.arguments = {TAVIK_PROGRAM, "--selftest-mcp"},
                                            .environment = environment(),
                                            .outputPath = folder.file("log"),
                                            .input = ""});
        for (int attempt = 0; attempt < 500 && !std::filesystem::exists(socket); ++attempt)
            std::this_thread::sleep_for(10ms);
    }

    // What a program of the peers prints when it has run to its end.
    std::string run(const std::vector<std::string>& arguments) const {
        std::vector<std::string> command = {"node"};
        command.insert(command.end(), arguments.begin(), arguments.end());
        const std::string output = folder.file("output");
        std::filesystem::remove(output);
        ChildProcess program({.arguments = command,
                              .environment = environment(),
                              .outputPath = output,
                              .input = ""});
        EXPECT_EQ(program.waitFor(60s), 0);
        return readFile(output);
    }

    std::map<std::string, std::optional<std::string>> environment() const {
        return {{"HOME", folder.path()}, {"TAVIK_MCP_SOCKET", socket}};
    }

    const std::string peers = TAVIK_MCP_PEERS;
    const std::string inspector = peers + "node_modules/.bin/mcp-inspector-cli";
    TemporaryFolder folder;
    const std::string socket = folder.file("s");
    std::optional<ChildProcess> tavik;
};

} // namespace

TEST_F(SdkTest, AnAgentHasItsSession) {
    EXPECT_EQ(
        run({peers + "agent.mjs", TAVIK_PROGRAM, "--mcp"}),
        "server tavik 0.1.0\n"
        "tools focus_app open_url web_search speak snapshot click type hotkey\n"
        "call type_text {\"text\":\"hello\",\"verify\":true}\n"
        "held !BLOCKED pending user confirmation: this is activating \"Delete\", which is "
        "irreversible. Ask your user explicitly whether to proceed; only after they clearly agree, "
        "call this tool again with the same arguments plus \"confirmed\": true.\n"
        "confirmed click_element {\"label\":\"Delete\",\"verify\":true}\n"
        "unknown !Unknown tool: nonsense\n"
        "unsupported MCP error -32601: Method not supported: prompts/list\n"
        "at once each its own answer\n"
        "closed\n");
    EXPECT_EQ(tavik->terminate(5s), 0);
}

TEST_F(SdkTest, TheInspectorListsAndCallsTools) {
    const Json list =
        parseJson(run({inspector, "--cli", TAVIK_PROGRAM, "--mcp", "--method", "tools/list"}))
            .value();
    ASSERT_EQ(list["tools"].size(), 8u);
    EXPECT_EQ(list["tools"][6]["description"],
              "Does type_text. (Executed by Tavik on this Mac; irreversible actions require user "
              "confirmation.)");
    EXPECT_THAT(run({inspector, "--cli", TAVIK_PROGRAM, "--mcp", "--method", "tools/call",
                     "--tool-name", "hotkey", "--tool-arg", "keys=Return"}),
                HasSubstr(R"(press_key {\"keys\":\"Return\",\"verify\":true})"));
}

} // namespace tavik
