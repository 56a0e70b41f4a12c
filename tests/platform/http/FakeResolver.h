#pragma once

// The system's name resolver of this test program knows two names more: "nowhere.test", which does
// not exist, and "stalled.test", whose look-up hangs.
namespace tavik {

// Lets the hanging look-ups go when it is destroyed.
class StalledLookups {
public:
    StalledLookups();
    ~StalledLookups();
};

} // namespace tavik
