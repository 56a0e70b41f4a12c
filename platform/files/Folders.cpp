#include "platform/files/Folders.h"

#include <cerrno>
#include <filesystem>
#include <sys/stat.h>

namespace tavik {

void createPrivateFolders(const std::string& folder, std::error_code& error) {
    error.clear();
    std::filesystem::path built;
    for (const auto& component : std::filesystem::path(folder)) {
        built /= component;
        if (mkdir(built.c_str(), 0700) == 0 || errno == EEXIST)
            continue;
        if (!std::filesystem::is_directory(built)) {
            error = std::error_code(errno, std::generic_category());
            return;
        }
    }
    std::error_code ignored;
    if (!std::filesystem::is_directory(built, ignored))
        error = std::make_error_code(std::errc::not_a_directory);
}

} // namespace tavik
