#pragma once

#include <optional>
#include <string>

namespace tavik {

// The server that the setting "localModelURL" names, as an address without "/v1" and without a
// slash at its end. Understands what people write: with and without "http://", "/v1", the path of
// an endpoint, or slashes at the end. Nothing for a server that is not on this machine, or an
// address with a user, a query or a fragment.
std::optional<std::string> localModelServer(const std::string& setting);

} // namespace tavik
