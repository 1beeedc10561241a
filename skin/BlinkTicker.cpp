#include "skin/BlinkTicker.h"

#include "platform/Run.h"
#include "skin/Appearance.h"

#include <QWidget>
#include <QWindow>

#include <algorithm>
#include <cmath>
#include <numbers>

using namespace std::chrono_literals;

namespace skin {
namespace {

/// How far a tick looks ahead: a coarse timer may be early, and changes this close together share a wake-up, which
/// nobody sees. Every other step of a running row's button is 22 ms from one of the colon.
constexpr auto LookAhead = 24ms;

/// The fraction of the time after which the fraction `way` has been covered. Easing follows half a cosine.
double timeOf(Wave::Timing timing, double way)
{
    return timing == Wave::Timing::Linear ? way : std::acos(1 - 2 * way) / std::numbers::pi;
}

/// When, within one period, the opacity takes its step `i`: where it crosses the middle between two levels, first going
/// out, then coming back.
double changeTime(const Wave& wave, int i)
{
    const int steps = wave.steps();
    const bool out = i < steps;
    const double length = static_cast<double>(wave.duration.count());
    const double time = timeOf(wave.timing, ((out ? i : 2 * steps - 1 - i) + 0.5) / steps) * length;
    return out ? time : 2 * length - time;
}

double phaseOf(const Wave& wave, std::chrono::milliseconds time)
{
    return static_cast<double>(time.count() % (2 * wave.duration.count()));
}

/// How many steps have been taken within the period.
int stepsTaken(const Wave& wave, double phase)
{
    const double turn = phase / static_cast<double>(wave.duration.count());
    const double way =
        wave.timing == Wave::Timing::Linear ? std::min(turn, 2 - turn) : (1 - std::cos(turn * std::numbers::pi)) / 2;
    // One too few at least, so that the loop decides: each time that it looks at is an arc cosine.
    int taken = std::max(0, static_cast<int>((turn < 1 ? way : 2 - way) * wave.steps() + 0.5) - 1);
    while (taken < 2 * wave.steps() && changeTime(wave, taken) <= phase)
        ++taken;
    return taken;
}

} // namespace

int Wave::steps() const
{
    constexpr double stepsPerSecond = 8;
    return static_cast<int>(std::clamp(std::floor(duration.count() * stepsPerSecond / 1000), 1.0, 16.0));
}

double Wave::opacityAt(std::chrono::milliseconds time) const
{
    if (duration <= 0ms)
        return from;
    const int taken = stepsTaken(*this, phaseOf(*this, time));
    const int level = taken <= steps() ? taken : 2 * steps() - taken;
    return from + (to - from) * level / steps();
}

std::chrono::milliseconds Wave::untilNextChange(std::chrono::milliseconds time) const
{
    if (duration <= 0ms)
        return 24h;
    const double phase = phaseOf(*this, time);
    const int next = stepsTaken(*this, phase);
    const double period = 2 * static_cast<double>(duration.count());
    const double due = next < 2 * steps() ? changeTime(*this, next) : changeTime(*this, 0) + period;
    return std::chrono::milliseconds(static_cast<qint64>(std::ceil(due - phase)));
}

BlinkTicker::BlinkTicker()
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::CoarseTimer);
    connect(&m_timer, &QTimer::timeout, this, &BlinkTicker::tick);
    m_clock.start();
}

BlinkTicker& BlinkTicker::sharedTicker()
{
    return platform::Run::current().shared<BlinkTicker>();
}

void BlinkTicker::add(Pulse* pulse)
{
    // From the first one on they all keep the same beat.
    if (m_pulses.empty())
        m_clock.restart();
    m_pulses.push_back(pulse);
    pulse->advance(now());
    schedule();
}

void BlinkTicker::remove(Pulse* pulse)
{
    std::erase(m_pulses, pulse);
    schedule();
}

std::chrono::milliseconds BlinkTicker::now() const
{
    return std::chrono::milliseconds(m_clock.elapsed()) + LookAhead;
}

void BlinkTicker::tick()
{
    const std::vector<Pulse*> pulses = m_pulses;
    for (Pulse* pulse : pulses) {
        if (pulse->inSight())
            pulse->advance(now());
        else
            pulse->stop();
    }
    schedule();
}

void BlinkTicker::schedule()
{
    if (m_pulses.empty()) {
        m_timer.stop();
        return;
    }
    const auto time = now();
    auto wait = std::chrono::milliseconds::max();
    for (const Pulse* pulse : m_pulses)
        wait = std::min(wait, pulse->m_wave.untilNextChange(time));
    // When it is due, not when a tick may take it at the earliest: a timer that comes early must not come in vain.
    m_timer.start(wait + LookAhead);
}

Pulse::Pulse(QWidget& widget, std::function<QRect()> area)
    : m_widget(widget), m_findArea(std::move(area)), m_steps(widget)
{
    widget.installEventFilter(this);
}

Pulse::~Pulse()
{
    stop();
}

void Pulse::start(const Wave& wave)
{
    if (appearance().still) {
        stop();
        return;
    }
    if ((isRunning() && wave == m_wave) || !inSight())
        return;
    stop();
    m_wave = wave;
    m_opacity = wave.from;
    m_ticker = &BlinkTicker::sharedTicker();
    m_ticker->add(this);
}

void Pulse::stop()
{
    if (m_ticker)
        m_ticker->remove(this);
    m_ticker = nullptr;
    m_opacity = 1.0;
}

bool Pulse::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_window && event->type() == QEvent::UpdateRequest)
        m_steps.windowIsPainted();
    // In sight again, and nothing else may ask for a repaint.
    if (watched == m_handle && event->type() == QEvent::Expose && !isRunning())
        m_widget.update();
    if (watched != &m_widget)
        return false;
    if (event->type() == QEvent::Hide) {
        stop();
        m_steps.giveWay();
    } else if (event->type() == QEvent::Paint && m_steps.painted()) {
        m_area.reset();
    }
    return false;
}

bool Pulse::inSight() const
{
    const QWindow* window = m_widget.window()->windowHandle();
    return m_widget.isVisible() && window && window->isExposed() &&
           !window->windowStates().testFlag(Qt::WindowMinimized) && !m_steps.isCovered();
}

void Pulse::watch(QWidget& window)
{
    if (m_handle && m_handle == window.windowHandle())
        return;
    if (m_handle)
        m_handle->removeEventFilter(this);
    if (m_window && m_window != &m_widget)
        m_window->removeEventFilter(this);
    m_window = &window;
    m_handle = window.windowHandle();
    m_window->installEventFilter(this);
    m_handle->installEventFilter(this);
}

void Pulse::advance(std::chrono::milliseconds time)
{
    const double opacity = m_wave.opacityAt(time);
    if (opacity == m_opacity)
        return;
    m_opacity = opacity;
    // To find it may take measuring text.
    if (!m_area)
        m_area = m_findArea();
    if (!m_steps.show(*m_area, opacity)) {
        m_widget.update(*m_area);
        return;
    }
    watch(*m_widget.window());
}

} // namespace skin
