#pragma once

#include "platform/json/Json.h"
#include "platform/process/SpawnedProcess.h"

#include <chrono>
#include <optional>
#include <string>

namespace tavik {

// An agent that has started the program as its bridge: "tavik --mcp" behind pipes.
class AgentAtTheShim {
public:
    // In the home folder `home`; with an empty `socket` the bridge looks where Tavik usually
    // serves.
    AgentAtTheShim(const std::string& home, const std::string& socket,
                   const std::string& program = TAVIK_PROGRAM);

    SpawnedProcess& shim() { return process; }

    // Hands all bytes over; false when nobody takes them for a while.
    bool sendBytes(std::string_view bytes);
    bool send(const Json& message) { return sendBytes(compactJson(message) + "\n"); }

    // At least so many bytes of what the bridge says; what there is when it says no more.
    std::string read(std::size_t bytes);
    std::optional<Json> readMessage();
    Json ask(const Json& message);

    // Its last words, on standard error.
    std::string complaint();

    // The exit status; none when it does not end by itself within `patience`.
    std::optional<int> exitStatus(std::chrono::milliseconds patience = std::chrono::seconds(5));

private:
    bool receive();

    SpawnedProcess process;
    std::string said;
};

// A call of a desktop tool.
Json callOf(const Json& id, const std::string& tool, const Json& arguments = Json::object());

} // namespace tavik
