#pragma once

#include <string>
#include <string_view>

// Where Tavik's files are. Every name of a file or folder is made here.
namespace tavik {

// The current user's home folder, without a trailing slash: HOME, or the user database's entry when
// HOME is not set. Read afresh at every call.
std::string tavikHome();

// `tavikHome()` with a relative path appended.
std::string pathInHome(std::string_view relative);

std::string logPath();       // the diagnostic log
std::string signalLogPath(); // the termination diagnostics, beside the log
std::string auditPath();     // the record of commands, actions and answers
std::string memoryStorePath();
std::string allowlistPath();                          // the user's exemptions from the guardrails
std::string instanceLockPath();                       // held by the one running Tavik
std::string instanceSocketPath();                     // where a second start finds it
std::string defaultSocketPath();                      // where external agents connect
std::string preferencesPath();                        // the settings, a JSON file
std::string legacyKeyPath(std::string_view provider); // an API key in a file of its own

// A file of the program's own, such as the wake model: in the folder named by TAVIK_RESOURCES, else
// in "share/tavik" beside the folder of the executable.
std::string resourcePath(std::string_view name);

// Where the program is installed, by its own executable's place: what people and agents start, what
// that becomes, and the entry of the desktop's menu.
std::string executablePath();
std::string programPath();
std::string desktopEntryPath();

} // namespace tavik
