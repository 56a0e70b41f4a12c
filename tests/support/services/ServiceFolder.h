#pragma once

#include <string>
#include <string_view>

namespace tavik {

// A fresh folder for the files of a private service, removed at the end. It throws
// std::system_error when it cannot be made.
class ServiceFolder {
public:
    ServiceFolder();
    ~ServiceFolder();
    ServiceFolder(const ServiceFolder&) = delete;
    ServiceFolder& operator=(const ServiceFolder&) = delete;

    std::string file(std::string_view name) const { return folder + "/" + std::string(name); }

private:
    std::string folder;
};

} // namespace tavik
