#pragma once

#include "agent/AgentSession.h"
#include "platform/concurrency/Task.h"
#include "voice/CommandCapture.h"
#include "voice/Speaker.h"
#include "voice/VoiceServices.h"
#include "voice/VoiceState.h"

#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace tavik {

// One conversation, from the wake to the last follow-up: command, thinking, answer, and again.
class Conversation {
public:
    Conversation(const VoiceServices& services, const VoiceCallbacks& callbacks,
                 SharedVoiceState& state, Transcriber& transcriber);
    ~Conversation();

    // Blocks until the conversation is over. `verify` tells whether the wake phrase that began it
    // was genuine; none when the user began it by hand. Throws Cancelled.
    void run(Task<bool>* verify, std::stop_token stop);

private:
    enum class Next { listen, end };

    std::string captureFirstCommand(Task<bool>* verify, std::stop_token stop);
    std::string captureNextCommand(std::stop_token stop);
    Next respond(const std::string& command, bool isFollowUp, std::stop_token stop);
    Next answer(const std::string& command, std::stop_token stop);
    Next concludeAnswer(const AgentResult& result);
    AgentResult think(const std::string& command, std::stop_token stop);
    void apologise(const std::exception& error, const std::string& sentence, std::stop_token stop);
    void speak(const std::string& text, std::stop_token stop);
    bool hasSession(std::stop_token stop);
    void remember(const std::string& role, const std::string& text);
    bool isCancelled();
    bool isInterrupted();

    const VoiceServices& services;
    const VoiceCallbacks& callbacks;
    SharedVoiceState& state;
    const std::string sessionID;
    bool isRemembered = false; // at least a part of it
    CommandCapture capture;
    Speaker speaker;
    std::unique_ptr<AgentSession> session; // made for the first command
};

} // namespace tavik
