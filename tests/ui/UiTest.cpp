#include "tests/ui/UiTest.h"

#include <QAbstractButton>
#include <QAccessible>
#include <QLabel>
#include <QPlainTextEdit>

namespace tavik {

void UiTest::SetUpTestSuite() {
    static int count = 1;
    static char name[] = "ui_tests";
    static char* arguments[] = {name, nullptr};
    setenv("QT_QPA_PLATFORM", "offscreen", 1);
    if (QApplication::instance())
        return;
    // Never deleted: it would outlive what its styles belong to.
    auto* application = new QApplication(count, arguments);
    QApplication::setQuitOnLastWindowClosed(false);
    applyTheme(*application, Theme::light);
}

QString UiTest::nameOf(const QWidget& widget) {
    if (const auto* button = qobject_cast<const QAbstractButton*>(&widget);
        button && widget.accessibleName().isEmpty())
        return button->text();
    return widget.accessibleName();
}

void UiTest::press(QWidget& window, const QString& button) {
    if (auto* found = find<QAbstractButton>(window, button))
        QTest::mouseClick(found, Qt::LeftButton, {},
                          QPoint(std::min(12, found->width() / 2), found->height() / 2));
}

bool UiTest::shows(QWidget& window, const QString& text) {
    for (const QLabel* label : window.findChildren<QLabel*>())
        if (label->isVisibleTo(&window) && label->text() == text)
            return true;
    return false;
}

} // namespace tavik
