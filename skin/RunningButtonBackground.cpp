#include "skin/RunningButtonBackground.h"

#include "platform/InfoDictionary.h"
#include "platform/Run.h"

#include <QPainter>

using namespace Qt::StringLiterals;

namespace skin {

RunningButtonBackground::RunningButtonBackground(QWidget* parent)
    : QWidget(parent), m_pulse(*this, [this] { return rect(); })
{
    setIsRunning(false);
}

void RunningButtonBackground::setIsRunning(bool isRunning)
{
    m_isRunning = isRunning;
    if (!isRunning)
        m_pulse.stop();
    update();
}

Wave RunningButtonBackground::pulsatingTimerAnimation()
{
    const platform::InfoDictionary& info = platform::Run::current().environment().info();
    const auto transparency = static_cast<float>(info.number("QuillonPulsateTransparency"_L1));
    const auto frequency = static_cast<float>(info.number("QuillonPulsateFrequency"_L1));
    return {.from = 1.0,
            .to = transparency,
            .duration = std::chrono::milliseconds(qRound(frequency * 1000)),
            .timing = Wave::Timing::Linear};
}

void RunningButtonBackground::paintEvent(QPaintEvent*)
{
    if (m_isRunning)
        m_pulse.start(pulsatingTimerAnimation());
    QPainter painter(this);
    painter.setOpacity(m_pulse.opacity());
    image().draw(painter, rect());
}

} // namespace skin
