#include "app/Paths.h"

#include "platform/text/Environment.h"

#include <filesystem>
#include <pwd.h>
#include <unistd.h>

namespace tavik {

namespace {

std::string homeFromUserDatabase() {
    char buffer[4096];
    passwd entry{};
    passwd* found = nullptr;
    if (getpwuid_r(getuid(), &entry, buffer, sizeof buffer, &found) == 0 && found)
        return found->pw_dir;
    return "/";
}

// The folder above "bin" and "libexec"; /usr when the system does not tell where we are.
std::filesystem::path installPrefix() {
    std::error_code error;
    const auto executable = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error)
        return "/usr";
    auto folder = executable.parent_path();
    if (folder.filename() == "tavik") // in libexec
        folder = folder.parent_path();
    return folder.parent_path();
}

} // namespace

std::string tavikHome() {
    std::string home = environmentValue("HOME");
    if (home.empty())
        home = homeFromUserDatabase();
    while (home.size() > 1 && home.back() == '/')
        home.pop_back();
    return home;
}

std::string pathInHome(std::string_view relative) {
    return (std::filesystem::path(tavikHome()) / relative).string();
}

std::string logPath() {
    return pathInHome("Library/Logs/Tavik/tavik.log");
}

std::string signalLogPath() {
    return pathInHome("Library/Logs/Tavik/signal.log");
}

std::string auditPath() {
    return pathInHome("Library/Application Support/Tavik/audit.jsonl");
}

std::string memoryStorePath() {
    return pathInHome("Library/Application Support/Tavik/Memory.store");
}

std::string allowlistPath() {
    return pathInHome("Library/Application Support/Tavik/guardrails.json");
}

std::string instanceLockPath() {
    return pathInHome("Library/Application Support/Tavik/instance.lock");
}

std::string instanceSocketPath() {
    return pathInHome("Library/Application Support/Tavik/instance.sock");
}

std::string defaultSocketPath() {
    return pathInHome("Library/Application Support/Tavik/tavik-mcp.sock");
}

std::string preferencesPath() {
    return pathInHome("Library/Preferences/ai.tavik.json");
}

std::string legacyKeyPath(std::string_view provider) {
    return pathInHome(".vessa/" + std::string(provider) + "_api_key");
}

std::string resourcePath(std::string_view name) {
    std::filesystem::path folder = environmentValue("TAVIK_RESOURCES");
    if (folder.empty())
        folder = installPrefix() / "share" / "tavik";
    return (folder / name).string();
}

std::string executablePath() {
    return (installPrefix() / "bin" / "tavik").string();
}

std::string programPath() {
    return (installPrefix() / "libexec" / "tavik" / "tavik").string();
}

std::string desktopEntryPath() {
    return (installPrefix() / "share" / "applications" / "ai.tavik.desktop").string();
}

} // namespace tavik
