#pragma once

#include <QBasicTimer>
#include <QWidget>
#include <functional>

namespace tavik {

// Shows how loud the microphone is, while it is on the screen.
class LevelMeter : public QWidget {
public:
    // `amplitude` is asked for, linear, on the main thread.
    explicit LevelMeter(std::function<float()> amplitude);

    QSize sizeHint() const override { return {240, 22}; }

protected:
    void paintEvent(QPaintEvent* event) override;
    void timerEvent(QTimerEvent* event) override;
    void showEvent(QShowEvent* event) override;
    void hideEvent(QHideEvent* event) override;

private:
    const std::function<float()> amplitude;
    QBasicTimer frames;
    double level = 0; // 0 to 1
};

// How far up a meter an amplitude goes, 0 to 1: loudness is heard in ratios.
double meterLevel(float amplitude);

} // namespace tavik
