#pragma once

#include <QBasicTimer>
#include <QWidget>

namespace skin {

/// Shows that something is in progress: twelve turning spokes. Shows nothing when stopped, and costs nothing while not
/// visible.
class Spinner final : public QWidget
{
    Q_OBJECT
public:
    explicit Spinner(QWidget* parent = nullptr);

    void startAnimation();
    void stopAnimation();
    bool isAnimating() const { return m_animating; }

    QSize sizeHint() const override { return {16, 16}; }

protected:
    void timerEvent(QTimerEvent* event) override;
    void hideEvent(QHideEvent* /*event*/) override { m_timer.stop(); }
    void paintEvent(QPaintEvent* event) override;

private:
    bool m_animating = false;
    int m_step = 0;
    QBasicTimer m_timer;
};

} // namespace skin
