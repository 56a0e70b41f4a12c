#include "brains/AnthropicBrain.h"
#include "brains/BrainConnection.h"
#include "brains/OpenAICompatibleBrain.h"
#include "fuzz/FixedReply.h"
#include "fuzz/Targets.h"
#include "platform/text/Text.h"

#include <cstdlib>

namespace tavik::fuzz {

namespace {

constexpr const char* words[] = {"anthropic", "openai", "gemini", "xai"};
constexpr const char* host = "https://api.test";

std::unique_ptr<Brain> brainOf(const std::string& word, HttpSession& session) {
    if (word == "anthropic")
        return std::make_unique<AnthropicBrain>(
            AnthropicBrain::Settings{"key", "m", "Be brief.", {}, host}, session, systemClock());
    return std::make_unique<OpenAICompatibleBrain>(
        OpenAICompatibleBrain::Settings{"key", "m", host, word, "Be brief.", {}, host}, session,
        systemClock());
}

// Reads a reply, and sends it back as part of the next request.
void converse(Brain& brain) {
    const BrainReply reply = brain.chat({UserMessage{"hi"}}, {}, {});
    check(!reply.text || !reply.text->empty());
    std::vector<AgentMessage> transcript = {UserMessage{"hi"},
                                            AssistantMessage{reply.text, reply.toolCalls}};
    for (const ToolCall& call : reply.toolCalls) {
        check(call.args.is_object());
        transcript.push_back(ToolResultMessage{call.id, call.name, compactJson(call.args)});
    }
    check(brain.chat(transcript, {}, {}).toolCalls.size() == reply.toolCalls.size());
}

} // namespace

void readBrainReply(std::string_view input) {
    if (input.empty())
        return;
    const auto choice = static_cast<unsigned char>(input.front());
    const std::string word = words[choice % 4];
    FixedReply session(
        {.status = choice & 16 ? 400 : 200, .headers = {}, .body = std::string(input.substr(1))});
    const auto brain = brainOf(word, session);
    UserDefaults defaults("/nonexistent");
    try {
        if (choice & 8)
            BrainConnection(defaults, session).check(word, "key", "m", {});
        else if (choice & 4)
            check(!brain->webSearch("rain", {}).empty());
        else
            converse(*brain);
    } catch (const BrainError& error) {
        check(isValidUtf8(error.message) && error.message.ends_with("."));
    }
}

} // namespace tavik::fuzz
