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
    CaptureStream(SharedVoiceState& sharedState, Utterance& utterance, Clock::Instant now,
                  Clock::Duration onsetTimeout)
        : state(sharedState) {
        state.with([&](VoiceState& shared) {
            resetVoiceDetector(shared, now, onsetTimeout);
            shared.commandCont = &utterance;
            shared.mode = VoiceState::Mode::command;
            // Nothing fills the rings meanwhile: a wake phrase in them would be heard again.
            shared.ring.clear();
            shared.sttRing.clear();
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
        const auto utterance = transcriber.begin(stop);
        End end = End::notYet;
        {
            const CaptureStream stream(state, *utterance, clock.now(), onsetTimeout);
            end = waitForEnd(isAbandoned, stop);
        }
        return end == End::complete ? trimmed(utterance->finish(std::move(stop))) : "";
    } catch (const TranscriberError& error) {
        log(std::string("[stt] transcriber error: ") + error.what());
        return "";
    }
}

CommandCapture::End CommandCapture::waitForEnd(const std::function<bool()>& isAbandoned,
                                               std::stop_token stop) {
    const auto started = clock.now();
    while (true) {
        clock.sleepFor(tuning::CAPTURE_POLL, stop);
        if (isAbandoned())
            return End::nothingHeard;
        if (const End end = judge(started); end != End::notYet)
            return end;
    }
}

CommandCapture::End CommandCapture::judge(Clock::Instant started) {
    const auto now = clock.now();
    return state.with([&](const VoiceState& shared) {
        const auto heard = heardUntil(shared, now);
        if (!shared.heardSpeech)
            return heard >= shared.onsetDeadline ? End::nothingHeard : End::notYet;
        if (shared.isCommandOver || heard - shared.lastVoiceTime >= tuning::END_SILENCE ||
            now - started >= tuning::MAX_COMMAND)
            return End::complete;
        return End::notYet;
    });
}

} // namespace tavik
