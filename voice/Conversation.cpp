#include "voice/Conversation.h"

#include "agent/SessionID.h"
#include "app/Log.h"
#include "brains/Brain.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/text/Text.h"
#include "voice/Cues.h"
#include "voice/Ears.h"
#include "voice/InterruptWatcher.h"
#include "voice/PhraseMatching.h"

#include <fmt/format.h>
#include <optional>

namespace tavik {

namespace {

using Ends = std::stop_source VoiceState::*;

// A part of the loop's work that others can end, for as long as it lives; it ends with the whole
// that it is a part of, too.
class Stoppable {
public:
    Stoppable(SharedVoiceState& sharedState, Ends stoppedBy, std::stop_token whole)
        : state(sharedState)
        , place(stoppedBy)
        , withTheWhole(std::move(whole), Forward{source}) {
        put(source);
    }
    ~Stoppable() { put(std::stop_source(std::nostopstate)); }
    Stoppable(const Stoppable&) = delete;
    Stoppable& operator=(const Stoppable&) = delete;

    std::stop_token token() const { return source.get_token(); }

private:
    struct Forward {
        std::stop_source& source;
        void operator()() const { source.request_stop(); }
    };

    void put(const std::stop_source& ends) {
        state.with([&](VoiceState& shared) {
            shared.*place = ends;
            shared.sessionActive = shared.sessionCancelled.stop_possible();
        });
    }

    SharedVoiceState& state;
    const Ends place;
    std::stop_source source;
    std::stop_callback<Forward> withTheWhole;
};

} // namespace

Conversation::Conversation(const VoiceServices& voiceServices, const VoiceCallbacks& voiceCallbacks,
                           SharedVoiceState& sharedState, Ears& theEars)
    : services(voiceServices)
    , callbacks(voiceCallbacks)
    , state(sharedState)
    , ears(theEars)
    , sessionID(makeSessionID())
    , capture(voiceServices.clock, sharedState, *theEars.commands)
    , speaker(voiceServices, sharedState) {}

Conversation::~Conversation() {
    if (isRemembered)
        services.onConversationEnd(sessionID);
}

void Conversation::run(Task<bool>* verify, std::stop_token stop) {
    const Stoppable untilTheOrbIsClicked(state, &VoiceState::sessionCancelled, stop);
    const InterruptWatcher watcher(services, state, ears);
    try {
        converse(verify, untilTheOrbIsClicked.token());
    } catch (const Cancelled&) {
        throwIfStopped(stop);
        log("✋ conversation cancelled (orb click)");
    }
}

void Conversation::converse(Task<bool>* verify, std::stop_token stop) {
    callbacks.onPhase({TavikPhase::Kind::listening, ""});
    std::string command = captureFirstCommand(verify, stop);
    for (bool isFollowUp = false; !command.empty(); isFollowUp = true) {
        throwIfStopped(stop);
        const Next next = respond(command, isFollowUp, stop);
        if (next == Next::end)
            break;
        throwIfStopped(stop);
        command = captureNextCommand(next, stop);
    }
    throwIfStopped(stop);
}

std::string Conversation::captureFirstCommand(Task<bool>* verify, std::stop_token stop) {
    std::optional<bool> isGenuine;
    const auto isRejected = [&] {
        if (verify && !isGenuine && verify->isDone())
            isGenuine = verify->get();
        return isGenuine == false;
    };
    std::string command = capture.transcribeCommand(tuning::ONSET_TIMEOUT, isRejected, stop);
    if (!verify)
        return command;
    while (!isGenuine && !verify->isDone())
        services.clock.sleepFor(tuning::VERIFY_POLL, stop);
    if (isRejected()) {
        log("🔕 wake rejected — audio didn't transcribe to \"Vessa\"");
        return "";
    }
    if (command.empty())
        log("🔕 wake confirmed but nothing was said — treating as a false trigger");
    return command;
}

std::string Conversation::captureNextCommand(Next next, std::stop_token stop) {
    callbacks.onPhase({TavikPhase::Kind::listening, ""});
    if (next == Next::newCommand) {
        log("✋ interrupted — listening for the new command");
        playCue(services.audio, Cue::pop, stop);
        services.clock.sleepFor(tuning::BARGE_IN_PAUSE, stop);
    } else {
        log("👂 listening for a follow-up…");
    }
    return capture.transcribeCommand(tuning::FOLLOWUP_WINDOW, std::move(stop));
}

Conversation::Next Conversation::respond(const std::string& command, bool isFollowUp,
                                         std::stop_token stop) {
    log(fmt::format("[voice] command received: {} characters, follow-up: {}",
                    characterCount(command), isFollowUp));
    remember("user", command);
    if (isPausePhrase(command)) {
        log("🔇 pause phrase — pausing listening completely");
        playCue(services.audio, Cue::basso, stop);
        callbacks.onPauseListening();
        return Next::end;
    }
    if (isStopPhrase(command)) {
        log("🛑 stop phrase — ending the conversation");
        playCue(services.audio, Cue::tink, stop);
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

Conversation::Next Conversation::answer(const std::string& command, std::stop_token stop) {
    const Stoppable untilInterrupted(state, &VoiceState::interruptRequested, stop);
    try {
        return thinkAndSpeak(command, untilInterrupted.token());
    } catch (const Cancelled&) {
        throwIfStopped(stop);
        return Next::newCommand;
    }
}

Conversation::Next Conversation::thinkAndSpeak(const std::string& command, std::stop_token stop) {
    try {
        callbacks.onPhase({TavikPhase::Kind::thinking, ""});
        const auto isInterrupted = [&stop] { return stop.stop_requested(); };
        const AgentResult result = session->handle(command, isInterrupted, stop);
        if (result.text.empty())
            throwIfStopped(stop);
        log(fmt::format("[voice] answer received: {} characters", characterCount(result.text)));
        if (!result.text.empty()) {
            remember("assistant", result.text);
            speak(result.text, stop);
        }
        return conclude(result);
    } catch (const Cancelled&) {
        throw;
    } catch (const BrainError& error) {
        apologise(error, error.message, std::move(stop));
    } catch (const std::exception& error) {
        apologise(error, "", std::move(stop));
    }
    return Next::followUp;
}

Conversation::Next Conversation::conclude(const AgentResult& result) {
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
    return Next::followUp;
}

void Conversation::apologise(const std::exception& error, const std::string& sentence,
                             std::stop_token stop) {
    log("[brain] request failed");
    log(std::string("brain error: ") + error.what());
    speak(sentence.empty() ? "Sorry, something went wrong." : sentence, std::move(stop));
}

void Conversation::speak(const std::string& text, std::stop_token stop) {
    throwIfStopped(stop);
    callbacks.onPhase({TavikPhase::Kind::speaking, ""});
    speaker.speakAndWait(text, std::move(stop));
}

void Conversation::remember(const std::string& role, const std::string& text) {
    services.remember(sessionID, role, text);
    isRemembered = true;
}

} // namespace tavik
