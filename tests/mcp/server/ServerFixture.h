#pragma once

#include "mcp/server/MCPServer.h"
#include "tests/agent/FakeApplications.h"
#include "tests/agent/ScriptedBrain.h"
#include "tests/support/SocketClient.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <atomic>
#include <gmock/gmock.h>

namespace tavik {

// A voice that speaks until it is told that the text has ended.
class FakeSpeech : public SpeechOutput {
public:
    void speak(const std::string& text, const std::optional<Voice>& voice,
               std::stop_token) override {
        if (text == "fails")
            throw SpeechError("the service is gone");
        const std::lock_guard lock(mutex);
        spoken.push_back(text + " in " + (voice ? voice->identifier : "no voice"));
        speaking = true;
    }
    bool isSpeaking() override { return speaking; }
    void stopSpeaking() override { speaking = false; }
    std::vector<Voice> voices(std::stop_token) override {
        return {{"default", "A", "en-US"}, {"chosen", "B", "en-US"}};
    }

    std::vector<std::string> texts() {
        const std::lock_guard lock(mutex);
        return spoken;
    }

    std::atomic<bool> speaking = false;

private:
    std::mutex mutex;
    std::vector<std::string> spoken; // guarded by mutex
};

// A server with the scripted engine behind it, at a socket of its own.
class ServerFixture : public testing::Test {
protected:
    ServerFixture() {
        setenv("TAVIK_MCP_SOCKET", path.c_str(), 1);
        setenv("TAVIK_TEST_TOOLS", R"({"tools":[
            {"name":"ax_snapshot","description":"Look.","inputSchema":{"type":"object"}},
            {"name":"drag","description":"Not for agents."},
            {"name":"type_text","description":"Type.","inputSchema":
                {"type":"object","properties":{"text":{"type":"string"}},"required":["text"]}},
            {"name":"press_key","description":"Press.","inputSchema":7},
            {"name":"press_key","description":"Again."}]})",
               1);
        allowAgents(true);
        server.start();
    }
    ~ServerFixture() override {
        unsetenv("TAVIK_MCP_SOCKET");
        unsetenv("TAVIK_TEST_TOOLS");
    }

    void allowAgents(bool isAllowed) { defaults.set("mcpEnabled", isAllowed); }

    // The text of a call's result, and "!" before it for an error.
    static std::string textOf(const Json& result) {
        return (result["isError"] ? "!" : "") + result["content"][0]["text"].get<std::string>();
    }
    std::string call(const std::string& tool, const Json& arguments = Json::object()) {
        return textOf(SocketClient(path).call(tool, arguments));
    }

    TemporaryFolder folder;
    const std::string path = folder.file("folder/mcp.sock");
    UserDefaults defaults{folder.file("settings.json")};
    FakeApplications applications;
    std::string engine = TAVIK_SCRIPTED_ENGINE;
    MCPHub hub{[this] { return EngineLaunch{engine, {}}; }};
    FakeSpeech* speech = new FakeSpeech; // the announcer's
    Floor floor;
    Announcer announcer{std::unique_ptr<SpeechOutput>(speech), defaults, systemClock(), floor};
    std::string clipboard = "harmless";
    ScriptedBrain* brain = nullptr; // while there is a key
    MCPServer server{{&defaults, &applications, &hub, &announcer,
                      [this](std::stop_token) { return clipboard; },
                      [this](std::stop_token) {
                          return std::unique_ptr<Brain>(std::exchange(brain, nullptr));
                      }}};
};

} // namespace tavik
