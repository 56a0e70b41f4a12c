#pragma once

#include <string>

namespace tavik {

// The one diagnostic call. Stamps `message` with the local time of day, prints it on standard
// output and appends it to the log file, in the order of the calls of each thread. Returns at once;
// safe from any thread until main returns. Messages begin with a bracketed tag that names the
// subsystem, such as "[brain]", and never hold a key, a transcript or an answer.
void log(std::string message);

class TavikLog {
public:
    // The log file's path, fixed at the first use.
    static const std::string& path();

    static void log(std::string message);

    // Empties the log and the signal log; both files stay. Blocks until the lines before it are
    // written. Throws std::system_error when the log cannot be written or emptied. Must not be
    // called from a line's own queue.
    static void clearHistory();

    // Blocks until every line logged so far is written.
    static void flush();
};

} // namespace tavik
