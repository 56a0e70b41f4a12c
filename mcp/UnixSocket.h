#pragma once

#include "platform/files/FileDescriptor.h"

#include <optional>
#include <string>
#include <string_view>
#include <sys/un.h>

// The stream socket at which external agents reach Tavik.
namespace tavik {

// Where to serve and to connect: the path in TAVIK_MCP_SOCKET when that is set, else the one in the
// user's home folder.
std::string mcpSocketPath();

// Whether `path` fits an address on every system, that is, in 103 bytes before its zero.
bool fitsSocketAddress(std::string_view path);

// The address of `path`; nothing, with the reason in errno, for an empty path or one too long.
std::optional<sockaddr_un> socketAddress(std::string_view path);

// A stream connected to the socket at `path`; none, with the reason in errno, when nobody listens
// there. Blocks only while a server's queue is full.
FileDescriptor connectSocket(const std::string& path);

} // namespace tavik
