#pragma once

#include <QPushButton>

namespace tavik {

class AppState;

// Shows the shortcut that starts a conversation and, once pressed, takes the next one that is
// typed. Escape leaves it as it is.
class HotkeyRecorder : public QPushButton {
    Q_OBJECT
public:
    explicit HotkeyRecorder(AppState& state);

    bool isRecording() const { return recording; }
    // To be called when the shortcut may have changed.
    void showShortcut();

protected:
    bool event(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void keyReleaseEvent(QKeyEvent* event) override;
    void focusOutEvent(QFocusEvent* event) override;

private:
    void startRecording();
    void stopRecording();

    AppState& state;
    bool recording = false;
};

} // namespace tavik
