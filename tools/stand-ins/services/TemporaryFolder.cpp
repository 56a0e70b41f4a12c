#include "tools/stand-ins/services/TemporaryFolder.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace tavik {

// Short, since the path of a Unix socket has to fit into 108 bytes.
TemporaryFolder::TemporaryFolder()
    : folder((std::filesystem::temp_directory_path() / "tavik-XXXXXX").string()) {
    if (!mkdtemp(folder.data()))
        throw std::system_error(errno, std::generic_category(), folder);
}

TemporaryFolder::~TemporaryFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(folder, ignored);
}

void writeFile(const std::string& path, std::string_view content) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << content;
}

std::string readFile(const std::string& path) {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
}

} // namespace tavik
