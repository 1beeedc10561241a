#pragma once

#include <QObject>

#include <deque>
#include <functional>
#include <mutex>

namespace platform {

/// A first-in-first-out queue of calls to the main thread. Made and destroyed on the main thread.
class MainQueue final : public QObject
{
public:
    MainQueue() = default;

    /// Any thread. Never calls `function` itself; after `close` it is dropped.
    void post(std::function<void()> function);

    /// Drops what is waiting and all that comes later.
    void close();

    bool event(QEvent* event) override;

private:
    void run();
    void wake();
    std::function<void()> next();

    std::mutex m_mutex;
    std::deque<std::function<void()>> m_waiting;
    bool m_woken = false;
    bool m_closed = false;
};

} // namespace platform
