#pragma once

#include "brains/Brain.h"
#include "platform/concurrency/Clock.h"
#include "platform/http/HttpSession.h"

#include <optional>
#include <string>
#include <vector>

namespace tavik {

// The models of every provider that speaks the chat-completions dialect. The provider word selects
// the few differences: the key of the token limit, and the web search, which each does its own way.
class OpenAICompatibleBrain : public Brain {
public:
    struct Settings {
        std::string apiKey;
        std::string model;
        std::string baseURL;                        // the full address of the chat completions
        std::string providerName;                   // "openai", "gemini" or "xai"
        std::string system;                         // the system prompt
        std::optional<std::string> reasoningEffort; // absent: no such control, or the model decides
        std::string host;                           // the address before the provider's other paths
    };

    // `http` and `time` outlive the brain.
    OpenAICompatibleBrain(Settings chosen, HttpSession& http, Clock& time);

    std::string label() const override;
    BrainReply chat(const std::vector<AgentMessage>& messages, const std::vector<ToolSpec>& tools,
                    std::stop_token stop) override;
    std::string webSearch(const std::string& query, std::stop_token stop) override;

    // The calls of a reply's "tool_calls" (null: there is no such member), all of them or none.
    // Throws BrainError when anything about them is incomplete.
    static std::vector<ToolCall> parseToolCalls(const Json* value);

private:
    Json chatBody(const std::vector<AgentMessage>& messages,
                  const std::vector<ToolSpec>& tools) const;
    HttpRequest makeRequest(const std::string& url) const;
    Json post(HttpRequest request, const Json& body, std::stop_token stop) const;

    std::string searchWithResponses(const std::string& query, std::stop_token stop) const;
    std::string searchWithGemini(const std::string& query, std::stop_token stop) const;
    std::string searchWithXai(const std::string& query, std::stop_token stop) const;

    const Settings settings;
    HttpSession& session;
    Clock& clock;
};

} // namespace tavik
