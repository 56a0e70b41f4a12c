#include "tests/platform/desktop/DesktopTest.h"

#include "platform/text/Text.h"

#include <thread>

namespace tavik {

namespace {

using namespace std::chrono_literals;
using std::chrono::steady_clock;

// GLib reads these once, so they are set before anybody asks: no application of this machine, and
// no session bus unless a test names one.
const bool hasPrivateDesktop = setenv("XDG_DATA_DIRS", "/nonexistent", 1) == 0 &&
                               setenv("XDG_CONFIG_DIRS", "/nonexistent", 1) == 0 &&
                               setenv("XDG_CURRENT_DESKTOP", "Test", 1) == 0 &&
                               setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1) == 0 &&
                               setenv("LANGUAGE", "de", 1) == 0;

std::unique_ptr<PrivateDisplay>& sharedDisplay() {
    static std::unique_ptr<PrivateDisplay> display;
    return display;
}

} // namespace

DesktopTest::DesktopTest() {
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
    if (!sharedDisplay()) {
        sharedDisplay() = std::make_unique<PrivateDisplay>();
        sharedDisplay()->startWindowManager();
    }
    setenv("DISPLAY", display().name().c_str(), 1);
}

DesktopTest::~DesktopTest() {
    unsetenv("WAYLAND_DISPLAY");
}

PrivateDisplay& DesktopTest::display() {
    return *sharedDisplay();
}

std::string DesktopTest::home(const std::string& path) {
    return std::string(std::getenv("HOME")) + "/" + path;
}

void DesktopTest::install(const std::string& id, const std::string& lines) {
    writeFile(home(".local/share/applications/" + id + ".desktop"),
              "[Desktop Entry]\nType=Application\n" + lines);
}

std::string DesktopTest::windowCommand(const std::string& className) {
    return std::string(TAVIK_WINDOW_PROGRAM) + " " + className;
}

std::unique_ptr<ChildProcess> DesktopTest::showWindow(const std::string& className) {
    return showWindow(className, "NORMAL", className);
}

std::unique_ptr<ChildProcess> DesktopTest::showWindow(const std::string& className,
                                                      const std::string& type,
                                                      const std::string& name) {
    auto window = std::make_unique<ChildProcess>(
        ChildProcess::Command{.arguments = {TAVIK_WINDOW_PROGRAM, className, type},
                              .environment = {},
                              .outputPath = "",
                              .input = ""});
    EXPECT_TRUE(eventually([&] { return name.empty() || context().starts_with(name + " |"); }))
        << context();
    return window;
}

std::string DesktopTest::context() {
    const DesktopContext read = readDesktopContext();
    return read.frontmostApplication + " | " + joined(read.openApplications, ", ");
}

std::string DesktopTest::open(const std::string& name) {
    try {
        return applications.open(name, {}) ? "opened" : "not found";
    } catch (const LaunchError& error) {
        return error.what();
    }
}

std::chrono::milliseconds timeOf(const std::function<void()>& work) {
    const auto start = steady_clock::now();
    work();
    return std::chrono::duration_cast<std::chrono::milliseconds>(steady_clock::now() - start);
}

} // namespace tavik
