#include "tests/support/services/ServiceFolder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace tavik {

// Short, since the path of a Unix socket has to fit into 108 bytes.
ServiceFolder::ServiceFolder()
    : folder((std::filesystem::temp_directory_path() / "tavik-XXXXXX").string()) {
    if (!mkdtemp(folder.data()))
        throw std::system_error(errno, std::generic_category(), folder);
}

ServiceFolder::~ServiceFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

} // namespace tavik
