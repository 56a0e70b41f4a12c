#pragma once

#include "platform/desktop/Applications.h"

namespace tavik {

// A desktop with the one application "Notes", and "Broken", which does not start.
class FakeApplications : public Applications {
public:
    bool open(const std::string& name, std::stop_token) override {
        if (name == "Broken")
            throw LaunchError("it ended at once");
        return name == "Notes";
    }
    bool openUrl(const std::string& url, std::stop_token) override {
        return url.starts_with("https://");
    }
};

} // namespace tavik
