#include "platform/desktop/RunningProgram.h"

#include "platform/text/Text.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace tavik {

namespace {

constexpr std::size_t longestName = 100; // characters

// How sure it is that a program is an application.
enum class Likeness { none, sameExecutable, sameIdentifier, sameWindowClass, namedByProgram };

// What the system tells about the program's process, read once however many entries are compared.
struct Process {
    explicit Process(pid_t number);

    std::string name;     // of the program's file
    std::string launcher; // the path of the entry that it was started from
};

std::string procFile(pid_t process, const char* name) {
    return "/proc/" + std::to_string(process) + "/" + name;
}

std::string nameOfProcess(pid_t process) {
    std::error_code unreadable;
    return std::filesystem::read_symlink(procFile(process, "exe"), unreadable).filename().string();
}

// GIO, and with it most desktops, leaves the entry's path in the environment of what it starts, and
// the number of the process that it is meant for, since children inherit both.
std::string launcherOfProcess(pid_t process) {
    const std::string file = "GIO_LAUNCHED_DESKTOP_FILE=";
    const std::string number = "GIO_LAUNCHED_DESKTOP_FILE_PID=" + std::to_string(process);
    std::string launcher;
    bool isMeant = false;
    std::ifstream environment(procFile(process, "environ"));
    for (std::string variable; std::getline(environment, variable, '\0');) {
        isMeant = isMeant || variable == number;
        if (variable.starts_with(file))
            launcher = variable.substr(file.size());
    }
    return isMeant ? launcher : "";
}

Process::Process(pid_t number) {
    if (number <= 0)
        return;
    name = nameOfProcess(number);
    launcher = launcherOfProcess(number);
}

bool isSame(const std::string& one, const std::string& other) {
    return !one.empty() &&
           std::equal(one.begin(), one.end(), other.begin(), other.end(),
                      [](unsigned char a, unsigned char b) { return tolower(a) == tolower(b); });
}

bool hasClass(const RunningProgram& program, const std::string& name) {
    return isSame(name, program.className) || isSame(name, program.instanceName);
}

// Programs that run all kinds of applications tell nothing about which one runs.
constexpr std::string_view runners[] = {"bash",    "bwrap",   "dash", "electron", "env",
                                        "flatpak", "gjs",     "java", "mono",     "node",
                                        "perl",    "python3", "ruby", "sh",       "snap"};

bool runsOthers(const std::string& executable) {
    return std::find(std::begin(runners), std::end(runners), executable) != std::end(runners);
}

Likeness likeness(const RunningProgram& program, const Process& process,
                  const InstalledApplication& app) {
    if (isSame(app.id, program.applicationId) ||
        (!app.path.empty() && app.path == process.launcher))
        return Likeness::namedByProgram;
    // Where an entry names its windows, others are not its own: many may share a program.
    if (!app.windowClass.empty())
        return hasClass(program, app.windowClass) ? Likeness::sameWindowClass : Likeness::none;
    if (hasClass(program, app.id) || hasClass(program, app.shortId()))
        return Likeness::sameIdentifier;
    if (!runsOthers(app.executable) &&
        (hasClass(program, app.executable) || isSame(app.executable, process.name)))
        return Likeness::sameExecutable;
    return Likeness::none;
}

const InstalledApplication* applicationOf(const RunningProgram& program, const Process& process,
                                          const InstalledApplications& applications) {
    const InstalledApplication* best = nullptr;
    Likeness most = Likeness::none;
    for (const InstalledApplication& app : applications)
        if (const Likeness likely = likeness(program, process, app); likely > most) {
            most = likely;
            best = &app;
        }
    return best;
}

std::string presentable(const std::string& name) {
    std::string line = validUtf8(name);
    std::replace_if(
        line.begin(), line.end(), [](unsigned char letter) { return std::iscntrl(letter) != 0; },
        ' ');
    return firstCharacters(trimmed(line), longestName);
}

} // namespace

bool isProgramOf(const RunningProgram& program, const InstalledApplication& application,
                 const InstalledApplications& applications) {
    return applicationOf(program, Process(program.process), applications) == &application;
}

std::string nameOf(const RunningProgram& program, const InstalledApplications& applications) {
    const Process process(program.process);
    const InstalledApplication* const app = applicationOf(program, process, applications);
    std::string name = app ? presentable(app->displayName) : "";
    if (name.empty())
        name = presentable(program.className);
    return name.empty() ? presentable(process.name) : name;
}

} // namespace tavik
