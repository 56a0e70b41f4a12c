#pragma once

#include "voice/TavikPhase.h"

#include <QIcon>
#include <QString>

namespace tavik {

// A line drawing in the colour of the text, by the name of what it shows: "mic.fill", "waveform",
// "accessibility", "rectangle.dashed.badge.record", "gearshape.2.fill", "sparkles", "bolt",
// "clock", "plug", "doc.on.doc", "checkmark", "play.circle.fill", "stop.circle.fill". None for
// others.
QIcon symbolIcon(const QString& name);

// The orb as the icon of the tray; crossed out when Tavik does not listen.
QIcon phaseIcon(TavikPhase::Kind phase);

} // namespace tavik
