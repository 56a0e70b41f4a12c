#pragma once

#include "platform/desktop/DesktopApplications.h"
#include "platform/desktop/DesktopContext.h"
#include "platform/text/Text.h"
#include "tests/support/Eventually.h"
#include "tools/stand-ins/services/PrivateDisplay.h"
#include "tools/stand-ins/services/TemporaryFolder.h"

#include <chrono>
#include <functional>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <memory>
#include <string>

namespace tavik {

// A desktop of our own: an X server with a window manager, and the applications of a private home
// folder. The server serves all tests of the program; each leaves it as it was.
class DesktopTest : public testing::Test {
protected:
    DesktopTest();
    ~DesktopTest() override;

    PrivateDisplay& display();

    // Puts an entry with these lines where desktops look for them, or any file into the home
    // folder.
    static void install(const std::string& id, const std::string& lines);
    static std::string home(const std::string& path);

    // The command that shows a window of a class.
    static std::string windowCommand(const std::string& className);
    // Shows a window, and waits until its application is the frontmost.
    static std::unique_ptr<ChildProcess> showWindow(const std::string& className);
    // The same for any type of window, and for an application with another name, empty for none.
    static std::unique_ptr<ChildProcess>
    showWindow(const std::string& className, const std::string& type, const std::string& name);

    // "frontmost | open, open".
    static std::string context();
    // What `open` says: "opened", "not found" or why not.
    std::string open(const std::string& name);

    DesktopApplications applications;
};

std::chrono::milliseconds timeOf(const std::function<void()>& work);

} // namespace tavik
