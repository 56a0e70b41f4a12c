#pragma once

#include "tools/demo/LogLine.h"
#include "tools/demo/ModelJournal.h"
#include "tools/demo/Recorder.h"
#include "tools/demo/StandInUser.h"

#include <optional>
#include <string>
#include <vector>

namespace tavik::demo {

// When the user really spoke, as the microphone delivered it.
struct UserTimes {
    WallTime begin;
    std::optional<WallTime> phraseEnd;
    std::optional<WallTime> commandBegin;
    WallTime end;
    double stall; // seconds by which the machine held up the playback
};

// All that is known of a conversation when it is over, as far as it came.
struct Findings {
    Utterance utterance;
    Recording microphone;
    Recording speaker;
    std::vector<LogLine> log;
    std::vector<Exchange> exchanges; // with the scripted model
    std::optional<WallTime> answered;
    std::optional<WallTime> waitingAgain;
    std::optional<WallTime> askedToEnd;
    std::optional<WallTime> ended;

    // Nothing when the microphone delivered silence.
    std::optional<UserTimes> userTimes() const;
    // What tavik said aloud after it had the answer, as samples of `speaker`; nothing for silence.
    std::optional<Part> saidAloud() const;
    // The first line of the log that begins with `beginning`; null when there is none.
    const LogLine* logged(std::string_view beginning) const;
    // What the scripted model wanted to be spoken; empty when it said nothing.
    std::string answer() const;
};

} // namespace tavik::demo
