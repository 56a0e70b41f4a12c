#pragma once

#include "platform/json/Json.h"

#include <string>

namespace tavik {

// What a tool call came to, as the caller sees it.
struct ToolReply {
    std::string text;
    bool isError = false;
};

// Whether `object` reports a failure of its own: "ok" or "success" false, "blocked" true, or
// anything said under "error" or "blocked".
bool failedPayload(const Json& object);

// The text parts of a "tools/call" result, a line each, and whether it failed, by its own flag or
// by what its parts say.
// Protocol: Model Context Protocol, revision 2024-11-05, "Tools", https://modelcontextprotocol.io
ToolReply toolReplyOf(const Json& result);

} // namespace tavik
