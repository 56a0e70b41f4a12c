#include "ui/Appearance.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingCallWatcher>
#include <QDBusPendingReply>
#include <QDBusVariant>
#include <QPalette>
#include <QStyleFactory>

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
};

Shades shadesOf(Theme theme) {
    if (theme == Theme::dark)
        return {QColor(0x1c1e26), QColor(0x262932), QColor(0x323643),
                QColor(0x3b4050), QColor(0xeef0f6), QColor(0xa3a9ba)};
    return {QColor(0xf3f4f8), QColor(0xffffff), QColor(0xfafbfd),
            QColor(0xdcdfe8), QColor(0x1b1e27), QColor(0x5d6475)};
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
    palette.setColor(QPalette::Link, accentColour());
    palette.setColor(QPalette::ToolTipBase, shades.base);
    palette.setColor(QPalette::ToolTipText, shades.text);
    for (const auto role : {QPalette::Text, QPalette::WindowText, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, shades.dimmed);
    return palette;
}

// Colours of the palette are named by their roles: "mid" is a line, "dark" dimmed text.
constexpr const char* sheet = R"(
QFrame#card { background: palette(base); border: 1px solid palette(mid); border-radius: 10px; }
QLabel#title { font-size: 19pt; font-weight: 600; }
QLabel#heading { font-weight: 600; }
QLabel#help { color: palette(dark); }
QLabel#good { color: #12805c; font-weight: 600; }
QLabel#bad { color: #d0433c; font-weight: 600; }
QListView#sidebar { background: transparent; border: none; outline: none; }
QListView#sidebar::item { padding: 9px 10px; border-radius: 8px; margin: 1px 6px; }
QListView#sidebar::item:selected { background: palette(highlight); color: white; }
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

private slots:
    void changed(const QString& space, const QString& key, const QDBusVariant& value) {
        if (space == appearance && key == colourScheme)
            applyTheme(application, themeOf(QVariant::fromValue(value)));
    }

private:
    QApplication& application;
};

} // namespace

QColor accentColour() {
    return {0x55, 0x55, 0xd4};
}

void applyTheme(QApplication& application, Theme theme) {
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QApplication::setPalette(paletteOf(theme));
    application.setStyleSheet(sheet);
}

void followDesktopTheme(QApplication& application) {
    applyTheme(application, Theme::light);
    new DesktopTheme(application);
}

} // namespace tavik

#include "Appearance.moc"
