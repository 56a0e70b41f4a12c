#pragma once

#include "mcp/MCPHub.h"
#include "memory/MemoryStore.h"
#include "platform/desktop/Applications.h"
#include "platform/http/HttpSession.h"

#include <functional>
#include <string>

namespace tavik {

// What the tools work with; as it stands, the real things. All of it outlives the toolbox.
struct ToolServices {
    HttpSession* http = &sharedHttpSession();
    Applications* applications = &desktopApplications();
    MCPHub* engine = &MCPHub::shared();
    // What is on record about a query of the last so many days, in words.
    std::function<std::string(const std::string& query, int daysBack)> recall =
        [](const std::string& query, int daysBack) {
            return MemoryStore::shared().search(query, daysBack);
        };
};

} // namespace tavik
