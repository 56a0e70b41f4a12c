#include "app/AppServices.h"

#include "agent/AgentSession.h"
#include "app/OpenTranscriber.h"
#include "app/Paths.h"
#include "brains/MakeBrain.h"
#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/inference/AudioNetwork.h"
#include "voice/VoiceTuning.h"

namespace tavik {

namespace {

constexpr std::size_t wakeClasses = 2;

std::unique_ptr<AudioNetwork> loadWakeModel() {
    return loadAudioNetwork(resourcePath("HeyVessa_runtime.onnx"), tuning::WAKE_WINDOW,
                            wakeClasses);
}

std::unique_ptr<AgentSession> startAgentSession(std::shared_ptr<Brain> brain,
                                                std::string sessionID) {
    return std::make_unique<AgentSession>(std::move(brain), std::move(sessionID));
}

} // namespace

AppServices::AppServices(const std::function<void(const std::string&)>& notify)
    : memory(notify)
    , audioServer(makePulseAudioServer())
    , speech(makeSpeechDispatcher()) {}

VoiceServices AppServices::forVoice() {
    return VoiceServices{
        .clock = systemClock(),
        .defaults = UserDefaults::standard(),
        .audio = *audioServer,
        .speech = *speech,
        .openTranscriber = openTranscriber,
        .loadWakeModel = loadWakeModel,
        .prepareBrain =
            [this] {
                background.async([](std::stop_token stop) { prepareBrain(std::move(stop)); });
            },
        .makeBrain =
            [](std::stop_token stop) { return std::shared_ptr<Brain>(makeBrain(std::move(stop))); },
        .makeAgentSession = startAgentSession,
        .remember = [this](const std::string& sessionID, const std::string& role,
                           const std::string& text) { memory.remember(sessionID, role, text); },
        .onConversationEnd =
            [this](const std::string& sessionID) { memory.conversationEnded(sessionID); },
    };
}

} // namespace tavik
