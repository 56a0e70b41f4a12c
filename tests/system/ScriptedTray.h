#pragma once

#include "platform/concurrency/Locked.h"
#include "tests/platform/desktop/BusPeer.h"

#include <optional>
#include <string>
#include <vector>

namespace tavik {

// A desktop's tray on a bus, without pictures: it takes items, and reads what they tell.
class ScriptedTray {
public:
    explicit ScriptedTray(const std::string& address);

    // The bus names of the items that registered, in order.
    std::vector<std::string> items();

    // Of the last item.
    std::string toolTip();
    std::size_t icon(); // a number that tells pictures apart
    // The menu's entry with that label; nothing when there is none, or it is hidden or disabled.
    std::optional<int> menuEntry(const std::string& label);
    void choose(int entry);

private:
    GVariant* answer(const BusCall& call);
    GVariant* property(const char* name);
    std::string menuPath();
    std::string item();

    Locked<std::vector<std::string>> registered;
    BusPeer peer; // last: it answers from the above
};

} // namespace tavik
