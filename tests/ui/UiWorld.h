#pragma once

#include "app/AppState.h"
#include "app/Permissions.h"
#include "brains/Keychain.h"
#include "memory/MemoryStore.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/speech/SpeechOutput.h"
#include "tests/app/FakeShortcuts.h"
#include "tests/brains/FakeSecretStore.h"
#include "tests/voice/FakeAudioServer.h"
#include "tools/stand-ins/services/TemporaryFolder.h"
#include "ui/QtMainQueue.h"
#include "ui/UiServices.h"

#include <atomic>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace tavik {

// Speaks in silence, for as long as it is told.
class TimedSpeech : public SpeechOutput {
public:
    void speak(const std::string& text, const std::optional<Voice>& voice,
               std::stop_token) override;
    bool isSpeaking() override;
    void stopSpeaking() override;
    std::vector<Voice> voices(std::stop_token) override;

    std::atomic<bool> isMissing = false;
    std::atomic<int> utteranceTime = 400; // milliseconds
    std::vector<Voice> installed;         // fixed before the first use
    std::vector<std::string> spoken();

private:
    std::mutex mutex;
    Clock::Instant until{};         // guarded by mutex
    std::vector<std::string> texts; // guarded by mutex
};

// What the windows work with, among fakes, in real time: the real voice loop hears what the test
// plays, understands `command`, and gets `answer` once `mayAnswer` is set.
class UiWorld {
public:
    UiWorld();
    ~UiWorld();

    UiServices services();

    // Runs Qt's event loop until `condition` holds; false after ten seconds.
    static bool until(const std::function<bool()>& condition);
    bool reaches(TavikPhase::Kind phase);
    // A conversation up to that phase: listening, thinking or speaking.
    bool converse(TavikPhase::Kind upTo);
    // Ten conversations, or as many as wanted, on record.
    void remember(int conversations);

    TemporaryFolder folder;
    UserDefaults defaults{folder.file("settings.json")};
    FakeAudioServer audio;
    TimedSpeech speech;
    TimedSpeech previews;
    FakeSecretStore secrets;
    Keychain keychain{secrets};
    FakeShortcuts::Desktop shortcuts;
    // Which there are is fixed before the first use.
    std::map<Permission, std::atomic<PermissionState>> permissionStates;
    Permissions permissions;
    std::unique_ptr<MemoryStore> memory;
    std::atomic<bool> hasBrain = true;
    std::atomic<bool> mayAnswer = true;
    std::atomic<float> sound = 0; // amplitude at the microphone
    // What the provider says of a key; empty: fine.
    std::function<std::string(const std::string& key)> verdict = [](const std::string&) {
        return "";
    };

    QtMainQueue mainQueue;
    std::unique_ptr<AppState> state;

private:
    VoiceServices voiceServices();
    Permissions::Probes probes();

    std::jthread microphone;
};

} // namespace tavik
