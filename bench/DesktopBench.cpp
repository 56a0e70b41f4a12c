// What the desktop side costs, on an X server of its own: from the start of the program to its tray
// item, memory and processor time at rest with the orb hidden, the orb's frames, and the opening of
// the settings.

#include "bench/FreshHome.h"
#include "platform/desktop/XConnection.h"
#include "tests/ui/UiWorld.h"
#include "tools/stand-ins/services/PrivateDisplay.h"
#include "ui/Appearance.h"
#include "ui/Desktop.h"
#include "ui/settings/SettingsWindow.h"

#include <QApplication>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/resource.h>
#include <thread>
#include <unistd.h>

namespace {

using namespace tavik;
using namespace std::chrono_literals;
using std::chrono::steady_clock;

double millisecondsSince(steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(steady_clock::now() - start).count();
}

// A tray of the old kind, as far as a program that looks for one can see.
class Tray {
public:
    Tray()
        : x(XConnection::open()) {
        if (!x)
            throw std::runtime_error("there is no X server");
        const xcb_window_t window = xcb_generate_id(x->get());
        xcb_create_window(x->get(), XCB_COPY_FROM_PARENT, window, x->root(), 0, 0, 1, 1, 0,
                          XCB_WINDOW_CLASS_INPUT_OUTPUT, XCB_COPY_FROM_PARENT, 0, nullptr);
        xcb_set_selection_owner(x->get(), window, x->atom("_NET_SYSTEM_TRAY_S0"), XCB_CURRENT_TIME);
        xcb_flush(x->get());
    }

private:
    std::unique_ptr<XConnection> x;
};

double waitFor(const std::string& path, const std::string& text, steady_clock::time_point start) {
    while (readFile(path).find(text) == std::string::npos) {
        if (steady_clock::now() - start > 20s)
            throw std::runtime_error("tavik did not get ready:\n" + readFile(path));
        std::this_thread::sleep_for(500us);
    }
    return millisecondsSince(start);
}

double field(pid_t process, const char* file, int number) {
    std::ifstream stream(fmt::format("/proc/{}/{}", process, file));
    std::vector<std::string> fields(std::istream_iterator<std::string>(stream), {});
    return std::stod(fields.at(static_cast<std::size_t>(number)));
}

double cpuSeconds(pid_t process) {
    const auto ticks = static_cast<double>(sysconf(_SC_CLK_TCK));
    return (field(process, "stat", 13) + field(process, "stat", 14)) / ticks;
}

void measureProgram(const FreshHome& home, const std::string& program) {
    const std::string output = home.file("output");
    for (int run = 1; run <= 5; ++run) {
        std::ofstream(output).close();
        const auto start = steady_clock::now();
        ChildProcess tavik(
            {.arguments = {program}, .environment = {}, .outputPath = output, .input = ""});
        fmt::print("start {} to tray item: {:.0f} ms\n", run,
                   waitFor(output, "[tavik] in the tray", start));
        if (run < 5)
            continue;
        std::this_thread::sleep_for(2s);
        const double before = cpuSeconds(tavik.pid());
        std::this_thread::sleep_for(10s);
        fmt::print("at rest, orb hidden: {:.2f} % of a core, {:.0f} MB resident\n",
                   (cpuSeconds(tavik.pid()) - before) * 10,
                   field(tavik.pid(), "statm", 1) * static_cast<double>(sysconf(_SC_PAGESIZE)) /
                       1e6);
    }
}

class PaintCounter : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject*, QEvent* event) override {
        paints += event->type() == QEvent::Paint ? 1 : 0;
        return false;
    }
};

double mainThreadSeconds() {
    timespec time{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) / 1e9;
}

void measureOrb(UiWorld& world, Desktop& desktop, TavikPhase::Kind phase, const char* name) {
    world.speech.utteranceTime = 20000;
    if (!world.converse(phase))
        throw std::runtime_error("there was no conversation");
    PaintCounter counter;
    desktop.orb().installEventFilter(&counter);
    const double before = mainThreadSeconds();
    QTimer::singleShot(4s, qApp, &QCoreApplication::quit);
    QApplication::exec();
    const double spent = mainThreadSeconds() - before;
    fmt::print("orb, {}: {:.1f} frames/s, {:.2f} ms a frame, {:.1f} % of a core\n", name,
               counter.paints / 4.0, spent * 1000 / std::max(counter.paints, 1), spent * 25);
    world.state->cancelSession();
    world.reaches(TavikPhase::Kind::idle);
}

void measureWindows(int argumentCount, char** arguments) {
    QApplication application(argumentCount, arguments);
    QApplication::setQuitOnLastWindowClosed(false);
    applyTheme(application, Theme::light);
    UiWorld world;
    UiServices services = world.services();
    Desktop desktop(services);
    measureOrb(world, desktop, TavikPhase::Kind::thinking, "thinking");
    measureOrb(world, desktop, TavikPhase::Kind::speaking, "speaking");
    for (int run = 1; run <= 3; ++run) {
        const auto start = steady_clock::now();
        SettingsWindow window(services);
        window.show();
        QCoreApplication::processEvents();
        window.grab();
        fmt::print("settings opened, {}: {:.0f} ms\n", run, millisecondsSince(start));
    }
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 2) {
        std::fputs("Usage: bench_desktop PROGRAM\n", stderr);
        return 2;
    }
    try {
        const FreshHome home;
        PrivateDisplay display;
        display.startWindowManager();
        setenv("DISPLAY", display.name().c_str(), 1);
        setenv("QT_QPA_PLATFORM", "xcb", 1);
        {
            const Tray tray;
            measureProgram(home, arguments[1]);
        }
        measureWindows(argumentCount, arguments);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_desktop: %s\n", error.what());
        return 1;
    }
}
