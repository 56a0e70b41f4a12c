#pragma once

#include <cstdlib>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace tavik {

// A home folder for one benchmark run, so that the user's own files and keyring stay as they are.
class FreshHome {
public:
    FreshHome()
        : folder((std::filesystem::temp_directory_path() / "tavik-bench-XXXXXX").string()) {
        if (!mkdtemp(folder.data()))
            throw std::runtime_error("no temporary folder could be made");
        setenv("HOME", folder.c_str(), 1);
        setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1); // the keyring, too, is the user's own
    }
    ~FreshHome() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    FreshHome(const FreshHome&) = delete;
    FreshHome& operator=(const FreshHome&) = delete;

    std::string file(const std::string& name) const { return folder + "/" + name; }

private:
    std::string folder;
};

} // namespace tavik
