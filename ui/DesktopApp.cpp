#include "ui/DesktopApp.h"

#include "app/InstanceChannel.h"
#include "app/Log.h"
#include "app/Permissions.h"
#include "app/SignalForensics.h"
#include "app/TavikApp.h"
#include "brains/BrainConnection.h"
#include "brains/Keychain.h"
#include "memory/MemoryStore.h"
#include "platform/concurrency/Clock.h"
#include "platform/concurrency/MainQueue.h"
#include "ui/Appearance.h"
#include "ui/Desktop.h"
#include "ui/QtMainQueue.h"
#include "ui/Symbols.h"

#include <QApplication>
#include <QSessionManager>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <memory>

namespace tavik {

namespace {

// Qt ends the program by itself when the display is lost, in the middle of whatever the main thread
// does. What is to be written down is written then all the same.
std::unique_ptr<TavikApp>& runningApp() {
    static std::unique_ptr<TavikApp> app;
    return app;
}

void endWithTheDisplay() {
    if (!runningApp())
        return;
    log("[tavik] ⚠ the display is lost, quitting");
    runningApp().reset();
    TavikLog::flush();
    std::_Exit(EXIT_FAILURE);
}

// Qt tells of it right before it ends the program, when the objects that our threads work with are
// all there; at the exit the ones that were made last have gone already.
void noticeLostDisplay(QtMsgType type, const QMessageLogContext& context, const QString& message) {
    std::fprintf(stderr, "%s\n", qUtf8Printable(qFormatLogMessage(type, context, message)));
    if (message.contains("connection broke"))
        endWithTheDisplay();
}

void prepare(QApplication& application) {
    QApplication::setApplicationName("tavik");
    QApplication::setApplicationDisplayName("Tavik");
    QGuiApplication::setDesktopFileName("ai.tavik");
    QApplication::setQuitOnLastWindowClosed(false);
    QApplication::setWindowIcon(phaseIcon(TavikPhase::Kind::listening));
    // The session's end is no reason to be started again with the next one: the autostart switch
    // is.
    QObject::connect(
        &application, &QGuiApplication::commitDataRequest, &application,
        [](QSessionManager& session) { session.setRestartHint(QSessionManager::RestartNever); },
        Qt::DirectConnection);
    followDesktopTheme(application);
}

void checkConnection(const std::string& provider, const std::string& key, const std::string& model,
                     std::stop_token stop) {
    BrainConnection().check(provider, key, model, std::move(stop));
}

void show(Desktop& desktop, const std::string& activationToken) {
    if (!activationToken.empty())
        setenv("XDG_ACTIVATION_TOKEN", activationToken.c_str(), 1);
    desktop.showFront();
}

void run(TavikApp& app) {
    Permissions permissions(desktopPermissions(app.services().audio()));
    const auto previews = makeSpeechDispatcher();
    Desktop desktop({.state = app.state(),
                     .audio = app.services().audio(),
                     .previews = *previews,
                     .clock = systemClock(),
                     .keychain = Keychain::standard(),
                     .permissions = permissions,
                     .memory = []() -> MemoryStore& { return MemoryStore::shared(); },
                     .checkConnection = checkConnection});
    const InstanceChannel channel([&desktop](const std::string& token) {
        MainQueue::shared().async([&desktop, token] { show(desktop, token); });
    });
    MainQueue::shared().async([&] {
        app.state().startIfPossible();
        desktop.welcome();
    });
    SignalForensics::install();
    QApplication::exec();
}

} // namespace

void runDesktop(int argumentCount, char** arguments) {
    std::signal(SIGPIPE, SIG_IGN); // a display that is lost must not end us just so
    QApplication application(argumentCount, arguments);
    prepare(application);
    const QtMainQueue mainQueue;
    runningApp() = std::make_unique<TavikApp>();
    qInstallMessageHandler(noticeLostDisplay);
    std::atexit(endWithTheDisplay);
    run(*runningApp());
    runningApp().reset();
}

} // namespace tavik
