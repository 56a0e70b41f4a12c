#pragma once

#include "app/AppState.h"

#include <QString>

namespace tavik {

// What Tavik is doing, in words for the menu, the orb and screen readers.
QString phaseText(AppState& state);

QString qt(const std::string& text);

} // namespace tavik
