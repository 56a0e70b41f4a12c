#pragma once

#include "ui/Background.h"
#include "ui/UiServices.h"

#include <QComboBox>
#include <QLabel>
#include <QTimer>
#include <QWidget>
#include <atomic>
#include <memory>

namespace tavik {

class AudioCapture;

// Chooses the input, by name, and shows its level while it is on the screen: that of the running
// voice loop, or of a recording of its own. Listening starts anew with another one.
class MicrophonePicker : public QWidget {
public:
    explicit MicrophonePicker(UiServices& services);
    ~MicrophonePicker() override;

    // Shows the microphone that the settings hold now.
    void showSettings();

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    // What the sound server said last, if anything; only its devices tell which are not connected.
    struct Listing {
        enum class Answer { none, devices, failure };
        Answer answer = Answer::none;
        QStringList names;
        bool operator==(const Listing&) const = default;
    };

    void refresh();
    void fill(const Listing& listing);
    void choose();
    void listenIn();
    float level() const;

    UiServices& services;
    QComboBox* devices;
    QLabel* problem;
    QTimer refreshing;
    Listing shown;
    // Of our own recording; shared with the audio thread.
    std::shared_ptr<std::atomic<float>> ownLevel = std::make_shared<std::atomic<float>>(0);
    std::shared_ptr<AudioCapture> capture;
    Background recordings;
    Background background; // last: its jobs use the above
};

} // namespace tavik
