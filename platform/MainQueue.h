#pragma once

#include <QObject>

#include <deque>
#include <functional>
#include <mutex>
#include <vector>

namespace platform {

/// A first-in-first-out queue of calls to the main thread. Made and destroyed on the main thread.
class MainQueue final : public QObject
{
public:
    MainQueue() = default;

    /// Any thread. Never calls `function` itself; after `close` it is dropped. Waits for the thread's PostTogether.
    void post(std::function<void()> function);
    /// One after the other, with no other in between.
    void post(std::vector<std::function<void()>> functions);

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
