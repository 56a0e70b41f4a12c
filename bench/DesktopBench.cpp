// What the desktop side costs, on an X server and a sound server of its own: from the start of the
// program to its tray item and to listening, with and without its files in memory; memory and
// processor time while it waits; the orb's frames; the opening of the settings, and of a long
// history.

#include "bench/FreshHome.h"
#include "platform/desktop/XConnection.h"
#include "tests/ui/OldConversations.h"
#include "tests/ui/UiWorld.h"
#include "tools/stand-ins/services/PrivateDisplay.h"
#include "tools/stand-ins/services/PrivatePulseAudio.h"
#include "ui/Appearance.h"
#include "ui/Desktop.h"
#include "ui/settings/SettingsWindow.h"

#include <QApplication>
#include <QListView>
#include <QListWidget>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <fcntl.h>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <iterator>
#include <set>
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

// The files that a running program has mapped, and what lies in its folder of resources.
std::set<std::string> filesOf(pid_t process) {
    std::set<std::string> files;
    std::ifstream maps(fmt::format("/proc/{}/maps", process));
    for (std::string line; std::getline(maps, line);)
        if (const auto path = line.find('/'); path != std::string::npos)
            files.insert(line.substr(path));
    for (const char* folder : {"resources", "/usr/share/pocketsphinx"})
        if (std::filesystem::is_directory(folder))
            for (const auto& entry : std::filesystem::recursive_directory_iterator(folder))
                if (entry.is_regular_file())
                    files.insert(entry.path());
    return files;
}

// Has the system forget what it read of the files, as far as no running program uses them.
void forget(const std::set<std::string>& files) {
    for (const std::string& path : files) {
        const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (descriptor < 0)
            continue;
        posix_fadvise(descriptor, 0, 0, POSIX_FADV_DONTNEED);
        close(descriptor);
    }
}

class StartedTavik {
public:
    enum class Display { ours, none };

    StartedTavik(const FreshHome& home, const std::string& program, Display display = Display::ours)
        : output(home.file("output")) {
        std::ofstream(output).close();
        start = steady_clock::now();
        std::map<std::string, std::optional<std::string>> environment;
        if (display == Display::none)
            environment["DISPLAY"] = std::nullopt;
        process = std::make_unique<ChildProcess>(ChildProcess::Command{
            .arguments = {program}, .environment = environment, .outputPath = output, .input = ""});
    }

    double millisecondsTo(const std::string& line) const { return waitFor(output, line, start); }
    pid_t pid() const { return process->pid(); }

private:
    const std::string output;
    steady_clock::time_point start;
    std::unique_ptr<ChildProcess> process;
};

constexpr const char* inTheTray = "[tavik] in the tray";
constexpr const char* listening = "Tavik ready.";

void measureStart(const FreshHome& home, const std::string& program, const std::string& name) {
    const StartedTavik tavik(home, program);
    const double tray = tavik.millisecondsTo(inTheTray);
    fmt::print("start, {}: {:.0f} ms to the tray item, {:.0f} ms to listening\n", name, tray,
               tavik.millisecondsTo(listening));
}

void measureRest(const StartedTavik& tavik) {
    std::this_thread::sleep_for(2s);
    const double before = cpuSeconds(tavik.pid());
    std::this_thread::sleep_for(10s);
    fmt::print("waiting for the wake phrase, orb hidden: {:.2f} % of a core, {:.0f} MB resident\n",
               (cpuSeconds(tavik.pid()) - before) * 10,
               field(tavik.pid(), "statm", 1) * static_cast<double>(sysconf(_SC_PAGESIZE)) / 1e6);
}

void measureProgram(const FreshHome& home, const std::string& program) {
    writeFile(home.file("Library/Preferences/ai.tavik.json"), R"({"onboardingDone": true})");
    std::set<std::string> files;
    for (int run = 1; run <= 5; ++run) {
        measureStart(home, program, fmt::format("warm {}", run));
        const StartedTavik tavik(home, program);
        tavik.millisecondsTo(listening);
        files = filesOf(tavik.pid());
        if (run == 5)
            measureRest(tavik);
    }
    for (int run = 1; run <= 3; ++run) {
        forget(files);
        measureStart(home, program, fmt::format("its files not in memory {}", run));
    }
    const StartedTavik withoutWindows(home, program, StartedTavik::Display::none);
    fmt::print("start, warm, without windows, to compare: {:.0f} ms to listening\n",
               withoutWindows.millisecondsTo(listening));
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

void measureSettings(UiServices& services) {
    for (int run = 1; run <= 3; ++run) {
        const auto start = steady_clock::now();
        SettingsWindow window(services);
        window.show();
        QCoreApplication::processEvents();
        window.grab();
        fmt::print("settings opened, {}: {:.0f} ms\n", run, millisecondsSince(start));
    }
}

// How long the window does not react meanwhile is what counts.
void measureHistory(UiWorld& world, UiServices& services, int conversations) {
    writeOldConversations(world.folder.file("Memory.store"), conversations);
    SettingsWindow window(services);
    window.show();
    QCoreApplication::processEvents();
    const auto start = steady_clock::now();
    double longest = 0;
    window.open(SettingsWindow::memoryPage);
    const QListView* list = nullptr;
    for (QListView* each : window.findChildren<QListView*>())
        if (each->accessibleName() == "Conversations")
            list = each;
    while (list->model()->rowCount() < conversations) {
        const auto turn = steady_clock::now();
        QCoreApplication::processEvents();
        window.grab();
        longest = std::max(longest, millisecondsSince(turn));
    }
    const double whole = millisecondsSince(start);
    const auto filling = steady_clock::now();
    QListWidget peer;
    for (int row = 0; row < conversations; ++row)
        peer.addItem(list->model()->index(row, 0).data().toString());
    fmt::print(
        "history of {} conversations: shown after {:.0f} ms, the window busy for {:.0f} ms at "
        "most; {:.0f} ms if the list were filled line by line\n",
        conversations, whole, longest, millisecondsSince(filling));
}

void measureWindows(int argumentCount, char** arguments) {
    QApplication application(argumentCount, arguments);
    QApplication::setQuitOnLastWindowClosed(false);
    applyTheme(application, Theme::light);
    UiWorld world;
    UiServices services = world.services();
    {
        Desktop desktop(services);
        measureOrb(world, desktop, TavikPhase::Kind::thinking, "thinking");
        measureOrb(world, desktop, TavikPhase::Kind::speaking, "speaking");
    }
    measureSettings(services);
    measureHistory(world, services, 10'000);
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
            const PrivatePulseAudio sound;
            setenv("PULSE_SERVER", sound.server().c_str(), 1);
            measureProgram(home, arguments[1]);
            unsetenv("PULSE_SERVER");
        }
        measureWindows(argumentCount, arguments);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "bench_desktop: %s\n", error.what());
        return 1;
    }
}
