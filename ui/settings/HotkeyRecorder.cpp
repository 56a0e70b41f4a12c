#include "ui/settings/HotkeyRecorder.h"

#include "app/AppState.h"
#include "app/Hotkey.h"
#include "platform/defaults/UserDefaults.h"
#include "platform/hotkey/KeyTable.h"
#include "ui/PhaseText.h"
#include "ui/widgets/Section.h"

#include <QGuiApplication>
#include <QKeyEvent>
#include <optional>

namespace tavik {

namespace {

constexpr std::uint32_t escapeKey = 53;
constexpr int lastCharacter = 0xffff;

// A key that types is meant as a place on the keyboard, others by what they do.
std::optional<Key> keyOf(const QKeyEvent& event) {
    const std::uint32_t symbol = event.nativeVirtualKey();
    if (symbol >= firstFunctionSymbol)
        return keyWithKeysym(symbol);
    if (event.nativeScanCode() > keycodesBeforeEvdev)
        return keyWithEvdev(event.nativeScanCode() - keycodesBeforeEvdev);
    // Beyond the characters lie the toolkit's numbers of keys that type nothing, such as Shift.
    if (event.key() > lastCharacter)
        return std::nullopt;
    return keyWithKeysym(QChar(static_cast<char16_t>(event.key())).toLower().unicode());
}

std::uint32_t modifiersOf(const QKeyEvent& event) {
    const auto modifiers = event.modifiers();
    return Hotkey::carbonModifiers({.control = modifiers.testFlag(Qt::ControlModifier),
                                    .option = modifiers.testFlag(Qt::AltModifier),
                                    .shift = modifiers.testFlag(Qt::ShiftModifier),
                                    .command = modifiers.testFlag(Qt::MetaModifier)});
}

} // namespace

HotkeyRecorder::HotkeyRecorder(AppState& appState)
    : state(appState) {
    setAutoDefault(false);
    connect(this, &QPushButton::clicked, this, &HotkeyRecorder::startRecording);
    showShortcut();
}

void HotkeyRecorder::showShortcut() {
    const auto wanted = state.hotkey().wantedCombo();
    if (!recording)
        setText(qt(state.hotkey().describe(wanted.value_or(HotkeyManager::Combo()))));
}

void HotkeyRecorder::startRecording() {
    recording = true;
    setText("Press keys…");
    setFocus();
}

void HotkeyRecorder::stopRecording() {
    recording = false;
    showShortcut();
}

// While it records, Tab and the shortcuts of the window are keys like any other.
bool HotkeyRecorder::event(QEvent* event) {
    if (recording && event->type() == QEvent::ShortcutOverride) {
        event->accept();
        return true;
    }
    if (recording && event->type() == QEvent::KeyPress) {
        keyPressEvent(static_cast<QKeyEvent*>(event));
        return true;
    }
    return QPushButton::event(event);
}

void HotkeyRecorder::keyPressEvent(QKeyEvent* event) {
    if (!recording) {
        QPushButton::keyPressEvent(event);
        return;
    }
    const auto key = keyOf(*event);
    const std::uint32_t modifiers = modifiersOf(*event);
    if (key && key->code == escapeKey) {
        stopRecording();
        return;
    }
    if (!key || (modifiers == 0 && !Hotkey::isFunctionKey(key->code)))
        return;
    store(state.defaults(), "hotkeyKeyCode", static_cast<double>(key->code));
    store(state.defaults(), "hotkeyModifiers", static_cast<double>(modifiers));
    state.hotkey().applyFromDefaults();
    stopRecording();
}

void HotkeyRecorder::keyReleaseEvent(QKeyEvent* event) {
    if (!recording)
        QPushButton::keyReleaseEvent(event);
}

void HotkeyRecorder::focusOutEvent(QFocusEvent* event) {
    stopRecording();
    QPushButton::focusOutEvent(event);
}

} // namespace tavik
