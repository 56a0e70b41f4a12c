#pragma once

#include "platform/audio/AudioServer.h"
#include "tools/demo/ModelJournal.h"
#include "tools/demo/Options.h"
#include "tools/demo/PrivateHome.h"
#include "tools/demo/Recorder.h"
#include "tools/stand-ins/model/ScriptedModel.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"
#include "tools/stand-ins/services/PrivateSpeechDispatcher.h"

#include <memory>
#include <stop_token>

namespace tavik::demo {

// All that tavik needs around it: sound, speech, a model and the settings that lead to them, with
// both ends of the sound being recorded. For the main thread, since its children end with it.
class Stage {
public:
    // Throws Failure (noServices).
    Stage(const Options& options, const PrivateHome& home);

    // Plays into the microphone and blocks until all of it is played. Throws Failure, Cancelled.
    void playToMicrophone(const Sound& sound, std::stop_token stop);

    Recording heardByMicrophone() const { return microphone->soFar(); }
    Recording saidAloud() const { return speaker->soFar(); }
    // Why a recording ended by itself; nothing when both go on.
    std::optional<std::string> brokenRecording() const;
    std::vector<Exchange> exchanges() const { return journal.exchanges(); }

    PrivatePulseAudio& soundServer() { return *sound; }
    PrivateSpeechDispatcher& speechService() { return *speech; }
    // Not there when the real provider is asked.
    ScriptedModel& scriptedModel() { return *model; }

private:
    void startServices();
    void openRecorders();
    void writeSettings(const Options& options) const;

    const PrivateHome& home;
    ModelJournal journal;
    std::unique_ptr<ScriptedModel> model; // none when the real provider is asked
    std::unique_ptr<PrivatePulseAudio> sound;
    std::unique_ptr<PrivateSpeechDispatcher> speech;
    std::unique_ptr<AudioServer> audio;
    std::unique_ptr<Recorder> microphone;
    std::unique_ptr<Recorder> speaker;
};

} // namespace tavik::demo
