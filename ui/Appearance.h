#pragma once

#include <QColor>

class QApplication;

namespace tavik {

// How all windows look.
enum class Theme { light, dark };

void applyTheme(QApplication& application, Theme theme);

// Follows what the desktop prefers, now and later; asks it without waiting.
void followDesktopTheme(QApplication& application);

// Tavik's own colour.
QColor accentColour();

} // namespace tavik
