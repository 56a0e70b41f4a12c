#pragma once

#include "platform/process/SpawnedProcess.h"

#include <map>
#include <string>
#include <vector>

namespace tavik {

// How to start the desktop-control engine.
struct EngineLaunch {
    std::string command;
    std::vector<std::string> arguments;
    bool isBundled = false; // the engine's runtime is shipped with this program

    bool operator==(const EngineLaunch&) const = default;
};

bool isExecutableFile(const std::string& path);

// The engine that is shipped with this program, else the one that an agent's configuration names,
// else the place of a developer's installation, whether or not anything is there.
EngineLaunch findEngine();

// Our environment without what would lead a shipped runtime to other modules than its own.
std::map<std::string, std::string> bundledEnvironment();

} // namespace tavik
