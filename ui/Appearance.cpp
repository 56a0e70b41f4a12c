#include "ui/Appearance.h"

#include "ui/Style.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPalette>

namespace tavik {

namespace {

constexpr const char* portal = "org.freedesktop.portal.Desktop";
constexpr const char* portalPath = "/org/freedesktop/portal/desktop";
constexpr const char* portalSettings = "org.freedesktop.portal.Settings";
constexpr const char* appearance = "org.freedesktop.appearance";
constexpr const char* colourScheme = "color-scheme";
constexpr unsigned prefersDark = 1;

struct Shades {
    QColor window;
    QColor base;
    QColor raised;
    QColor line;
    QColor text;
    QColor dimmed;
    QColor link;
    QColor good;
    QColor bad;
};

Shades shadesOf(Theme theme) {
    if (theme == Theme::dark)
        return {QColor(0x1c1e26), QColor(0x262932), QColor(0x323643),
                QColor(0x474d60), QColor(0xeef0f6), QColor(0xa9afc0),
                QColor(0x9a9af8), QColor(0x43cc9f), QColor(0xf2766e)};
    return {QColor(0xf3f4f8), QColor(0xffffff), QColor(0xfafbfd),
            QColor(0xd3d7e2), QColor(0x1b1e27), QColor(0x5d6475),
            accentColour(),   QColor(0x12805c), QColor(0xc93a33)};
}

QPalette paletteOf(Theme theme) {
    const Shades shades = shadesOf(theme);
    QPalette palette(shades.text, shades.raised, shades.base, shades.line, shades.dimmed,
                     shades.text, shades.base);
    palette.setColor(QPalette::Window, shades.window);
    palette.setColor(QPalette::Mid, shades.line);
    palette.setColor(QPalette::AlternateBase, shades.raised);
    palette.setColor(QPalette::PlaceholderText, shades.dimmed);
    palette.setColor(QPalette::Highlight, accentColour());
    palette.setColor(QPalette::HighlightedText, Qt::white);
    palette.setColor(QPalette::Link, shades.link);
    palette.setColor(QPalette::ToolTipBase, shades.base);
    palette.setColor(QPalette::ToolTipText, shades.text);
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, shades.dimmed);
    return palette;
}

// Colours of the palette are named by their roles, "mid" being a line; %1 is dimmed text, %2 and %3
// tell that something went well or wrong.
constexpr const char* sheet = R"(
QFrame#card { background: palette(base); border: 1px solid palette(mid); border-radius: 10px; }
QLabel#title { font-size: 19pt; font-weight: 600; }
QLabel#heading { font-weight: 600; }
QLabel#help { color: %1; }
QLabel#good { color: %2; font-weight: 600; }
QLabel#bad { color: %3; font-weight: 600; }
QListView#sidebar { background: transparent; border: none; outline: none; }
QListView#sidebar::item { padding: 0px 10px; border-radius: 8px; margin: 1px 6px; }
QListView#sidebar::item:selected { background: palette(highlight); color: white; }
QPushButton { background: palette(button); border: 1px solid palette(mid); border-radius: 7px;
    padding: 6px 14px; }
QPushButton:hover { background: palette(base); }
QPushButton:pressed, QPushButton:disabled { background: palette(window); }
QPushButton:disabled { color: %1; }
QPushButton:focus { border: 2px solid palette(highlight); padding: 5px 13px; }
QLineEdit, QListView#list, QPlainTextEdit { background: palette(base);
    border: 1px solid palette(mid); border-radius: 7px; padding: 5px 7px; }
QLineEdit:focus, QListView#list:focus, QPlainTextEdit:focus { border-color: palette(highlight); }
QComboBox QLineEdit { border: none; padding: 0px; background: transparent; }
QComboBox QAbstractItemView::item { min-height: 26px; padding-left: 4px; }
QListView#list::item { padding: 4px 6px; border-radius: 5px; }
QListView#list::item:selected { background: palette(highlight); color: white; }
QCheckBox { spacing: 8px; }
QSlider::groove:horizontal { height: 4px; border-radius: 2px; background: palette(mid); }
QSlider::sub-page:horizontal { border-radius: 2px; background: palette(highlight); }
QSlider::handle:horizontal { width: 14px; height: 14px; margin: -6px 0px; border-radius: 8px;
    border: 1px solid %1; background: palette(base); }
QSlider::handle:horizontal:focus { border-color: palette(highlight); background: palette(highlight); }
QScrollBar:vertical { width: 12px; background: transparent; margin: 0px; }
QScrollBar::handle:vertical { background: palette(mid); border-radius: 3px; margin: 3px;
    min-height: 32px; }
QScrollBar::handle:vertical:hover { background: %1; }
QScrollBar:horizontal { height: 12px; background: transparent; margin: 0px; }
QScrollBar::handle:horizontal { background: palette(mid); border-radius: 3px; margin: 3px;
    min-width: 32px; }
QScrollBar::handle:horizontal:hover { background: %1; }
QScrollBar::add-line, QScrollBar::sub-line { width: 0px; height: 0px; }
QScrollBar::add-page, QScrollBar::sub-page { background: transparent; }
QMenu { background: palette(base); border: 1px solid palette(mid); padding: 5px; }
QMenu::item { padding: 6px 28px 6px 12px; border-radius: 5px; }
QMenu::item:selected { background: palette(highlight); color: white; }
QMenu::item:disabled { color: %1; background: transparent; }
QMenu::separator { height: 1px; background: palette(mid); margin: 5px 8px; }
QPushButton#primary { background: palette(highlight); color: white; font-weight: 600;
    border: 1px solid palette(highlight); border-radius: 7px; padding: 7px 18px; }
QPushButton#primary:disabled { background: palette(mid); border-color: palette(mid); }
QPushButton#primary:focus { border: 2px solid palette(text); padding: 6px 17px; }
QPlainTextEdit#code { background: palette(alternate-base); border: 1px solid palette(mid);
    border-radius: 8px; padding: 8px; font-family: monospace; }
QScrollArea, QScrollArea > QWidget > QWidget#page { background: transparent; border: none; }
)";

Theme themeOf(const QVariant& value) {
    QVariant inner = value;
    while (inner.canConvert<QDBusVariant>())
        inner = inner.value<QDBusVariant>().variant();
    return inner.toUInt() == prefersDark ? Theme::dark : Theme::light;
}

// Receives the portal's signal, which needs a slot with a name.
class DesktopTheme : public QObject {
    Q_OBJECT
public:
    explicit DesktopTheme(QApplication& followed)
        : QObject(&followed)
        , application(followed) {
        QDBusConnection bus = QDBusConnection::sessionBus();
        bus.connect(portal, portalPath, portalSettings, "SettingChanged", this,
                    SLOT(changed(QString, QString, QDBusVariant)));
        auto call = QDBusMessage::createMethodCall(portal, portalPath, portalSettings, "Read");
        call << appearance << colourScheme;
        auto* watcher = new QDBusPendingCallWatcher(bus.asyncCall(call), this);
        connect(watcher, &QDBusPendingCallWatcher::finished, this, [this, watcher] {
            const QDBusPendingReply<QDBusVariant> reply = *watcher;
            if (!reply.isError())
                applyTheme(application, themeOf(QVariant::fromValue(reply.value())));
            watcher->deleteLater();
        });
    }

private:
    Q_SLOT void changed(const QString& space, const QString& key, const QDBusVariant& value) {
        if (space == appearance && key == colourScheme)
            applyTheme(application, themeOf(QVariant::fromValue(value)));
    }

    QApplication& application;
};

} // namespace

QColor accentColour() {
    return {0x55, 0x55, 0xd4};
}

void applyTheme(QApplication& application, Theme theme) {
    QApplication::setStyle(new Style);
    QApplication::setPalette(paletteOf(theme));
    const Shades shades = shadesOf(theme);
    application.setStyleSheet(
        QString(sheet).arg(shades.dimmed.name(), shades.good.name(), shades.bad.name()));
}

void followDesktopTheme(QApplication& application) {
    applyTheme(application, Theme::light);
    new DesktopTheme(application);
}

} // namespace tavik

#include "Appearance.moc"
