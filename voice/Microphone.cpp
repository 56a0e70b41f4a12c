#include "voice/Microphone.h"

#include "app/Log.h"
#include "platform/audio/Resampler.h"
#include "platform/concurrency/Clock.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/recognition/Transcriber.h"
#include "voice/VoiceDetector.h"

#include <algorithm>
#include <fmt/format.h>

namespace tavik {

namespace {

std::string nameOf(const std::optional<AudioDevice>& device) {
    return device ? device->name : "none";
}

std::optional<std::uint32_t> idOf(const std::optional<AudioDevice>& device) {
    return device ? std::optional(device->id) : std::nullopt;
}

template<typename Step>
void orSayWhy(Step step) {
    try {
        step();
    } catch (const AudioError& error) {
        throw MicrophoneError(std::string("Microphone start failed: ") + error.what());
    }
}

} // namespace

struct Microphone::Engine {
    explicit Engine(const AudioFormat& format)
        : converter(format, tuning::SAMPLE_RATE) {}

    Resampler converter;                   // used on the audio thread
    std::unique_ptr<AudioCapture> capture; // last: it stops calling before the converter goes
};

Microphone::Microphone(const VoiceServices& voiceServices, const VoiceCallbacks& voiceCallbacks,
                       SharedVoiceState& sharedState,
                       std::function<void(const std::string&)> failed)
    : services(voiceServices)
    , callbacks(voiceCallbacks)
    , state(sharedState)
    , watchdog(voiceServices.clock, sharedState,
               {
                   .rebuild =
                       [this](const std::stop_token& stop) {
                           goDeaf();
                           engine.reset();
                           buildEngine(stop);
                       },
                   .routeIsUnchanged =
                       [this](const std::stop_token& stop) { return routeIsUnchanged(stop); },
                   .failed = std::move(failed),
               }) {}

Microphone::~Microphone() {
    services.audio.watchRoutes({}, {});
    watchdog.stop();
    engine.reset();
}

// The route is watched first, so that no change is missed that comes while the engine is built.
void Microphone::start(std::stop_token stop) {
    orSayWhy([&] { services.audio.watchRoutes([this] { watchdog.routeChanged(); }, stop); });
    buildEngine(stop);
    watchdog.start();
}

void Microphone::buildEngine(const std::stop_token& stop) {
    orSayWhy([&] { open(chooseInput(stop), stop); });
}

AudioDevice Microphone::chooseInput(const std::stop_token& stop) {
    const std::string name = savedName();
    if (name.empty())
        return defaultInput(stop);
    const auto saved = connectedInput(name, stop);
    if (!saved) {
        log(fmt::format("[mic] ⚠ saved device \"{}\" not found — using system default", name));
        callbacks.onNotice(
            fmt::format("Saved mic \"{}\" isn't connected — using the system default input.", name),
            true);
        return defaultInput(stop);
    }
    if (!services.audio.setDefaultInputConfirmed(*saved, stop))
        throw MicrophoneError(
            fmt::format("Couldn't switch the mic to \"{}\" — the OS never confirmed "
                        "it. Pick another input in Settings.",
                        name));
    log(fmt::format("[mic] input {} (confirmed live)", name));
    return *saved;
}

std::string Microphone::savedName() const {
    return services.defaults.string("micDevice").value_or("");
}

std::optional<AudioDevice> Microphone::connectedInput(const std::string& name,
                                                      std::stop_token stop) {
    const auto inputs = services.audio.inputs(std::move(stop));
    const auto found = std::find_if(inputs.begin(), inputs.end(),
                                    [&](const AudioDevice& input) { return input.name == name; });
    return found == inputs.end() ? std::nullopt : std::optional(*found);
}

// After the desktop has started, or a device has gone, a server takes a moment to choose another.
AudioDevice Microphone::defaultInput(const std::stop_token& stop) {
    const auto deadline = services.clock.now() + tuning::DEFAULT_INPUT_TIMEOUT;
    while (services.clock.now() < deadline) {
        if (auto input = services.audio.defaultInput(stop))
            return *input;
        services.clock.sleepFor(tuning::DEFAULT_INPUT_POLL, stop);
    }
    throw AudioError("no microphone is connected");
}

void Microphone::open(const AudioDevice& device, const std::stop_token& stop) {
    if (device.format.sampleRate == 0 || device.format.channelCount == 0)
        throw MicrophoneError(
            "The selected microphone isn't providing audio (invalid format). Pick "
            "another input in Settings.");
    log("[mic] negotiated format: " + describe(device.format));
    state.with([](VoiceState& shared) { shared.everReceivedTap = false; });
    engine = record(device, stop);
    const auto output = services.audio.defaultOutput(stop);
    boundInputID = device.id;
    boundOutputID = idOf(output);
    log(fmt::format("[mic] engine running (input {}, output {})", device.name, nameOf(output)));
    watchdog.arm();
}

std::unique_ptr<Microphone::Engine> Microphone::record(const AudioDevice& device,
                                                       std::stop_token stop) {
    std::unique_ptr<Engine> opened;
    try {
        opened = std::make_unique<Engine>(device.format);
    } catch (const AudioError&) {
        throw MicrophoneError("Couldn't set up audio conversion for this microphone.");
    }
    opened->capture = services.audio.openCapture(
        device,
        [this, &owner = *opened](std::span<const float> samples, const AudioFormat&) {
            handleTap(owner, samples);
        },
        [this](const std::string& reason) {
            log("[mic] ⚠ the recording ended: " + reason);
            goDeaf();
            watchdog.captureLost();
        },
        std::move(stop));
    return opened;
}

void Microphone::handleTap(Engine& owner, std::span<const float> samples) {
    const auto mono = owner.converter.process(samples);
    const double level = rootMeanSquare(mono);
    const auto now = services.clock.now();
    state.with([&](VoiceState& shared) {
        shared.everReceivedTap = true;
        if (shared.mode == VoiceState::Mode::wake) {
            shared.deafSince.reset();
            shared.ring.append(mono);
            shared.sttRing.append(mono);
        } else if (shared.commandCont) {
            detectVoice(shared, level, now);
            if (!shared.isCommandOver)
                shared.commandCont->feed(mono);
        }
    });
    callbacks.onLevel(static_cast<float>(level));
}

void Microphone::goDeaf() {
    const auto now = services.clock.now();
    state.with([&](VoiceState& shared) { shared.deafSince = shared.deafSince.value_or(now); });
}

// The server also tells of changes that do not concern us, our own choice of an input among them.
// The return of the saved device does, though it is not the default one.
bool Microphone::routeIsUnchanged(const std::stop_token& stop) {
    try {
        const auto saved = connectedInput(savedName(), stop);
        return (!saved || saved->id == boundInputID) &&
               idOf(services.audio.defaultInput(stop)) == boundInputID &&
               idOf(services.audio.defaultOutput(stop)) == boundOutputID;
    } catch (const AudioError&) {
        return false;
    }
}

} // namespace tavik
