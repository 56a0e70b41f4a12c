#pragma once

#include "platform/desktop/Applications.h"

#include <memory>

namespace tavik {

class LaunchedPrograms;

// The installed applications by GIO, their windows by X11's conventions.
class DesktopApplications : public Applications {
public:
    DesktopApplications();
    ~DesktopApplications() override;

    bool open(const std::string& name, std::stop_token stop) override;
    bool openUrl(const std::string& url, std::stop_token stop) override;

private:
    const std::shared_ptr<LaunchedPrograms> programs;
};

} // namespace tavik
