#include "ui/PhaseText.h"

#include "platform/defaults/UserDefaults.h"

namespace tavik {

namespace {

QString idleText(AppState& state) {
    return state.defaults().boolean("wakeEnabled").value_or(true)
               ? "Waiting for “Hey Vessa”"
               : "Waiting for the keyboard shortcut";
}

QString offText(const AppState& state) {
    if (state.listening() == AppState::Listening::paused)
        return "Listening is paused";
    return "Listening is off";
}

} // namespace

QString qt(const std::string& text) {
    return QString::fromStdString(text);
}

QString phaseText(AppState& state) {
    switch (state.phase().kind) {
    case TavikPhase::Kind::error:
        return qt(state.phase().message);
    case TavikPhase::Kind::off:
        return offText(state);
    case TavikPhase::Kind::preparing:
        return "Getting ready…";
    case TavikPhase::Kind::idle:
        return idleText(state);
    case TavikPhase::Kind::listening:
        return "Listening";
    case TavikPhase::Kind::thinking:
        return "Thinking";
    case TavikPhase::Kind::speaking:
        return "Answering";
    }
    return "";
}

} // namespace tavik
