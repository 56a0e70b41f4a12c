#include "mcp/EngineLaunch.h"

#include "app/Paths.h"
#include "platform/files/AtomicFile.h"
#include "platform/json/Json.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace tavik {

namespace {

constexpr std::size_t maximumConfigurationBytes = 64 * 1024 * 1024;
const std::vector<std::string> serverModule = {"-m", "vamo.mcp_server"};

std::vector<std::string> textsIn(const Json* list) {
    const bool areTexts = list && list->is_array() &&
                          std::all_of(list->begin(), list->end(),
                                      [](const Json& entry) { return entry.is_string(); });
    return areTexts ? list->get<std::vector<std::string>>() : std::vector<std::string>();
}

// Other programs own this file: whatever is odd about it is no concern of ours.
std::optional<EngineLaunch> configuredEngine() {
    const auto content = readWholeFile(pathInHome(".claude.json"), maximumConfigurationBytes);
    const auto configuration = content ? parseJson(*content) : std::nullopt;
    const Json* servers = configuration ? member(*configuration, "mcpServers") : nullptr;
    const Json* engine = servers ? member(*servers, "vamo") : nullptr;
    const auto command = engine ? stringMember(*engine, "command") : std::nullopt;
    if (!command)
        return std::nullopt;
    return EngineLaunch{*command, textsIn(member(*engine, "args"))};
}

} // namespace

bool isExecutableFile(const std::string& path) {
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored) && access(path.c_str(), X_OK) == 0;
}

EngineLaunch findEngine() {
    const std::string shipped = resourcePath("vamo-runtime/python/bin/python3.12");
    if (isExecutableFile(shipped))
        return {shipped, serverModule, true};
    if (auto configured = configuredEngine())
        return *configured;
    return {pathInHome(".vamo/venv/bin/python"), serverModule};
}

std::map<std::string, std::string> bundledEnvironment() {
    std::map<std::string, std::string> variables;
    for (char** entry = environ; *entry; ++entry) {
        const std::string variable = *entry;
        const std::size_t equals = variable.find('=');
        if (equals != std::string::npos)
            variables[variable.substr(0, equals)] = variable.substr(equals + 1);
    }
    for (const char* name : {"PYTHONHOME", "PYTHONPATH", "PYTHONSTARTUP", "PYTHONEXECUTABLE",
                             "PYTHONNOUSERSITE", "PYTHONDONTWRITEBYTECODE", "PYTHONUNBUFFERED"})
        variables.erase(name);
    const std::string yes = "1";
    variables.insert(
        {{"PYTHONNOUSERSITE", yes}, {"PYTHONDONTWRITEBYTECODE", yes}, {"PYTHONUNBUFFERED", yes}});
    return variables;
}

} // namespace tavik
