#pragma once

#include <memory>
#include <string>
#include <vector>

namespace tavik {

// What the desktop entry of an application says (freedesktop.org's Desktop Entry 1.5). Texts that
// it does not have are empty.
struct InstalledApplication {
    std::string id;          // of the entry, without ".desktop"
    std::string path;        // of the entry's file
    std::string displayName; // for people, in the user's language
    std::string name;        // the shorter one, in the user's language
    std::string plainName;   // untranslated
    std::string genericName; // such as "Web Browser", in the user's language
    std::string plainGenericName;
    std::string executable;  // the program's file name
    std::string windowClass; // of its windows, under X11
    bool isShown = true;     // in the desktop's menus

    // The part of the identifier behind the vendor's reversed domain.
    std::string shortId() const { return id.substr(id.rfind('.') + 1); }
};

using InstalledApplications = std::vector<InstalledApplication>;

// All of them, hidden ones too: those that are shown first, then by name and identifier. Reads
// files only after a change. Safe from any thread; may block on a slow disk.
std::shared_ptr<const InstalledApplications> installedApplications();

} // namespace tavik
