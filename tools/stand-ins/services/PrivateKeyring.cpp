#include "tools/stand-ins/services/PrivateKeyring.h"

#include "tools/stand-ins/services/AwaitStart.h"

#include <filesystem>
#include <stdexcept>

namespace tavik {

namespace {

using namespace std::chrono_literals;

constexpr auto toolPatience = 10s;

// The first unlocking makes a keyring with this password.
constexpr auto password = "a password";

} // namespace

PrivateKeyring::PrivateKeyring() {
    startKeyring({"--unlock"});
}

void PrivateKeyring::restart() {
    keyringProcess->kill();
    if (!bus().isRunning())
        sessionBus.restart();
    startKeyring({"--unlock"});
}

void PrivateKeyring::restartAsNew() {
    keyringProcess->kill();
    std::filesystem::remove_all(folder.file(".local"));
    startKeyring({"--start"});
}

void PrivateKeyring::startKeyring(const std::vector<std::string>& options) {
    std::vector<std::string> command = {"gnome-keyring-daemon", "--foreground",
                                        "--components=secrets",
                                        "--control-directory=" + folder.file("control")};
    command.insert(command.end(), options.begin(), options.end());
    keyringProcess = std::make_unique<ChildProcess>(ChildProcess::Command{
        .arguments = command,
        .environment = {{"HOME", folder.path()},
                        {"XDG_RUNTIME_DIR", folder.path()},
                        {"XDG_DATA_HOME", std::nullopt},
                        {"GSETTINGS_BACKEND", "memory"},
                        {"DBUS_SESSION_BUS_ADDRESS", address()},
                        {"DISPLAY", std::nullopt}},
        .outputPath = folder.file("keyring.log"),
        .input = password,
    });
    awaitStart("keyring", *keyringProcess, folder.file("keyring.log"), [this] {
        return call({"org.freedesktop.DBus", "/org/freedesktop/DBus",
                     "org.freedesktop.DBus.NameHasOwner", "string:org.freedesktop.secrets"})
                   .find("true") != std::string::npos;
    });
}

void PrivateKeyring::lock() {
    call({"org.freedesktop.secrets", "/org/freedesktop/secrets",
          "org.freedesktop.Secret.Service.Lock",
          "array:objpath:/org/freedesktop/secrets/aliases/default"});
}

std::string PrivateKeyring::secretTool(const std::vector<std::string>& arguments,
                                       const std::string& input) {
    std::vector<std::string> command = {"secret-tool"};
    command.insert(command.end(), arguments.begin(), arguments.end());
    return runTool(command, input);
}

std::string PrivateKeyring::call(const std::vector<std::string>& method) {
    std::vector<std::string> command = {"dbus-send", "--session", "--print-reply",
                                        "--dest=" + method.front()};
    command.insert(command.end(), method.begin() + 1, method.end());
    return runTool(command, "");
}

std::string PrivateKeyring::runTool(const std::vector<std::string>& command,
                                    const std::string& input) {
    const std::string output = folder.file("output");
    std::filesystem::remove(output);
    ChildProcess tool({
        .arguments = command,
        .environment = {{"HOME", folder.path()}, {"DBUS_SESSION_BUS_ADDRESS", address()}},
        .outputPath = output,
        .input = input,
    });
    if (tool.waitFor(toolPatience) != 0)
        throw std::runtime_error(command.front() + " failed: " + readFile(output));
    return readFile(output);
}

} // namespace tavik
