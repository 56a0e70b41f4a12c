#pragma once

#include "memory/Records.h"

#include <string>
#include <vector>

// What is said of the past, as texts for the model.
namespace tavik {

// The note about the last conversation, which ended `age` ago.
std::string recapText(const std::string& summary, WallTime::duration age);

// One line an entry: the date and time of its end in the user's style, and the summary.
std::string historyLines(const std::vector<ConversationHistoryEntry>& entries);

// `now` moved back by calendar days; the time of day stays, whatever the clocks did in between.
WallTime daysBefore(WallTime now, int days);

} // namespace tavik
