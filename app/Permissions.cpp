#include "app/Permissions.h"

#include "app/Paths.h"
#include "platform/audio/AudioServer.h"
#include "platform/desktop/DesktopRights.h"
#include "platform/recognition/SpeechModels.h"
#include "platform/recognition/Transcriber.h"

#include <utility>

namespace tavik {

namespace {

constexpr std::array<PermissionText, allPermissions.size()> texts{{
    {"microphone", "Microphone", "Hear the wake phrase and your spoken commands.", "mic.fill"},
    {"speech", "Speech Recognition", "Turn your speech into text, on-device.", "waveform"},
    {"accessibility", "Accessibility",
     "See what's on screen and click, type, and scroll for you — the heart of desktop control.",
     "accessibility"},
    {"screenRecording", "Screen Recording",
     "Double-check its own actions with a quick screen glance when needed.",
     "rectangle.dashed.badge.record"},
    {"automation", "Automation", "Control apps like Finder and System Settings via Apple events.",
     "gearshape.2.fill"},
}};

PermissionState grantedIf(bool isSo) {
    return isSo ? PermissionState::granted : PermissionState::notDetermined;
}

PermissionState storedMicrophoneRight(std::stop_token stop) {
    switch (microphoneRight(std::move(stop))) {
    case DesktopRight::granted:
        return PermissionState::granted;
    case DesktopRight::denied:
        return PermissionState::denied;
    case DesktopRight::undecided:
        break;
    }
    return PermissionState::notDetermined;
}

bool hasSpeechModels() {
    try {
        requireReadable(installedModels(Vocabulary::commands));
        return true;
    } catch (const TranscriberError&) {
        return false;
    }
}

bool hasAnyInput(AudioServer& audio, std::stop_token stop) {
    try {
        return !audio.inputs(std::move(stop)).empty();
    } catch (const AudioError&) {
        return false;
    }
}

} // namespace

const PermissionText& textOf(Permission permission) {
    return texts.at(static_cast<std::size_t>(permission));
}

Permissions::Permissions(Probes howToAsk)
    : probes(std::move(howToAsk)) {}

PermissionState Permissions::state(Permission permission, std::stop_token stop) const {
    switch (permission) {
    case Permission::microphone: {
        // A right without a microphone is of no use, and a desktop without a store has no rights.
        const PermissionState stored = probes.microphoneStore(stop);
        return stored == PermissionState::denied ? stored
                                                 : grantedIf(probes.hasInput(std::move(stop)));
    }
    case Permission::speech:
        return grantedIf(probes.hasSpeechModels());
    case Permission::accessibility:
        return grantedIf(probes.isAccessibilityOn(std::move(stop)));
    case Permission::screenRecording:
        return grantedIf(probes.isScreenOpen(std::move(stop)));
    case Permission::automation:
        return grantedIf(probes.isAutomationPossible(std::move(stop)));
    }
    return PermissionState::notDetermined;
}

void Permissions::request(Permission permission, std::stop_token stop) const {
    if (permission == Permission::accessibility)
        probes.switchAccessibilityOn(std::move(stop));
    else if (state(permission, std::move(stop)) != PermissionState::granted)
        openSettingsPane(permission);
}

bool Permissions::openSettingsPane(Permission permission) const {
    return probes.openPane(textOf(permission).id);
}

bool Permissions::relaunch() const {
    return probes.startAnew();
}

Permissions::Probes desktopPermissions(AudioServer& audio) {
    return {
        .microphoneStore = storedMicrophoneRight,
        .hasInput = [&audio](std::stop_token stop) { return hasAnyInput(audio, std::move(stop)); },
        .hasSpeechModels = hasSpeechModels,
        .isAccessibilityOn = accessibilityIsOn,
        .isScreenOpen = screenIsOpen,
        .isAutomationPossible = sessionBusAnswers,
        .switchAccessibilityOn = switchAccessibilityOn,
        .openPane = openSystemSettings,
        .startAnew =
            [] {
                return startDetached({"/bin/sh", "-c", "sleep 0.5; exec \"$1\"", "tavik-relaunch",
                                      executablePath()});
            }};
}

} // namespace tavik
