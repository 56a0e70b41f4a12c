#pragma once

#include <stdexcept>
#include <stop_token>
#include <string>

namespace tavik {

// An application could not be started or shown. `what()` is a clear sentence.
class LaunchError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// The applications of the user's desktop. Safe from any thread. A call lasts a few seconds at most
// and throws Cancelled within 50 ms of a stop request; what was started by then goes on.
//
// What is started belongs to the desktop: it shares no descriptor and no terminal with us, and it
// goes on when we end. It is looked at for a moment, so that one that fails at once is told from
// one that runs.
class Applications {
public:
    virtual ~Applications() = default;

    // Starts the installed application that `name` means, or brings it to the front when it runs:
    // the one that people see under that name, in the user's language or in English, or else under
    // that generic name, program name or identifier, or else the only one with a name in which
    // `name` begins a word. False when there is none. Throws LaunchError.
    //
    // Under Wayland no program can bring the window of another one to the front. There an
    // application is started again, unless its window is one of X11's: many then show the window
    // they have, and those that are activated over D-Bus always do.
    [[nodiscard]] virtual bool open(const std::string& name, std::stop_token stop) = 0;

    // Hands an http or https address to the desktop's default application for it. False for any
    // other address, and when nothing opens it.
    [[nodiscard]] virtual bool openUrl(const std::string& url, std::stop_token stop) = 0;
};

// The session's own.
Applications& desktopApplications();

} // namespace tavik
