#pragma once

#include "agent/AgentResult.h"
#include "agent/DesktopToolbox.h"
#include "agent/Guardrails.h"
#include "agent/SessionID.h"
#include "agent/Transcript.h"
#include "brains/Brain.h"
#include "platform/concurrency/Clock.h"
#include "platform/desktop/Clipboard.h"
#include "platform/desktop/DesktopContext.h"

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>

namespace tavik {

// What a session takes from around it; as it stands, the real things.
struct AgentSurroundings {
    // Nothing when no toolbox can be had. May throw Cancelled.
    std::function<std::optional<DesktopToolbox>(std::stop_token)> buildToolbox =
        [](std::stop_token stop) { return DesktopToolbox::build(std::move(stop)); };
    // A note about the last conversation but the one with this identifier, if there is one.
    std::function<std::optional<std::string>(const std::string& sessionID)> recap =
        [](const std::string& sessionID) {
            return MemoryStore::shared().recentRecapContext(sessionID);
        };
    // This and the next one throw Cancelled when they are stopped.
    std::function<DesktopContext(std::stop_token)> readContext = readDesktopContext;
    ClipboardReader clipboard = clipboardText; // what would be pasted
    Clock* clock = &systemClock();
};

// One spoken conversation with a language model. Each command is put to the model with a line about
// the desktop; the tools that the model asks for are run and their results go back to it, until it
// answers. Dangerous actions wait for the user's yes in the next command. For one thread at a time.
class AgentSession {
public:
    explicit AgentSession(std::shared_ptr<Brain> model, std::string identifier = makeSessionID(),
                          AgentSurroundings around = {});

    // Carries out one command and returns what is to be spoken. `isCancelled`, which may be empty,
    // is asked between the steps, so that a command can be given up while one of them runs; the
    // text is then empty. A stop request interrupts the step itself and ends in an empty text or in
    // Cancelled. Throws BrainError, after which the next command can continue the conversation.
    AgentResult handle(const std::string& command, const std::function<bool()>& isCancelled,
                       std::stop_token stop);

    const std::string& sessionID() const { return identity; }
    const std::vector<AgentMessage>& messages() const { return transcript.messages(); }

private:
    const DesktopToolbox& readyToolbox(std::stop_token stop);
    std::string userText(const std::string& command, std::stop_token stop) const;
    void beginTurn(const std::string& command, std::stop_token stop);

    const std::shared_ptr<Brain> brain;
    const std::string identity;
    const AgentSurroundings surroundings;
    std::optional<DesktopToolbox> toolbox; // built for the first command
    Transcript transcript;
    Guardrails guardrails;
    int userTurn = 0;
};

} // namespace tavik
