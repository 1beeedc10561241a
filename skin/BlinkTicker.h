#pragma once

#include "skin/PreparedSteps.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QObject>
#include <QPointer>
#include <QTimer>

#include <chrono>
#include <functional>
#include <optional>
#include <vector>

class QWidget;
class QWindow;

namespace skin {

/// An opacity that goes from one value to another and back, forever, in a few visible steps.
///
/// Steps instead of frames: each costs a wake-up at least, and near the turning points an eased opacity hardly changes.
/// So each step is shown when it is due and nothing happens in between; there are at most eight a second.
struct Wave
{
    enum class Timing
    {
        Linear,
        EaseInEaseOut
    };

    double from = 1.0;
    double to = 0.0;
    /// Time from one value to the other.
    std::chrono::milliseconds duration{500};
    Timing timing = Timing::EaseInEaseOut;

    bool operator==(const Wave&) const = default;

    /// Steps each way.
    int steps() const;
    double opacityAt(std::chrono::milliseconds time) const;
    /// From `time` to the next change of the opacity; always more than zero.
    std::chrono::milliseconds untilNextChange(std::chrono::milliseconds time) const;
};

class Pulse;

/// The one clock of everything that blinks or pulsates in a run: all waves start from its zero, and one timer serves
/// them. It runs only while a pulse does. Main thread only.
class BlinkTicker final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(BlinkTicker)
public:
    BlinkTicker();

    /// The ticker of the current run.
    static BlinkTicker& sharedTicker();

    bool isActive() const { return m_timer.isActive(); }

private:
    friend class Pulse;

    void add(Pulse* pulse);
    void remove(Pulse* pulse);
    std::chrono::milliseconds now() const;
    void tick();
    void schedule();

    std::vector<Pulse*> m_pulses;
    QTimer m_timer;
    QElapsedTimer m_clock;
};

/// A pulsating part of a widget: a member of it. Start it from the widget's paint event; it ends by itself when the
/// widget hides or its window is not visible, and the next paint event starts it again.
class Pulse final : public QObject
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Pulse)
public:
    /// `area`: the pulsating part, in points of the widget.
    Pulse(QWidget& widget, std::function<QRect()> area);
    ~Pulse() override;

    /// No effect while the same wave runs, or while the widget is not visible.
    void start(const Wave& wave);
    void stop();
    bool isRunning() const { return m_ticker != nullptr; }
    /// The opacity to paint with; 1 while it does not run.
    double opacity() const { return m_opacity; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    friend class BlinkTicker;

    bool inSight() const;
    void advance(std::chrono::milliseconds time);
    void watch(QWidget& window);

    QWidget& m_widget;
    const std::function<QRect()> m_findArea;
    std::optional<QRect> m_area; ///< since the last repaint
    QPointer<QWidget> m_window;  ///< that shows it, and whose repaints are watched
    QPointer<QWindow> m_handle;  ///< of that window
    PreparedSteps m_steps;
    Wave m_wave;
    double m_opacity = 1.0;
    QPointer<BlinkTicker> m_ticker;
};

} // namespace skin
