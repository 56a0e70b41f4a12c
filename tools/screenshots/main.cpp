// tavik-screenshots FOLDER light|dark 1|2: every window and each of its states as a picture, from
// an X server of its own.

#include "tests/ui/UiWorld.h"
#include "tools/stand-ins/services/PrivateDisplay.h"
#include "ui/Appearance.h"
#include "ui/Desktop.h"
#include "ui/onboarding/OnboardingWindow.h"
#include "ui/settings/HotkeyRecorder.h"
#include "ui/settings/SettingsWindow.h"

#include <QApplication>
#include <QComboBox>
#include <QDir>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QListWidget>
#include <QMenu>
#include <QPainter>
#include <QPushButton>
#include <QTest>
#include <cstdio>
#include <stdexcept>

namespace {

using namespace tavik;
using Kind = TavikPhase::Kind;

class Photographer {
public:
    Photographer(QString folder, QString suffix)
        : target(std::move(folder))
        , ending(std::move(suffix)) {}

    void shoot(QWidget& widget, const QString& name) const {
        if (qobject_cast<QMenu*>(&widget))
            widget.resize(widget.sizeHint());
        const auto settled = std::chrono::steady_clock::now() + std::chrono::milliseconds(250);
        UiWorld::until([&] { return std::chrono::steady_clock::now() > settled; });
        save(widget.grab(), name);
    }

    // On the colour of a desktop, through which the glow shows.
    void shootTranslucent(QWidget& widget, const QString& name) const {
        const QPixmap picture = widget.grab();
        QPixmap desktop(picture.size());
        desktop.setDevicePixelRatio(picture.devicePixelRatio());
        desktop.fill(ending.startsWith("dark") ? QColor(30, 34, 46) : QColor(196, 205, 222));
        QPainter(&desktop).drawPixmap(0, 0, picture);
        save(desktop, name);
    }

private:
    void save(const QPixmap& picture, const QString& name) const {
        const QString path = QString("%1/%2-%3.png").arg(target, name, ending);
        if (!picture.save(path))
            throw std::runtime_error("cannot write " + path.toStdString());
        std::puts(path.toUtf8().constData());
    }

    const QString target;
    const QString ending;
};

template<typename Control>
Control& named(QWidget& window, const QString& name) {
    for (Control* control : window.findChildren<Control*>())
        if ((control->accessibleName() == name || control->property("text") == name) &&
            control->isVisibleTo(&window))
            return *control;
    throw std::runtime_error("there is no " + name.toStdString());
}

void require(bool happened, const char* what) {
    if (!happened)
        throw std::runtime_error(std::string("this did not happen: ") + what);
}

bool shows(QWidget& window, const QString& text) {
    return UiWorld::until([&] {
        for (const QLabel* label : window.findChildren<QLabel*>())
            if (label->isVisibleTo(&window) && label->text().startsWith(text))
                return true;
        return false;
    });
}

void shootBrain(UiWorld& world, SettingsWindow& window, const Photographer& camera) {
    window.open(SettingsWindow::brainPage);
    require(shows(window, "Add an AI provider key"), "the look for a key");
    camera.shoot(window, "settings-brain");
    auto& models = named<QComboBox>(window, "Model");
    models.setEditText("gemini-2.5-flash");
    emit models.lineEdit()->editingFinished();
    QTest::keyClicks(&named<QLineEdit>(window, "API key"), "sk-wrong");
    world.verdict = [](const std::string&) {
        return "Your provider didn't accept this key or its access permissions. Check the key in "
               "your provider's account.";
    };
    named<QPushButton>(window, "Check and Save").click();
    camera.shoot(window, "settings-brain-refused");
    world.verdict = [](const std::string&) { return ""; };
    named<QPushButton>(window, "Check and Save").click();
    require(shows(window, "A key is saved"), "the saving of a key");
    camera.shoot(window, "settings-brain-checked");
}

void shootVoice(UiWorld& world, SettingsWindow& window, const Photographer& camera) {
    window.open(SettingsWindow::voicePage);
    auto& list = named<QListWidget>(window, "Voices");
    require(UiWorld::until([&] { return list.count() == 5; }), "the list of voices");
    world.sound = 0.08F;
    camera.shoot(window, "settings-voice");
    list.setCurrentRow(3);
    world.previews.utteranceTime = 60000;
    named<QPushButton>(window, "Hear a sample of this voice").click();
    camera.shoot(window, "settings-voice-preview");
    named<QPushButton>(window, "Stop preview of Samantha").click();
    world.previews.isMissing = true;
    require(shows(window, "The speech service"), "the loss of the speech service");
    camera.shoot(window, "settings-voice-missing");
    world.previews.isMissing = false;
    world.sound = 0;
}

void shootActivation(UiWorld& world, SettingsWindow& window, const Photographer& camera) {
    window.open(SettingsWindow::activationPage);
    camera.shoot(window, "settings-activation");
    auto& recorder = *window.findChild<HotkeyRecorder*>();
    recorder.click();
    camera.shoot(window, "settings-activation-recording");
    world.shortcuts.taken = {{40, 256}};
    QTest::keyClick(&recorder, Qt::Key_K, Qt::MetaModifier);
    camera.shoot(window, "settings-activation-refused");
}

void shootMemory(UiWorld& world, SettingsWindow& window, const Photographer& camera) {
    window.open(SettingsWindow::memoryPage);
    require(shows(window, "No conversations yet."), "the look into an empty memory");
    camera.shoot(window, "settings-memory-empty");
    world.remember(40);
    window.open(SettingsWindow::memoryPage);
    auto& list = named<QListView>(window, "Conversations");
    const auto* lines = list.model();
    require(UiWorld::until([&] { return lines->rowCount() == 40; }), "the list of conversations");
    list.setCurrentIndex(lines->index(1, 0));
    camera.shoot(window, "settings-memory");
    named<QLineEdit>(window, "Search conversations").setText("quantum physics");
    require(shows(window, "No conversation matches."), "the search");
    camera.shoot(window, "settings-memory-no-match");
}

void shootIntegrations(SettingsWindow& window, const Photographer& camera) {
    window.open(SettingsWindow::integrationsPage);
    camera.shoot(window, "settings-integrations");
    named<QAbstractButton>(window, "Allow external agents (MCP)").click();
    named<QPushButton>(window, "Copy configuration").click();
    camera.shoot(window, "settings-integrations-on");
}

void shootSettings(const Photographer& camera) {
    UiWorld world;
    UiServices services = world.services();
    SettingsWindow window(services);
    window.show();
    shootBrain(world, window, camera);
    shootVoice(world, window, camera);
    shootActivation(world, window, camera);
    shootMemory(world, window, camera);
    shootIntegrations(window, camera);
}

void shootFirstSteps(const Photographer& camera) {
    UiWorld world;
    world.permissionStates[Permission::accessibility] = PermissionState::notDetermined;
    world.permissionStates[Permission::microphone] = PermissionState::denied;
    UiServices services = world.services();
    OnboardingWindow window(services);
    world.state->observe({.changed = [&] { window.showPhase(); }});
    window.show();
    for (int step = 0; step < window.stepCount(); ++step) {
        window.goTo(step);
        world.sound = step == 2 ? 0.1F : 0.002F;
        if (step == 5)
            require(world.reaches(Kind::idle), "listening");
        camera.shoot(window, QString("first-steps-%1").arg(step + 1));
    }
    window.goTo(5);
    require(world.converse(Kind::listening), "a conversation");
    camera.shoot(window, "first-steps-6-heard");
    world.state->observe({});
}

void shootOrbAndMenu(const Photographer& camera) {
    UiWorld world;
    Desktop desktop(world.services());
    desktop.orb().ensurePolished();
    for (const auto& [phase, name] :
         {std::pair(Kind::listening, "listening"), std::pair(Kind::thinking, "thinking"),
          std::pair(Kind::speaking, "speaking")}) {
        world.speech.utteranceTime = 3000;
        require(world.converse(phase), name);
        camera.shootTranslucent(desktop.orb(), QString("orb-%1").arg(name));
        camera.shoot(desktop.tray().contextMenu(), QString("menu-%1").arg(name));
        world.state->cancelSession();
        require(world.reaches(Kind::idle), "the end of a conversation");
    }
    camera.shoot(desktop.tray().contextMenu(), "menu-idle");
    world.state->stopListening();
    camera.shoot(desktop.tray().contextMenu(), "menu-off");
    world.audio.isDown = true;
    world.state->startListening();
    require(world.reaches(Kind::error), "a failure");
    camera.shootTranslucent(desktop.orb(), "orb-error");
    camera.shoot(desktop.tray().contextMenu(), "menu-error");
}

void run(int argumentCount, char** arguments) {
    const QString theme = arguments[2];
    const QString scale = arguments[3];
    PrivateDisplay display;
    display.startWindowManager();
    qputenv("DISPLAY", display.name().c_str());
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_SCALE_FACTOR", scale.toUtf8());
    QApplication application(argumentCount, arguments);
    QApplication::setQuitOnLastWindowClosed(false);
    applyTheme(application, theme == "dark" ? Theme::dark : Theme::light);
    QDir().mkpath(arguments[1]);
    const Photographer camera(arguments[1], theme + "-" + scale + "x");
    shootSettings(camera);
    shootFirstSteps(camera);
    shootOrbAndMenu(camera);
}

} // namespace

int main(int argumentCount, char** arguments) {
    if (argumentCount != 4) {
        std::fputs("Usage: tavik-screenshots FOLDER light|dark 1|2\n", stderr);
        return 2;
    }
    try {
        run(argumentCount, arguments);
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "tavik-screenshots: %s\n", error.what());
        return 1;
    }
}
