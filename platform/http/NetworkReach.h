#pragma once

namespace tavik {

// Whether the kernel knows a way off this machine, over IPv4 or IPv6: an interface that is up, with
// an address and a route. Asks the routing tables only, and sends nothing.
bool hasRouteOut();

} // namespace tavik
