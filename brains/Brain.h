#pragma once

#include "platform/json/Json.h"

#include <exception>
#include <optional>
#include <stop_token>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

// The provider-neutral vocabulary between the agent and the language models.
namespace tavik {

// One tool offered to the model.
struct ToolSpec {
    std::string name;
    std::string description; // natural language, shown to the model
    Json parameters;         // the JSON Schema of the tool's input, passed on unchanged
};

// One tool invocation that the model asks for.
struct ToolCall {
    std::string id; // the provider's; echoed back in the matching tool result
    std::string name;
    Json args = Json::object();
    Json raw = Json::object(); // the provider's own record, where it must be echoed back verbatim
};

// One answer of the model. Without tool calls it ends the agent's turn.
struct BrainReply {
    std::optional<std::string> text; // absent when the model said nothing; never empty
    std::vector<ToolCall> toolCalls; // in the order the provider listed them
};

// The transcript's entries, in the order of the conversation.
struct UserMessage {
    std::string text;
};
struct AssistantMessage {
    std::optional<std::string> text;
    std::vector<ToolCall> toolCalls;
};
struct ToolResultMessage {
    std::string callID;
    std::string name;
    std::string text;
};
using AgentMessage = std::variant<UserMessage, AssistantMessage, ToolResultMessage>;

// A failure whose message is a complete sentence, fit to be spoken aloud as it stands.
class BrainError : public std::exception {
public:
    explicit BrainError(std::string sentence)
        : message(std::move(sentence)) {}

    const char* what() const noexcept override { return message.c_str(); }

    std::string message;
};

// A language model behind its provider's interface. Safe to use from any thread.
class Brain {
public:
    virtual ~Brain() = default;

    // A short label of the client, provider word and model: "anthropic/claude-haiku-4-5-20251001".
    virtual std::string label() const = 0;

    // Sends the whole transcript and the tools on offer, and blocks for the model's next reply. The
    // system prompt is the client's own. Throws BrainError or Cancelled.
    virtual BrainReply chat(const std::vector<AgentMessage>& messages,
                            const std::vector<ToolSpec>& tools, std::stop_token stop) = 0;

    // Asks the provider's own web search and blocks for an answer in spoken prose. Throws
    // BrainError or Cancelled.
    virtual std::string webSearch(const std::string& query, std::stop_token stop) = 0;
};

} // namespace tavik
