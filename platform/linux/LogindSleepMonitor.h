#pragma once

#include "../SleepMonitor.h"

#include <QDBusServiceWatcher>
#include <QDBusUnixFileDescriptor>
#include <QObject>

namespace platform {

/// Sleep as the login manager reports it (`org.freedesktop.login1.Manager`: PrepareForSleep, and a delay lock from
/// Inhibit).
///
/// The lock is held while the machine is awake, and released only after the watcher has been called. Silent where there
/// is no login manager; taken again when it restarts.
class LogindSleepMonitor final : public QObject, public SleepMonitor
{
    Q_OBJECT
public:
    LogindSleepMonitor();

    std::unique_ptr<Watch> watch(std::function<void()> goingToSleep, std::function<void()> woke) override;

private slots:
    void prepareForSleep(bool asleep);

private:
    class Held;

    void takeLock();
    void end();

    std::function<void()> m_goingToSleep;
    std::function<void()> m_woke;
    QDBusServiceWatcher m_manager;
    QDBusUnixFileDescriptor m_lock;
    bool m_asleep = false;
};

} // namespace platform
