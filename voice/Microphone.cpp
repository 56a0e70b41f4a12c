#include "voice/Microphone.h"

#include "app/Log.h"
#include "platform/audio/Resampler.h"
#include "platform/concurrency/Cancelled.h"
#include "platform/concurrency/ThreadName.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/recognition/Transcriber.h"
#include "voice/VoiceDetector.h"

#include <algorithm>
#include <fmt/format.h>
#include <stdexcept>

namespace tavik {

namespace {

// The front-end cannot be built; `what()` is the message for the user.
class MicrophoneError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

std::string nameOf(const std::optional<AudioDevice>& device) {
    return device ? device->name : "none";
}

std::optional<std::uint32_t> idOf(const std::optional<AudioDevice>& device) {
    return device ? std::optional(device->id) : std::nullopt;
}

} // namespace

struct Microphone::Engine {
    explicit Engine(const AudioFormat& format)
        : converter(format, tuning::SAMPLE_RATE) {}

    Resampler converter;                   // used on the audio thread
    std::unique_ptr<AudioCapture> capture; // last: it stops calling before the converter goes
};

Microphone::Microphone(const VoiceServices& voiceServices, const VoiceCallbacks& voiceCallbacks,
                       SharedVoiceState& sharedState, std::function<void()> onFailed)
    : services(voiceServices)
    , callbacks(voiceCallbacks)
    , state(sharedState)
    , failed(std::move(onFailed)) {}

Microphone::~Microphone() {
    services.audio.watchRoutes({});
    watcher.request_stop();
    if (watcher.joinable())
        watcher.join();
    engine.reset();
}

bool Microphone::start(std::stop_token stop) {
    if (!buildEngine(std::move(stop)))
        return false;
    services.audio.watchRoutes([this] { scheduleRebind(false); });
    watcher = std::jthread([this](std::stop_token watching) { watch(std::move(watching)); });
    return true;
}

bool Microphone::buildEngine(std::stop_token stop) {
    try {
        open(chooseInput(std::move(stop)));
        return true;
    } catch (const MicrophoneError& error) {
        callbacks.onPhase(TavikPhase::error(error.what()));
    } catch (const AudioError& error) {
        callbacks.onPhase(
            TavikPhase::error(std::string("Microphone start failed: ") + error.what()));
    }
    return false;
}

AudioDevice Microphone::chooseInput(std::stop_token stop) {
    const std::string saved = services.defaults.string("micDevice").value_or("");
    return saved.empty() ? defaultInput() : savedInput(saved, std::move(stop));
}

AudioDevice Microphone::savedInput(const std::string& name, std::stop_token stop) {
    const auto inputs = services.audio.inputs();
    const auto found = std::find_if(inputs.begin(), inputs.end(),
                                    [&](const AudioDevice& input) { return input.name == name; });
    if (found == inputs.end()) {
        log(fmt::format("[mic] ⚠ saved device \"{}\" not found — using system default", name));
        callbacks.onNotice(
            fmt::format("Saved mic \"{}\" isn't connected — using the system default input.", name),
            true);
        return defaultInput();
    }
    if (!services.audio.setDefaultInputConfirmed(*found, std::move(stop)))
        throw MicrophoneError(
            fmt::format("Couldn't switch the mic to \"{}\" — the OS never confirmed "
                        "it. Pick another input in Settings.",
                        name));
    log(fmt::format("[mic] input {} (confirmed live)", name));
    return *found;
}

AudioDevice Microphone::defaultInput() {
    auto input = services.audio.defaultInput();
    if (!input)
        throw AudioError("no microphone is connected");
    return *input;
}

void Microphone::open(const AudioDevice& device) {
    if (device.format.sampleRate == 0 || device.format.channelCount == 0)
        throw MicrophoneError(
            "The selected microphone isn't providing audio (invalid format). Pick "
            "another input in Settings.");
    log("[mic] negotiated format: " + describe(device.format));
    std::unique_ptr<Engine> opened;
    try {
        opened = std::make_unique<Engine>(device.format);
    } catch (const AudioError&) {
        throw MicrophoneError("Couldn't set up audio conversion for this microphone.");
    }
    state.with([](VoiceState& shared) { shared.everReceivedTap = false; });
    Engine& owner = *opened;
    opened->capture = services.audio.openCapture(
        device,
        [this, &owner](std::span<const float> samples, const AudioFormat&) {
            handleTap(owner, samples);
        },
        [this](const std::string& reason) {
            log("[mic] ⚠ the recording ended: " + reason);
            scheduleRebind(true);
        });
    engine = std::move(opened);
    const auto output = services.audio.defaultOutput();
    boundInputID = device.id;
    boundOutputID = idOf(output);
    log(fmt::format("[mic] engine running (input {}, output {})", device.name, nameOf(output)));
    const std::lock_guard lock(mutex);
    silentAt = services.clock.now() + tuning::WATCHDOG;
}

void Microphone::handleTap(Engine& owner, std::span<const float> samples) {
    const auto mono = owner.converter.process(samples);
    const double level = rootMeanSquare(mono);
    const auto now = services.clock.now();
    state.with([&](VoiceState& shared) {
        shared.everReceivedTap = true;
        if (shared.mode == VoiceState::Mode::wake) {
            shared.ring.append(mono);
            shared.sttRing.append(mono);
        } else if (shared.commandCont) {
            shared.commandCont->feed(mono);
            detectVoice(shared, level, now);
        }
    });
    callbacks.onLevel(static_cast<float>(level));
}

void Microphone::scheduleRebind(bool lost) {
    {
        const std::lock_guard lock(mutex);
        rebindAt = services.clock.now() + tuning::ROUTE_DEBOUNCE;
        captureLost = captureLost || lost;
    }
    changed.notify_all();
}

void Microphone::watch(std::stop_token stop) {
    nameThisThread("ai.tavik.route");
    constexpr auto never = std::chrono::hours(24);
    try {
        bool isAlive = true;
        while (isAlive) {
            std::unique_lock lock(mutex);
            const auto next = std::min(rebindAt.value_or(services.clock.now() + never),
                                       silentAt.value_or(services.clock.now() + never));
            services.clock.waitUntil(lock, changed, stop, next, [&] {
                return rebindAt.value_or(next) < next || silentAt.value_or(next) < next;
            });
            const auto now = services.clock.now();
            const bool settled = rebindAt && now >= *rebindAt;
            const bool expired = silentAt && now >= *silentAt;
            lock.unlock();
            if (settled)
                isAlive = onRouteSettled(stop);
            else if (expired)
                isAlive = onWatchdog(stop);
        }
    } catch (const Cancelled&) {
        // The loop stops; so does the watching.
    }
}

bool Microphone::onRouteSettled(std::stop_token stop) {
    bool lost = false;
    {
        const std::lock_guard lock(mutex);
        rebindAt.reset();
        lost = std::exchange(captureLost, false);
    }
    if (!lost && routeIsUnchanged())
        return true;
    log("[mic] audio route changed — rebinding the audio front-end");
    if (rebindAudio(std::move(stop))) {
        log("[mic] rebound — session preserved");
        return true;
    }
    log("[mic] ⚠ rebind failed — stopping the loop (error already reported)");
    failed();
    return false;
}

// The server also tells of changes that do not concern us, our own choice of an input among them.
bool Microphone::routeIsUnchanged() {
    try {
        return idOf(services.audio.defaultInput()) == boundInputID &&
               idOf(services.audio.defaultOutput()) == boundOutputID;
    } catch (const AudioError&) {
        return false;
    }
}

bool Microphone::rebindAudio(std::stop_token stop) {
    engine.reset();
    return buildEngine(std::move(stop));
}

bool Microphone::onWatchdog(std::stop_token stop) {
    {
        const std::lock_guard lock(mutex);
        silentAt.reset();
    }
    const int count = state.with([](VoiceState& shared) {
        shared.micRetryCount = shared.everReceivedTap ? 0 : shared.micRetryCount + 1;
        return shared.micRetryCount;
    });
    if (count == 0)
        return true;
    if (count <= tuning::SILENT_RETRIES) {
        log(fmt::format(
            "[mic] no audio after 5s (silent retry {}/{}) — rebuilding the audio front-end", count,
            tuning::SILENT_RETRIES));
        if (rebindAudio(std::move(stop)))
            return true;
        log("[mic] ⚠ silent retry failed to even start — surfacing the error");
    } else {
        log(fmt::format(
            "[mic] ⚠ FATAL: engine running but the tap never fired in 5s after {} silent "
            "retries — device is not delivering audio",
            tuning::SILENT_RETRIES));
        callbacks.onPhase(
            TavikPhase::error("The microphone isn't delivering any audio. Try another "
                              "input device in Settings."));
    }
    failed();
    return false;
}

} // namespace tavik
