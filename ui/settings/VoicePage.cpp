#include "ui/settings/VoicePage.h"

#include "platform/desktop/DesktopRights.h"
#include "ui/widgets/MicrophonePicker.h"
#include "ui/widgets/VoicePicker.h"

#include <QMessageBox>
#include <QPushButton>

namespace tavik {

namespace {

constexpr const char* betterVoices =
    "Premium voices sound dramatically better and are free: System Settings → Accessibility → Read "
    "& Speak → System Voice (ⓘ) → Manage Voices. Tavik picks the best installed voice "
    "automatically, and this list updates live as you download new ones — no need to reopen "
    "Settings.";
constexpr const char* noSettings =
    "This desktop has no settings program that Tavik knows. Voices come with packages such as "
    "speech-dispatcher-espeak-ng and speech-dispatcher-flite.";

} // namespace

VoicePage::VoicePage(UiServices& services)
    : Page("Voice and Audio") {
    auto* microphone = new MicrophonePicker(services);
    auto* voices = new VoicePicker(services);
    addSection("Microphone")->add(microphone);
    Section* voice = addSection("Voice");
    voice->add(voices);
    auto* download = new QPushButton("Download better voices…");
    connect(download, &QPushButton::clicked, this, [this] {
        if (!openSystemSettings("voices"))
            QMessageBox::information(this, "Tavik", noSettings);
    });
    auto* row = new QHBoxLayout;
    row->addWidget(download);
    row->addStretch(1);
    voice->add(row);
    voice->addHelp(betterVoices);
    finish();
    follow([microphone, voices] {
        microphone->showSettings();
        voices->showSettings();
    });
}

} // namespace tavik
