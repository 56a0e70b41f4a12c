#include "ui/widgets/VoicePicker.h"

#include "app/AppState.h"
#include "platform/concurrency/MainQueue.h"
#include "platform/defaults/UserDefaults.h"
#include "ui/PhaseText.h"
#include "ui/Symbols.h"
#include "ui/widgets/Section.h"

#include <QHBoxLayout>
#include <QLocale>
#include <QSignalBlocker>
#include <QVBoxLayout>
#include <algorithm>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto refreshPause = 5s;
constexpr const char* automatic = "Automatic (best installed)";
constexpr const char* hear = "Hear a sample of this voice";
constexpr int listHeight = 190;
constexpr int longestName = 240; // pixels

bool isEnglish(const Voice& voice) {
    return voice.language.starts_with("en");
}

QString qualityOf(const Voice& voice) {
    switch (voice.quality) {
    case VoiceQuality::premium:
        return "Premium";
    case VoiceQuality::enhanced:
        return "Enhanced";
    case VoiceQuality::compact:
        break;
    }
    return "Compact";
}

QString subtitleOf(const Voice& voice) {
    return QString("%1 · %2").arg(qualityOf(voice), qt(voice.language));
}

// English first, since it is what Tavik understands, and the best of each language.
bool comesBefore(const Voice& one, const Voice& other) {
    const auto rank = [](const Voice& voice) {
        return std::tuple(!isEnglish(voice), voice.language, -static_cast<int>(voice.quality),
                          voice.name);
    };
    return rank(one) < rank(other);
}

// For a button, which would widen its window.
QString shortName(const Voice& voice, const QWidget& button) {
    QString name = qt(voice.name);
    return button.fontMetrics().elidedText(name.replace(u'&', "&&"), Qt::ElideRight, longestName);
}

bool areSame(const std::vector<Voice>& one, const std::vector<Voice>& other) {
    return std::ranges::equal(one, other, {}, &Voice::identifier, &Voice::identifier);
}

} // namespace

VoicePicker::VoicePicker(UiServices& uiServices)
    : services(uiServices)
    , previewer(
          services.previews, services.clock,
          [](std::function<void()> job) { MainQueue::shared().async(std::move(job)); },
          [this] { showPreview(); }) {
    build();
    fill({});
    refreshing.setInterval(refreshPause);
    connect(&refreshing, &QTimer::timeout, this, &VoicePicker::refresh);
    connect(search, &QLineEdit::textChanged, this, &VoicePicker::filter);
    connect(list, &QListWidget::currentRowChanged, this, &VoicePicker::choose);
    connect(previewButton, &QPushButton::clicked, this, &VoicePicker::preview);
}

void VoicePicker::build() {
    search = new QLineEdit;
    search->setPlaceholderText("Search voices");
    search->setAccessibleName("Search voices");
    search->setClearButtonEnabled(true);
    list = new QListWidget;
    list->setObjectName("list");
    list->setAccessibleName("Voices");
    list->setMinimumHeight(listHeight);
    list->setUniformItemSizes(true);
    list->setTextElideMode(Qt::ElideRight);
    list->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    previewButton = new QPushButton(symbolIcon("play.circle.fill"), hear);
    problem = helpLabel({});
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(search);
    column->addWidget(list, 1);
    column->addWidget(previewButton, 0, Qt::AlignLeft);
    column->addWidget(problem);
}

void VoicePicker::showEvent(QShowEvent*) {
    refresh();
    refreshing.start();
}

void VoicePicker::hideEvent(QHideEvent*) {
    refreshing.stop();
    if (previewer.playingID())
        preview();
}

void VoicePicker::refresh() {
    struct Listing {
        std::vector<Voice> voices;
        QString problem;
    };
    const auto ask = [this](std::stop_token stop) {
        Listing listing;
        try {
            listing.voices = services.previews.voices(std::move(stop));
            std::ranges::sort(listing.voices, comesBefore);
        } catch (const SpeechError&) {
            listing.problem = "The speech service does not answer, so there are no voices to show.";
        }
        return listing;
    };
    background.ask(ask, [this](const Listing& listing) {
        showOutcome(*problem, listing.problem, Outcome::bad);
        if (!areSame(listing.voices, voices))
            fill(listing.voices);
    });
}

void VoicePicker::fill(const std::vector<Voice>& installed) {
    const QSignalBlocker quiet(list);
    voices = installed;
    list->clear();
    list->addItem(automatic);
    for (const Voice& voice : voices)
        list->addItem(QString("%1   —   %2").arg(qt(voice.name), subtitleOf(voice)));
    filter();
    selectStored();
}

// The automatic choice stands for a voice that is not installed, too.
void VoicePicker::selectStored() {
    const QSignalBlocker quiet(list);
    const auto stored = services.state.defaults().string("voiceId").value_or("");
    const auto found = std::ranges::find(voices, stored, &Voice::identifier);
    list->setCurrentRow(found == voices.end() ? 0 : static_cast<int>(found - voices.begin()) + 1);
    showPreview();
}

void VoicePicker::showSettings() {
    const Voice* voice = selected();
    if ((voice ? voice->identifier : "") !=
        services.state.defaults().string("voiceId").value_or(""))
        selectStored();
}

void VoicePicker::filter() {
    const QString wanted = search->text().trimmed();
    for (int row = 1; row < list->count(); ++row)
        list->item(row)->setHidden(!list->item(row)->text().contains(wanted, Qt::CaseInsensitive));
}

// The first row is the automatic choice.
const Voice* VoicePicker::selected() const {
    const int row = list->currentRow();
    return row > 0 && row <= static_cast<int>(voices.size())
               ? &voices[static_cast<std::size_t>(row) - 1]
               : nullptr;
}

void VoicePicker::choose() {
    const Voice* voice = selected();
    store(services.state.defaults(), "voiceId", voice ? voice->identifier : std::string());
    showPreview();
}

void VoicePicker::preview() {
    const Voice* voice = selected();
    if (voice)
        previewer.toggle(voice->identifier, *voice);
    else if (const auto playing = previewer.playingID())
        previewer.toggle(*playing, {});
    showPreview();
}

void VoicePicker::showPreview() {
    const Voice* voice = selected();
    const bool isPlaying = voice && previewer.playingID() == voice->identifier;
    previewButton->setText(isPlaying ? "Stop preview of " + shortName(*voice, *previewButton)
                                     : hear);
    previewButton->setIcon(symbolIcon(isPlaying ? "stop.circle.fill" : "play.circle.fill"));
    previewButton->setEnabled(voice != nullptr || previewer.playingID().has_value());
}

} // namespace tavik
