#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

// The whole content of a regular file, or nothing when it is missing, unreadable, no regular file
// or longer than `limit` bytes.
std::optional<std::string> readWholeFile(const std::string& path, std::size_t limit);

// Replaces `path` by a file of mode 0600 with `content`: a reader sees the old content or the new,
// never a part. Creates missing folders. Throws std::system_error.
void replaceFile(const std::string& path, std::string_view content);

} // namespace tavik
