#pragma once

#include "tests/ui/UiWorld.h"
#include "ui/Appearance.h"

#include <QApplication>
#include <QPushButton>
#include <QTest>
#include <gtest/gtest.h>

namespace tavik {

// Qt without a display, and what the windows work with.
class UiTest : public testing::Test {
protected:
    static void SetUpTestSuite();

    // The control of that kind with that accessible name or text; fails the test without one.
    template<typename Control>
    static Control* find(QWidget& window, const QString& name) {
        for (Control* control : window.findChildren<Control*>())
            if (nameOf(*control) == name && control->isVisibleTo(&window))
                return control;
        ADD_FAILURE() << "there is no " << name.toStdString();
        return nullptr;
    }
    static QString nameOf(const QWidget& widget);
    static void press(QWidget& window, const QString& button);
    // Whether a label shows the text.
    static bool shows(QWidget& window, const QString& text);

    static bool until(const std::function<bool()>& condition) { return UiWorld::until(condition); }

    UiWorld world;
    UiServices services = world.services();
};

} // namespace tavik
