#pragma once

#include <string>
#include <vector>

// Some names have a meaning of their own in this test program, for the C library's resolver of
// names and for the desktop's of proxies: "nowhere.test" does not exist, the look-up of
// "stalled.test" hangs, as does that of the proxies for "stalled-proxies.test", which does not
// exist either, and those for "proxied.test" are what a test says.
namespace tavik {

// Lets the hanging look-ups go when it is destroyed.
class StalledLookups {
public:
    StalledLookups();
    ~StalledLookups();
};

// In the desktop's spelling.
void setFakeProxies(const std::vector<std::string>& uris);

} // namespace tavik
