#pragma once

#include "agent/AgentSession.h"
#include "platform/concurrency/Task.h"
#include "voice/CommandCapture.h"
#include "voice/Speaker.h"
#include "voice/VoiceServices.h"
#include "voice/VoiceState.h"

#include <memory>
#include <stop_token>
#include <string>

namespace tavik {

struct Ears;

// One conversation, from the wake to the last follow-up: command, thinking, answer, and again.
class Conversation {
public:
    Conversation(const VoiceServices& services, const VoiceCallbacks& callbacks,
                 SharedVoiceState& state, Ears& ears);
    ~Conversation();

    // Blocks until the conversation is over. `verify` tells whether the wake phrase that began it
    // was genuine; none when the user began it by hand. Throws Cancelled.
    void run(Task<bool>* verify, std::stop_token stop);

private:
    enum class Next {
        end,
        followUp,   // to what was answered
        newCommand, // in place of the answer, which was interrupted
    };

    void converse(Task<bool>* verify, std::stop_token stop);
    std::string captureFirstCommand(Task<bool>* verify, std::stop_token stop);
    std::string captureNextCommand(Next next, std::stop_token stop);
    Next respond(const std::string& command, bool isFollowUp, std::stop_token stop);
    bool hasSession(std::stop_token stop);
    Next answer(const std::string& command, std::stop_token stop);
    Next thinkAndSpeak(const std::string& command, std::stop_token stop);
    Next conclude(const AgentResult& result);
    void apologise(const std::exception& error, const std::string& sentence, std::stop_token stop);
    void speak(const std::string& text, std::stop_token stop);
    void remember(const std::string& role, const std::string& text);

    const VoiceServices& services;
    const VoiceCallbacks& callbacks;
    SharedVoiceState& state;
    Ears& ears;
    const std::string sessionID;
    bool isRemembered = false; // at least a part of it
    CommandCapture capture;
    Speaker speaker;
    std::unique_ptr<AgentSession> session; // made for the first command
};

} // namespace tavik
