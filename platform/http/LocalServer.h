#pragma once

#include <optional>
#include <string>
#include <vector>

namespace tavik {

// The address of a server on this machine as people write it: with and without "http://", slashes
// at its end, and the path of an endpoint, as far as that consists of `endings`, the outer ones
// first. The result has none of these but the scheme. Nothing for a server elsewhere, or an address
// with a user, a query or a fragment.
std::optional<std::string> localServer(const std::string& written,
                                       const std::vector<std::string>& endings);

} // namespace tavik
