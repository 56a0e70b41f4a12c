#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace tavik {

// The bytes of a page as UTF-8: in the character set that `contentType` names, else the one the
// page itself declares, else UTF-8. Nothing when they are no text in that character set.
std::optional<std::string> decodedPage(const std::string& bytes, std::string_view contentType);

} // namespace tavik
