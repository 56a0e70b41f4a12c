#pragma once

#include "tools/stand-ins/services/TemporaryFolder.h"

#include <string>

namespace tavik::demo {

// A fresh home folder for this process and its children, removed at the end: nothing of the user's
// own desktop, sound or settings is seen or touched. Make it before any other thread starts.
class PrivateHome {
public:
    // Proxies and keys of the environment are kept only when the real provider is to be asked.
    enum class Network { none, provider };

    explicit PrivateHome(Network network);

    std::string file(std::string_view name) const { return folder.file(name); }

private:
    TemporaryFolder folder;
};

} // namespace tavik::demo
