#pragma once

#include "platform/desktop/InstalledApplication.h"

#include <string>
#include <sys/types.h>

namespace tavik {

// What is known about a program from one of its windows. Unknown texts are empty.
struct RunningProgram {
    std::string applicationId; // of the desktop entry that the program names for itself
    std::string className;     // its windows' class, the general and the particular name
    std::string instanceName;
    pid_t process = 0; // on this machine; 0 when unknown
};

// Whether `program` is `application` rather than any other of `applications`.
bool isProgramOf(const RunningProgram& program, const InstalledApplication& application,
                 const InstalledApplications& applications);

// The program's name for people: of its application, or else its windows' class, or else its
// process; empty when even that is unknown. On one line and not long, whatever the program says.
std::string nameOf(const RunningProgram& program, const InstalledApplications& applications);

} // namespace tavik
