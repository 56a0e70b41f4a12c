#pragma once

#include "app/Permissions.h"
#include "ui/Background.h"
#include "ui/UiServices.h"

#include <QLabel>
#include <QPushButton>
#include <QTimer>
#include <QWidget>
#include <array>
#include <optional>

namespace tavik {

// What Tavik needs and why, with what it has so far; kept up to date while it is seen.
class PermissionsStep : public QWidget {
public:
    explicit PermissionsStep(UiServices& services);

protected:
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    using States = std::array<PermissionState, allPermissions.size()>;

    struct Row {
        QLabel* state = nullptr;
        QPushButton* button = nullptr;
    };

    QWidget* makeRow(Permission permission);
    void refresh();
    void show(const States& states);
    void request(Permission permission);
    void relaunch();

    UiServices& services;
    std::array<Row, allPermissions.size()> rows;
    QPushButton* relaunching; // once something was granted that programs look at when they start
    QLabel* problem;
    std::optional<States> shown;
    QTimer refreshing;
    Background requests;
    Background background; // last: its jobs use the above
};

} // namespace tavik
