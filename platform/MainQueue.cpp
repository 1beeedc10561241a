#include "MainQueue.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <utility>

namespace platform {

namespace {

const auto Wake = static_cast<QEvent::Type>(QEvent::registerEventType());

/// A burst of calls must not hold up clicks and repaints for longer than this.
constexpr qint64 BudgetMilliseconds = 8;

} // namespace

void MainQueue::post(std::function<void()> function)
{
    const std::lock_guard lock(m_mutex);
    if (m_closed)
        return;
    m_waiting.push_back(std::move(function));
    if (!m_woken)
        wake();
}

void MainQueue::close()
{
    std::deque<std::function<void()>> dropped;
    const std::lock_guard lock(m_mutex);
    m_closed = true;
    dropped.swap(m_waiting);
}

bool MainQueue::event(QEvent* event)
{
    if (event->type() != Wake)
        return QObject::event(event);
    run();
    return true;
}

void MainQueue::run()
{
    {
        const std::lock_guard lock(m_mutex);
        m_woken = false;
    }
    QElapsedTimer elapsed;
    elapsed.start();
    while (const auto function = next()) {
        function();
        if (elapsed.elapsed() >= BudgetMilliseconds)
            break;
    }
    const std::lock_guard lock(m_mutex);
    if (!m_waiting.empty() && !m_woken)
        wake();
}

void MainQueue::wake()
{
    m_woken = true;
    QCoreApplication::postEvent(this, new QEvent(Wake));
}

std::function<void()> MainQueue::next()
{
    const std::lock_guard lock(m_mutex);
    if (m_waiting.empty())
        return {};
    auto function = std::move(m_waiting.front());
    m_waiting.pop_front();
    return function;
}

} // namespace platform
