#include "platform/defaults/UserDefaults.h"

#include "app/Log.h"
#include "app/Paths.h"
#include "platform/files/AtomicFile.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace tavik {

namespace {

constexpr std::size_t maximumBytes = 4 * 1024 * 1024;

} // namespace

UserDefaults::UserDefaults(std::string filePath)
    : path(std::move(filePath)) {}

UserDefaults& UserDefaults::standard() {
    static UserDefaults defaults(preferencesPath());
    return defaults;
}

std::optional<UserDefaults::FileVersion> UserDefaults::currentVersion() const {
    struct stat status {};
    if (stat(path.c_str(), &status) != 0)
        return std::nullopt;
    return FileVersion{status.st_mtim.tv_sec * 1'000'000'000LL + status.st_mtim.tv_nsec,
                       status.st_size, status.st_ino};
}

void UserDefaults::reloadIfChanged() {
    const auto version = currentVersion();
    if (version == loadedVersion)
        return;
    loadedVersion = version;
    ++changes;
    settings = Json::object();
    unreadable = false;
    if (!version)
        return;
    const auto content = readWholeFile(path, maximumBytes);
    auto parsed = content ? parseJson(*content) : std::nullopt;
    unreadable = !parsed || !parsed->is_object();
    if (unreadable)
        log("[settings] ⚠ the settings file could not be read as a JSON object — using the "
            "defaults");
    else
        settings = std::move(*parsed);
}

std::optional<Json> UserDefaults::value(std::string_view key) {
    const std::lock_guard lock(mutex);
    reloadIfChanged();
    const Json* found = member(settings, key);
    return found ? std::optional(*found) : std::nullopt;
}

std::optional<std::string> UserDefaults::string(std::string_view key) {
    const auto found = value(key);
    return found && found->is_string() ? std::optional(found->get<std::string>()) : std::nullopt;
}

std::optional<bool> UserDefaults::boolean(std::string_view key) {
    const auto found = value(key);
    return found && found->is_boolean() ? std::optional(found->get<bool>()) : std::nullopt;
}

std::optional<double> UserDefaults::number(std::string_view key) {
    const auto found = value(key);
    return found && found->is_number() ? std::optional(found->get<double>()) : std::nullopt;
}

void UserDefaults::set(std::string_view key, const Json& newValue) {
    const std::lock_guard lock(mutex);
    reloadIfChanged();
    Json changed = settings;
    changed[std::string(key)] = newValue;
    write(std::move(changed));
}

void UserDefaults::remove(std::string_view key) {
    const std::lock_guard lock(mutex);
    reloadIfChanged();
    Json changed = settings;
    if (changed.erase(std::string(key)) > 0)
        write(std::move(changed));
}

void UserDefaults::write(Json changed) {
    if (unreadable)
        std::filesystem::rename(path, path + ".unreadable");
    unreadable = false;
    replaceFile(path, changed.dump(2, ' ', false, Json::error_handler_t::replace) + "\n");
    settings = std::move(changed);
    loadedVersion = currentVersion();
    ++changes;
}

std::uint64_t UserDefaults::revision() {
    const std::lock_guard lock(mutex);
    reloadIfChanged();
    return changes;
}

} // namespace tavik
