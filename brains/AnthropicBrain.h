#pragma once

#include "brains/Brain.h"
#include "platform/concurrency/Clock.h"
#include "platform/http/HttpSession.h"

#include <optional>
#include <string>

namespace tavik {

// Anthropic's models, through its messages interface.
class AnthropicBrain : public Brain {
public:
    struct Settings {
        std::string apiKey;
        std::string model;
        std::string system;                // the system prompt
        std::optional<std::string> effort; // absent: the model has no such control, or decides
        std::string endpoint;              // the full address of the messages interface
    };

    // `http` and `time` outlive the brain.
    AnthropicBrain(Settings chosen, HttpSession& http, Clock& time);

    std::string label() const override;
    BrainReply chat(const std::vector<AgentMessage>& messages, const std::vector<ToolSpec>& tools,
                    std::stop_token stop) override;
    std::string webSearch(const std::string& query, std::stop_token stop) override;

private:
    Json post(Json body, std::stop_token stop) const;

    const Settings settings;
    HttpSession& session;
    Clock& clock;
};

} // namespace tavik
