#include "voice/CommandCapture.h"

#include "app/Log.h"
#include "platform/recognition/Transcriber.h"
#include "platform/text/Text.h"
#include "voice/VoiceDetector.h"

namespace tavik {

namespace {

// Connects the audio thread with an utterance for as long as it lives.
class CaptureStream {
public:
    CaptureStream(SharedVoiceState& sharedState, Utterance& utterance, Clock::Instant now)
        : state(sharedState) {
        state.with([&](VoiceState& shared) {
            resetVoiceDetector(shared, now);
            shared.commandCont = &utterance;
            shared.mode = VoiceState::Mode::command;
        });
    }
    ~CaptureStream() {
        state.with([](VoiceState& shared) {
            shared.commandCont = nullptr;
            shared.mode = VoiceState::Mode::wake;
        });
    }
    CaptureStream(const CaptureStream&) = delete;
    CaptureStream& operator=(const CaptureStream&) = delete;

private:
    SharedVoiceState& state;
};

} // namespace

CommandCapture::CommandCapture(Clock& theClock, SharedVoiceState& sharedState,
                               Transcriber& theTranscriber)
    : clock(theClock)
    , state(sharedState)
    , transcriber(theTranscriber) {}

std::string CommandCapture::transcribeCommand(Clock::Duration onsetTimeout,
                                              const std::function<bool()>& isAbandoned,
                                              std::stop_token stop) {
    try {
        const auto utterance = transcriber.begin();
        End end = End::notYet;
        {
            const CaptureStream stream(state, *utterance, clock.now());
            end = waitForEnd(onsetTimeout, isAbandoned, stop);
        }
        return end == End::complete ? trimmed(utterance->finish(std::move(stop))) : "";
    } catch (const TranscriberError& error) {
        log(std::string("[stt] transcriber error: ") + error.what());
        return "";
    }
}

CommandCapture::End CommandCapture::waitForEnd(Clock::Duration onsetTimeout,
                                               const std::function<bool()>& isAbandoned,
                                               std::stop_token stop) {
    const auto started = clock.now();
    while (true) {
        clock.sleepFor(tuning::CAPTURE_POLL, stop);
        if (isAbandoned())
            return End::givenUp;
        if (const End end = judge(started, onsetTimeout); end != End::notYet)
            return end;
    }
}

CommandCapture::End CommandCapture::judge(Clock::Instant started, Clock::Duration onsetTimeout) {
    const auto now = clock.now();
    return state.with([&](const VoiceState& shared) {
        if (shared.sessionCancelled)
            return End::givenUp;
        if (!shared.heardSpeech)
            return now - started > onsetTimeout ? End::nothingHeard : End::notYet;
        if (now - shared.lastVoiceTime > tuning::END_SILENCE || now - started > tuning::MAX_COMMAND)
            return End::complete;
        return End::notYet;
    });
}

} // namespace tavik
