#pragma once

#include "platform/json/Json.h"

#include <string>

namespace tavik {

// The record of what the assistant was asked, what it did and what was decided about it: an
// append-only file of one JSON object a line. It holds names, lengths and decisions, never the
// words of a command or an answer.
class Audit {
public:
    // Adds one event, stamped with its time in UTC. `fields` is an object; its members follow "ts"
    // and "event", which it cannot replace. An event with a value that JSON has no form for is
    // dropped and the log says so. Returns at once; safe from any thread until main returns.
    static void record(std::string kind, Json fields = Json::object());

    // Empties the file, which stays. Blocks until the events before it are written. Throws
    // std::system_error when the file cannot be opened or emptied.
    static void clearHistory();

    // The file's path, fixed at the first use.
    static const std::string& path();

    // Blocks until every event recorded so far is written.
    static void flush();
};

} // namespace tavik
