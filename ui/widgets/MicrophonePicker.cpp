#include "ui/widgets/MicrophonePicker.h"

#include "app/AppState.h"
#include "platform/audio/AudioServer.h"
#include "platform/defaults/UserDefaults.h"
#include "ui/PhaseText.h"
#include "ui/widgets/LevelMeter.h"
#include "ui/widgets/Section.h"
#include "voice/SampleRing.h"

#include <QHBoxLayout>
#include <QSignalBlocker>
#include <QVBoxLayout>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto refreshPause = 3s;
constexpr const char* help = "Which input Tavik listens on. Changing it restarts listening.";

// The one of that name, else the default one; null where there is none.
std::shared_ptr<AudioCapture> record(AudioServer& audio, const std::string& name,
                                     const std::shared_ptr<std::atomic<float>>& level,
                                     std::stop_token stop) {
    try {
        auto device = audio.defaultInput(stop);
        for (const AudioDevice& input : audio.inputs(stop))
            if (input.name == name)
                device = input;
        if (!device)
            return nullptr;
        return audio.openCapture(
            *device,
            [level](std::span<const float> samples, const AudioFormat&) {
                *level = static_cast<float>(rootMeanSquare(samples));
            },
            [level](const std::string&) { *level = 0; }, std::move(stop));
    } catch (const AudioError&) {
        return nullptr;
    }
}

} // namespace

MicrophonePicker::MicrophonePicker(UiServices& uiServices)
    : services(uiServices)
    , devices(new QComboBox)
    , problem(helpLabel({})) {
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    devices->setAccessibleName("Microphone");
    keepNarrow(*devices);
    column->addWidget(devices);
    column->addWidget(new LevelMeter([this] { return level(); }));
    column->addWidget(helpLabel(help));
    column->addWidget(problem);
    problem->hide();
    fill({});
    refreshing.setInterval(refreshPause);
    connect(&refreshing, &QTimer::timeout, this, &MicrophonePicker::refresh);
    connect(devices, &QComboBox::activated, this, &MicrophonePicker::choose);
}

MicrophonePicker::~MicrophonePicker() = default;

void MicrophonePicker::showEvent(QShowEvent*) {
    refresh();
    refreshing.start();
    listenIn();
}

void MicrophonePicker::hideEvent(QHideEvent*) {
    refreshing.stop();
    recordings.forget();
    capture.reset();
}

float MicrophonePicker::level() const {
    return capture ? ownLevel->load() : services.state.level();
}

void MicrophonePicker::refresh() {
    const auto list = [this](std::stop_token stop) {
        Listing listing;
        try {
            for (const AudioDevice& input : services.audio.inputs(stop))
                listing.names.append(qt(input.name));
            listing.answer = Listing::Answer::devices;
        } catch (const AudioError&) {
            listing.answer = Listing::Answer::failure;
        }
        return listing;
    };
    background.ask(list, [this](const Listing& listing) {
        if (listing != shown)
            fill(listing);
    });
}

void MicrophonePicker::fill(const Listing& listing) {
    shown = listing;
    const QSignalBlocker quiet(devices);
    const QString saved = qt(services.state.defaults().string("micDevice").value_or(""));
    devices->clear();
    devices->addItem("System default", "");
    for (const QString& name : listing.names)
        devices->addItem(name, name);
    const bool isListed = listing.answer == Listing::Answer::devices;
    if (!saved.isEmpty() && devices->findData(saved) < 0)
        devices->addItem(isListed ? saved + " (not connected)" : saved, saved);
    devices->setCurrentIndex(devices->findData(saved));
    const bool isFailure = listing.answer == Listing::Answer::failure;
    showOutcome(*problem, isFailure ? "The sound server does not answer." : "", Outcome::bad);
}

void MicrophonePicker::showSettings() {
    const QString saved = qt(services.state.defaults().string("micDevice").value_or(""));
    if (devices->currentData().toString() == saved)
        return;
    fill(shown);
    listenIn();
}

void MicrophonePicker::choose() {
    store(services.state.defaults(), "micDevice", devices->currentData().toString().toStdString());
    services.state.restartListening();
    listenIn();
}

// While the voice loop listens its own level is shown.
void MicrophonePicker::listenIn() {
    capture.reset();
    *ownLevel = 0;
    const auto phase = services.state.phase().kind;
    if (phase != TavikPhase::Kind::off && phase != TavikPhase::Kind::error)
        return;
    const auto open = [this, name = devices->currentData().toString().toStdString(),
                       level = ownLevel](std::stop_token stop) {
        return record(services.audio, name, level, std::move(stop));
    };
    recordings.ask(open, [this](const std::shared_ptr<AudioCapture>& opened) { capture = opened; });
}

} // namespace tavik
