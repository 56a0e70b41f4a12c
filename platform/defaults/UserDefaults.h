#pragma once

#include "platform/json/Json.h"

#include <cstdint>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>

namespace tavik {

// The user's settings: a JSON object in one file. A value of the wrong type counts as missing, so
// that a look-up's default holds. A change made by another process is seen at the next look-up;
// keys that this version does not know survive a write. A file that is no JSON object reads as no
// settings and is kept aside under the added ending ".unreadable" before the first write over it.
// Safe from any thread.
class UserDefaults {
public:
    explicit UserDefaults(std::string path);

    // The settings of the program, in the user's preferences file.
    static UserDefaults& standard();

    std::optional<std::string> string(std::string_view key);
    std::optional<bool> boolean(std::string_view key);
    // Integers and fractions alike.
    std::optional<double> number(std::string_view key);

    // These throw std::system_error when the file cannot be written; the old one then still stands.
    void set(std::string_view key, const Json& value);
    void remove(std::string_view key);

    // Another number whenever the settings have changed, whoever changed them.
    std::uint64_t revision();

private:
    struct FileVersion {
        long long modifiedNanoseconds = 0;
        long long size = 0;
        unsigned long long inode = 0;
        bool operator==(const FileVersion&) const = default;
    };

    std::optional<FileVersion> currentVersion() const;
    void reloadIfChanged();
    void write(Json changed);
    std::optional<Json> value(std::string_view key);

    const std::string path;
    std::mutex mutex;
    Json settings = Json::object();           // guarded by mutex
    std::optional<FileVersion> loadedVersion; // guarded by mutex
    std::uint64_t changes = 0;                // guarded by mutex
    bool unreadable = false; // guarded by mutex; the loaded file was no JSON object
};

} // namespace tavik
