#include "platform/desktop/DesktopRights.h"
#include "tests/platform/desktop/BusPeer.h"
#include "tests/platform/desktop/DesktopTest.h"
#include "tests/support/StopTiming.h"
#include "tools/stand-ins/services/PrivateBus.h"

#include <csignal>
#include <filesystem>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

namespace tavik {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;
using testing::HasSubstr;

class DesktopApplicationsTest : public DesktopTest {
protected:
    DesktopApplicationsTest() {
        static const bool isInstalled = (installAll(), true);
        (void)isInstalled;
    }
    ~DesktopApplicationsTest() override {
        for (const char* name : {"painter", "notes", "curious"})
            for (const std::string& process : lines(name))
                kill(std::stoi(process), SIGKILL);
        for (const char* name : {"painter", "notes", "curious", "addresses"})
            std::filesystem::remove(home(name));
    }

    static void installAll() {
        // The scripts leave their number behind, one line a start.
        installScript("painter", "Name=Painter\nName[de]=Maler\n",
                      "echo $$ >> " + home("painter") + "; exec " + windowCommand("Painter"));
        installScript("org.test.Notes", "Name=Notes\nStartupWMClass=note-window\n",
                      "echo $$ >> " + home("notes") + "; exec " + windowCommand("note-window"));
        installScript("fails", "Name=Fails\n", "exit 3");
        installScript("crashes", "Name=Crashes\n", "kill -SEGV $$");
        installScript("curious", "Name=Curious\n",
                      "ls -l /proc/self/fd > " + home("descriptors") + "; ps -o sid= $$ > " +
                          home("session") + "; echo $$ >> " + home("curious") + "; sleep 0.7");
        installScript("browser", "Name=Browser\n", "echo \"$#:$1\" >> " + home("addresses"));
        install("hands-over", "Name=Hands Over\nExec=true\n");
        install("hidden", "Name=Hidden\nNoDisplay=true\nExec=true\n");
        install("gone", "Name=Gone\nExec=/nonexistent/program\n");
        for (const char* id : {"org.test.Lively", "org.test.Broken"})
            install(id, std::string("Name=") + id + "\nDBusActivatable=true\nExec=false\n");
        writeFile(home(".local/share/dbus-1/services/org.test.Broken.service"),
                  "[D-BUS Service]\nName=org.test.Broken\nExec=/bin/false\n");
        setDefaults("x-scheme-handler/http=browser.desktop\n"
                    "x-scheme-handler/https=fails.desktop\n");
    }

    static void installScript(const std::string& id, const std::string& entry,
                              const std::string& text) {
        writeFile(home(id + ".sh"), text + "\n");
        install(id, entry + "Exec=sh " + home(id + ".sh") + " %u\n");
    }

    static void setDefaults(const std::string& handlers) {
        writeFile(home(".config/mimeapps.list"), "[Default Applications]\n" + handlers);
    }

    static std::vector<std::string> lines(const std::string& file) {
        return splitDroppingEmpty(readFile(home(file)), '\n');
    }
};

TEST_F(DesktopApplicationsTest, OpensOneAndThenBringsItToTheFront) {
    EXPECT_EQ(open("maler"), "opened");
    ASSERT_TRUE(eventually([] { return context() == "Maler | Maler"; })) << context();
    const auto other = showWindow("Other");
    EXPECT_EQ(open("Painter"), "opened");
    EXPECT_EQ(context(), "Maler | Maler, Other");
    EXPECT_EQ(lines("painter").size(), 1u);

    // One that somebody else has started, known by its windows' class.
    const auto notes = showWindow("note-window", "NORMAL", "Notes");
    EXPECT_EQ(open("Painter"), "opened");
    EXPECT_EQ(open("notes"), "opened");
    EXPECT_EQ(context(), "Notes | Maler, Other, Notes");
    EXPECT_EQ(lines("notes").size(), 0u);

    // A window manager that has stopped shows nothing.
    display().windowManager().suspend();
    EXPECT_EQ(open("Painter"), "It is running, but its window did not come to the front.");
    display().windowManager().resume();
}

TEST_F(DesktopApplicationsTest, SaysWhyOneCannotBeOpened) {
    const std::pair<const char*, const char*> cases[] = {
        {"Hidden", "not found"},
        {"Gone", "not found"},
        {"--help", "not found"},
        {"Fails", "It ended at once, with exit status 3."},
        {"Crashes", "It was ended at once by signal 11 (Segmentation fault)."},
        {"Hands Over", "opened"},
    };
    // A start is looked at for a moment only, which a loaded machine can spend without the program.
    for (const auto& [name, outcome] : cases)
        EXPECT_TRUE(eventually([&] { return open(name) == outcome; }))
            << name << ": " << open(name);
}

TEST_F(DesktopApplicationsTest, NoticesWhatIsInstalledLater) {
    EXPECT_EQ(open("Latecomer"), "not found");
    install("latecomer", "Name=Latecomer\nExec=true\n");
    EXPECT_TRUE(eventually([this] { return open("Latecomer") == "opened"; }));
}

TEST_F(DesktopApplicationsTest, WhatItStartsStandsOnItsOwn) {
    const int inheritable = eventfd(0, 0);
    EXPECT_EQ(open("Curious"), "opened");
    close(inheritable);
    ASSERT_TRUE(eventually([] { return lines("curious").size() == 1u; }));
    const std::string process = lines("curious").front();

    const std::string descriptors = readFile(home("descriptors"));
    EXPECT_THAT(descriptors, HasSubstr("0 -> /dev/null"));
    EXPECT_THAT(descriptors, HasSubstr("2 -> /dev/null"));
    EXPECT_THAT(descriptors, testing::Not(HasSubstr("eventfd")));
    EXPECT_EQ(std::stoi(readFile(home("session"))), std::stoi(process));
    // It ends by itself, and not as a zombie, which would still be listed.
    EXPECT_TRUE(eventually([&] { return !std::filesystem::exists("/proc/" + process); }));
}

TEST_F(DesktopApplicationsTest, OpensWebAddressesWithTheDefaultApplication) {
    const std::string taken[] = {
        "http://example.com",
        "HTTP://user@example.com:8080/a%20b?c=d&e=%25u#f",
        "http://example.com/'\"$(id);`id`|--option",
        "http://[::1]/ü",
    };
    for (const std::string& url : taken)
        EXPECT_TRUE(applications.openUrl(url, {})) << url;
    std::vector<std::string> expected;
    for (const std::string& url : taken)
        expected.push_back("1:" + url);
    EXPECT_EQ(lines("addresses"), expected);

    for (const char* refused :
         {"https://example.com", // its application fails
          "", "-http://example.com", "--help", "example.com", "http://",
          "http:", " http://example.com", "http://example.com\n--x", "http://a b",
          "file:///etc/passwd", "javascript:alert(1)", "mailto:a@b.c", "ftp://example.com"})
        EXPECT_FALSE(applications.openUrl(refused, {})) << refused;
    EXPECT_EQ(lines("addresses"), expected);

    setDefaults("");
    EXPECT_TRUE(eventually([&] { return !applications.openUrl(taken[0], {}); }));
}

TEST_F(DesktopApplicationsTest, ActivatesOneOverTheBus) {
    PrivateBus bus;
    setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
    std::atomic<bool> answers = true;
    std::atomic<int> activations = 0;
    BusPeer application(bus.address(), [&](const BusCall& call) {
        activations += call.member == "Activate" ? 1 : 0;
        return answers ? g_variant_new("()") : nullptr;
    });
    application.own("org.test.Lively");

    EXPECT_EQ(open("lively"), "opened");
    answers = false;
    EXPECT_EQ(open("lively"), "opened"); // it is slow, perhaps
    EXPECT_EQ(activations, 2);
    EXPECT_THAT(open("broken"), HasSubstr("exited with status 1"));
    EXPECT_EQ(open("hands over"), "opened");
}

// A bus that takes connections and never answers.
class SilentBus {
public:
    SilentBus() {
        sockaddr_un name{};
        name.sun_family = AF_UNIX;
        folder.file("bus").copy(name.sun_path, sizeof name.sun_path - 1);
        bind(listener, reinterpret_cast<const sockaddr*>(&name), sizeof name);
        listen(listener, 8);
    }
    ~SilentBus() { close(listener); }

    std::string address() const { return "unix:path=" + folder.file("bus"); }

private:
    TemporaryFolder folder;
    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

TEST_F(DesktopApplicationsTest, EndsAtAStopWhateverHangs) {
    const auto openPainter = [this](const std::stop_token& stop) {
        (void)applications.open("Painter", stop);
    };
    {
        const SilentBus bus;
        setenv("DBUS_SESSION_BUS_ADDRESS", bus.address().c_str(), 1);
        EXPECT_LT(timeToCancel(openPainter), 50ms);
        EXPECT_LT(timeToCancel(microphoneRight), 50ms);
        EXPECT_LT(timeToCancel(accessibilityIsOn), 50ms);
        EXPECT_LT(timeToCancel(switchAccessibilityOn), 50ms);
        EXPECT_LT(timeToCancel(sessionBusAnswers), 50ms);
    }
    setenv("DBUS_SESSION_BUS_ADDRESS", "disabled:", 1);
    display().server().suspend();
    EXPECT_LT(timeToCancel(openPainter), 50ms);
    EXPECT_LT(timeToCancel(screenIsOpen), 50ms);
    display().server().resume();
    EXPECT_EQ(lines("painter").size(), 0u);
    EXPECT_EQ(open("Hands Over"), "opened");
}

} // namespace
} // namespace tavik
