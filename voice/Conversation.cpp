#include "voice/Conversation.h"

#include "agent/SessionID.h"
#include "app/Log.h"
#include "brains/Brain.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"
#include "voice/PhraseMatching.h"

#include <fmt/format.h>

namespace tavik {

namespace {

// Marks a conversation as going on, for as long as it lives.
class ActiveSession {
public:
    explicit ActiveSession(SharedVoiceState& sharedState)
        : state(sharedState) {
        state.with([](VoiceState& shared) {
            shared.sessionActive = true;
            shared.sessionCancelled = false;
            shared.interruptRequested = false;
        });
    }
    ~ActiveSession() {
        state.with([](VoiceState& shared) { shared.sessionActive = false; });
    }
    ActiveSession(const ActiveSession&) = delete;
    ActiveSession& operator=(const ActiveSession&) = delete;

private:
    SharedVoiceState& state;
};

} // namespace

Conversation::Conversation(const VoiceServices& voiceServices, const VoiceCallbacks& voiceCallbacks,
                           SharedVoiceState& sharedState, Transcriber& transcriber)
    : services(voiceServices)
    , callbacks(voiceCallbacks)
    , state(sharedState)
    , sessionID(makeSessionID())
    , capture(voiceServices.clock, sharedState, transcriber)
    , speaker(voiceServices, sharedState) {}

Conversation::~Conversation() {
    if (isRemembered)
        services.onConversationEnd(sessionID);
}

void Conversation::run(Task<bool>* verify, std::stop_token stop) {
    const ActiveSession active(state);
    callbacks.onPhase({TavikPhase::Kind::listening, ""});
    std::string command = captureFirstCommand(verify, stop);
    bool isFollowUp = false;
    while (!isCancelled() && !command.empty()) {
        if (respond(command, isFollowUp, stop) == Next::end || isCancelled())
            break;
        command = captureNextCommand(stop);
        isFollowUp = true;
    }
    if (isCancelled())
        log("✋ conversation cancelled (orb click)");
}

std::string Conversation::captureFirstCommand(Task<bool>* verify, std::stop_token stop) {
    std::optional<bool> isGenuine;
    const auto isRejected = [&] {
        if (verify && !isGenuine && verify->isDone())
            isGenuine = verify->get();
        return isGenuine == false;
    };
    std::string command = capture.transcribeCommand(tuning::ONSET_TIMEOUT, isRejected, stop);
    if (!verify || isCancelled())
        return command;
    if (!isGenuine) {
        const auto forwarding = verify->cancelWith(stop);
        isGenuine = verify->get();
    }
    if (!*isGenuine) {
        log("🔕 wake rejected — audio didn't transcribe to \"Vessa\"");
        return "";
    }
    if (command.empty())
        log("🔕 wake confirmed but nothing was said — treating as a false trigger");
    return command;
}

std::string Conversation::captureNextCommand(std::stop_token stop) {
    callbacks.onPhase({TavikPhase::Kind::listening, ""});
    if (isInterrupted()) {
        log("✋ interrupted — listening for the new command");
        services.clock.sleepFor(tuning::BARGE_IN_PAUSE, stop);
        state.with([](VoiceState& shared) { shared.interruptRequested = false; });
    } else {
        log("👂 listening for a follow-up…");
    }
    return capture.transcribeCommand(
        tuning::FOLLOWUP_WINDOW, [] { return false; }, std::move(stop));
}

Conversation::Next Conversation::respond(const std::string& command, bool isFollowUp,
                                         std::stop_token stop) {
    log(fmt::format("[voice] command received: {} characters, follow-up: {}",
                    characterCount(command), isFollowUp));
    remember("user", command);
    if (isPausePhrase(command)) {
        log("🔇 pause phrase — pausing listening completely");
        callbacks.onPauseListening();
        return Next::end;
    }
    if (isStopPhrase(command)) {
        log("🛑 stop phrase — ending the conversation");
        return Next::end;
    }
    if (!hasSession(stop)) {
        speak("No A P I key is set. Add one in Tavik's settings.", std::move(stop));
        return Next::end;
    }
    return answer(command, std::move(stop));
}

// The brain is made once a conversation, so that changed settings count from the next one on.
bool Conversation::hasSession(std::stop_token stop) {
    if (session)
        return true;
    auto brain = services.makeBrain(std::move(stop));
    if (brain)
        session = services.makeAgentSession(std::move(brain), sessionID);
    return session != nullptr;
}

void Conversation::remember(const std::string& role, const std::string& text) {
    services.remember(sessionID, role, text);
    isRemembered = true;
}

Conversation::Next Conversation::answer(const std::string& command, std::stop_token stop) {
    try {
        callbacks.onPhase({TavikPhase::Kind::thinking, ""});
        const AgentResult result = think(command, stop);
        log(fmt::format("[voice] answer received: {} characters", characterCount(result.text)));
        if (!result.text.empty()) {
            remember("assistant", result.text);
            speak(result.text, stop);
        }
        return concludeAnswer(result);
    } catch (const Cancelled&) {
        // Our own end, or only that of the thinking: an interruption or the orb.
        throwIfStopped(stop);
    } catch (const BrainError& error) {
        apologise(error, error.message, stop);
    } catch (const std::exception& error) {
        apologise(error, "", stop);
    }
    return Next::listen;
}

Conversation::Next Conversation::concludeAnswer(const AgentResult& result) {
    switch (result.outcome) {
    case AgentOutcome::endConversation:
        log("🛑 end_conversation — ending the conversation");
        return Next::end;
    case AgentOutcome::pauseListening:
        log("🔇 pause_listening — pausing listening completely");
        callbacks.onPauseListening();
        return Next::end;
    case AgentOutcome::normal:
        break;
    }
    return Next::listen;
}

AgentResult Conversation::think(const std::string& command, std::stop_token stop) {
    std::stop_source task;
    const std::stop_callback withTheLoop(stop, [&task] { task.request_stop(); });
    const bool isAlreadyOver = state.with([&](VoiceState& shared) {
        shared.agentTask = task;
        return shared.interruptRequested || shared.sessionCancelled;
    });
    if (isAlreadyOver)
        throw Cancelled();
    return session->handle(
        command, [this] { return isInterrupted() || isCancelled(); }, task.get_token());
}

void Conversation::apologise(const std::exception& error, const std::string& sentence,
                             std::stop_token stop) {
    log("[brain] request failed");
    log(std::string("brain error: ") + error.what());
    speak(sentence.empty() ? "Sorry, something went wrong." : sentence, std::move(stop));
}

void Conversation::speak(const std::string& text, std::stop_token stop) {
    callbacks.onPhase({TavikPhase::Kind::speaking, ""});
    speaker.speakAndWait(text, std::move(stop));
}

bool Conversation::isCancelled() {
    return state.with([](const VoiceState& shared) { return shared.sessionCancelled; });
}

bool Conversation::isInterrupted() {
    return state.with([](const VoiceState& shared) { return shared.interruptRequested; });
}

} // namespace tavik
