#pragma once

#include <string>
#include <string_view>

namespace tavik {

// A fresh folder that is removed with everything in it.
class TemporaryFolder {
public:
    TemporaryFolder();
    ~TemporaryFolder();
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    const std::string& path() const { return folder; }
    std::string file(std::string_view name) const { return folder + "/" + std::string(name); }

private:
    std::string folder;
};

void writeFile(const std::string& path, std::string_view content);
std::string readFile(const std::string& path);

} // namespace tavik
