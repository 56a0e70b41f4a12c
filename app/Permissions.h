#pragma once

#include <array>
#include <functional>
#include <stop_token>
#include <string>
#include <string_view>

namespace tavik {

class AudioServer;

// What Tavik needs the desktop to let it do.
enum class Permission { microphone, speech, accessibility, screenRecording, automation };

inline constexpr std::array allPermissions = {Permission::microphone, Permission::speech,
                                              Permission::accessibility,
                                              Permission::screenRecording, Permission::automation};

enum class PermissionState { granted, denied, notDetermined };

// What the user reads about one.
struct PermissionText {
    std::string_view id;
    std::string_view title;
    std::string_view why;
    std::string_view symbol;
};

const PermissionText& textOf(Permission permission);

// The permissions on this desktop. Safe from any thread; `state` and `request` block for a second
// or two at most where a service of the desktop hangs.
class Permissions {
public:
    // What the desktop says; the real one by default.
    struct Probes {
        std::function<PermissionState(std::stop_token)>
            microphoneStore;                           // of the desktop's permission store
        std::function<bool(std::stop_token)> hasInput; // a microphone is there
        std::function<bool()> hasSpeechModels;
        std::function<bool(std::stop_token)> isAccessibilityOn;
        std::function<bool(std::stop_token)> isScreenOpen; // any program may look at it
        std::function<bool(std::stop_token)> isAutomationPossible;
        std::function<void(std::stop_token)> switchAccessibilityOn;
        std::function<bool(std::string_view pane)> openPane;
        std::function<bool()> startAnew;
    };

    explicit Permissions(Probes probes);

    // Never prompts. Throws Cancelled.
    PermissionState state(Permission permission, std::stop_token stop) const;
    // Asks for it, as far as this desktop has something to ask. Throws Cancelled.
    void request(Permission permission, std::stop_token stop) const;
    // The page of the system's settings about it. False when the desktop has none.
    bool openSettingsPane(Permission permission) const;
    // Starts the program anew, half a second from now; the caller then quits. False, with nothing
    // changed, when that cannot be.
    bool relaunch() const;

private:
    const Probes probes;
};

// `audio` outlives them.
Permissions::Probes desktopPermissions(AudioServer& audio);

} // namespace tavik
