#include "MainQueue.h"

#include "PostTogether.h"

#include <QCoreApplication>
#include <QElapsedTimer>

#include <algorithm>
#include <iterator>
#include <utility>

namespace platform {

namespace {

const auto Wake = static_cast<QEvent::Type>(QEvent::registerEventType());

/// A burst of calls must not hold up clicks and repaints: after that time no other begins in the same turn.
constexpr qint64 BudgetMilliseconds = 4;

} // namespace

void MainQueue::post(std::function<void()> function)
{
    if (PostTogether* others = PostTogether::current()) {
        others->take(*this, std::move(function));
        return;
    }
    const std::lock_guard lock(m_mutex);
    if (m_closed)
        return;
    m_waiting.push_back(std::move(function));
    if (!m_woken)
        wake();
}

void MainQueue::post(std::vector<std::function<void()>> functions)
{
    const std::lock_guard lock(m_mutex);
    if (m_closed)
        return;
    std::ranges::move(functions, std::back_inserter(m_waiting));
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
