#include "mcp/ClientConfiguration.h"

#include "app/Paths.h"

#include <nlohmann/json.hpp>

namespace tavik {

// The unordered kind of JSON object sorts its keys.
std::string mcpConfigJSON() {
    constexpr int indentation = 2;
    const nlohmann::json server = {{"command", executablePath()},
                                   {"args", nlohmann::json::array({"--mcp"})}};
    const nlohmann::json configuration = {{"mcpServers", {{"tavik", server}}}};
    return configuration.dump(indentation, ' ', false, nlohmann::json::error_handler_t::replace);
}

} // namespace tavik
