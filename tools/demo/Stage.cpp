#include "tools/demo/Stage.h"

#include "app/Paths.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/files/AtomicFile.h"
#include "platform/speech/SpeechOutput.h"
#include "tools/demo/Failure.h"
#include "tools/stand-ins/model/DemoRules.h"

#include <cstdlib>

namespace tavik::demo {

namespace {

constexpr const char* microphoneFeed = "microphone-feed";

// The recogniser that listens to the answers understands this voice far better than espeak-ng's.
constexpr const char* answeringModule = "flite";

// The model accepts any key, but wants one.
constexpr const char* anyKey = "demonstration";

AudioDevice monitorOf(AudioDevice output) {
    output.identifier += ".monitor";
    return output;
}

AudioDevice required(std::optional<AudioDevice> device, const char* kind) {
    if (!device)
        throw AudioError(std::string("it has no ") + kind);
    return *device;
}

std::string answeringVoice() {
    for (const Voice& voice : makeSpeechDispatcher()->voices({}))
        if (voice.identifier.starts_with(std::string(answeringModule) + "/"))
            return voice.identifier;
    throw std::runtime_error("speech-dispatcher does not speak with flite (on Debian: package "
                             "speech-dispatcher-flite)");
}

} // namespace

Stage::Stage(const Options& options, const PrivateHome& privateHome)
    : home(privateHome) {
    try {
        if (!options.isLive)
            model = std::make_unique<ScriptedModel>();
        startServices();
        openRecorders();
        writeSettings(options);
    } catch (const std::exception& error) {
        throw Failure(ExitStatus::noServices,
                      std::string("The private services did not start: ") + error.what() + ".");
    }
}

void Stage::startServices() {
    if (model)
        for (ModelRule& rule :
             journal.watching(demoRules(model->servePage(demoPagePath, demoPage))))
            model->addRule(std::move(rule));
    sound = std::make_unique<PrivatePulseAudio>();
    setenv("PULSE_SERVER", sound->server().c_str(), 1);
    speech = std::make_unique<PrivateSpeechDispatcher>(sound->server(), answeringModule);
    setenv("SPEECHD_ADDRESS", speech->address().c_str(), 1);
}

void Stage::openRecorders() {
    audio = makePulseAudioServer();
    microphone =
        std::make_unique<Recorder>(*audio, required(audio->defaultInput({}), "default input"));
    speaker = std::make_unique<Recorder>(
        *audio, monitorOf(required(audio->defaultOutput({}), "default output")));
}

void Stage::writeSettings(const Options& options) const {
    Json settings = {
        {"onboardingDone", true}, {"provider", options.provider}, {"voiceId", answeringVoice()}};
    if (model) {
        settings[options.provider + "Host"] = model->host();
        setenv(keyVariable(options.provider).c_str(), anyKey, 1);
    }
    replaceFile(preferencesPath(), compactJson(settings));
}

std::optional<std::string> Stage::brokenRecording() const {
    const auto reason = microphone->endReason();
    return reason ? reason : speaker->endReason();
}

void Stage::playToMicrophone(const Sound& utterance, std::stop_token stop) {
    const std::string path = home.file("utterance.wav");
    writeSound(path, utterance);
    ChildProcess player(
        {.arguments = {"paplay", "--server=" + sound->server(),
                       std::string("--device=") + microphoneFeed, "--latency-msec=50", path},
         .environment = {},
         .outputPath = "",
         .input = ""});
    while (player.isRunning()) {
        throwIfStopped(stop);
        player.waitFor(std::chrono::milliseconds(50));
    }
    if (player.waitFor({}) != 0)
        throw Failure(ExitStatus::noServices, "The utterance could not be played.");
}

} // namespace tavik::demo
