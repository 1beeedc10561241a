#include "LogindSleepMonitor.h"

#include "DBus.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusPendingReply>

#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

const auto Service = u"org.freedesktop.login1"_s;
const auto Path = u"/org/freedesktop/login1"_s;
const auto ManagerInterface = u"org.freedesktop.login1.Manager"_s;

} // namespace

class LogindSleepMonitor::Held final : public Watch
{
public:
    explicit Held(LogindSleepMonitor& monitor) : m_monitor(monitor) {}
    ~Held() override { m_monitor.end(); }

private:
    LogindSleepMonitor& m_monitor;
};

LogindSleepMonitor::LogindSleepMonitor()
{
    m_manager.setWatchMode(QDBusServiceWatcher::WatchForRegistration);
    m_manager.addWatchedService(Service);
    connect(&m_manager, &QDBusServiceWatcher::serviceRegistered, this, [this] {
        // After a restart it does not report the end of a sleep that it did not see begin.
        if (m_asleep)
            prepareForSleep(false);
        else
            takeLock();
    });
}

std::unique_ptr<SleepMonitor::Watch> LogindSleepMonitor::watch(std::function<void()> goingToSleep,
                                                               std::function<void()> woke)
{
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.connect(Service, Path, ManagerInterface, u"PrepareForSleep"_s, this, SLOT(prepareForSleep(bool))))
        return nullptr;
    m_goingToSleep = std::move(goingToSleep);
    m_woke = std::move(woke);
    m_asleep = false;
    m_manager.setConnection(bus);
    takeLock();
    return std::make_unique<Held>(*this);
}

void LogindSleepMonitor::end()
{
    QDBusConnection bus = QDBusConnection::systemBus();
    bus.disconnect(Service, Path, ManagerInterface, u"PrepareForSleep"_s, this, SLOT(prepareForSleep(bool)));
    m_manager.setConnection(QDBusConnection(QString()));
    m_goingToSleep = {};
    m_woke = {};
    m_lock = {};
}

void LogindSleepMonitor::takeLock()
{
    auto call = QDBusMessage::createMethodCall(Service, Path, ManagerInterface, u"Inhibit"_s);
    call << u"sleep"_s << u"Quillon"_s << tr("Notes the running timer") << u"delay"_s;
    whenAnswered(QDBusConnection::systemBus().asyncCall(call), this, [this](const QDBusPendingCall& answer) {
        const QDBusPendingReply<QDBusUnixFileDescriptor> reply = answer;
        // Refused or absent: the timer is noted all the same, in the time there is. Too late: there is no waiting any
        // more.
        if (reply.isValid() && m_goingToSleep && !m_asleep)
            m_lock = reply.value();
    });
}

void LogindSleepMonitor::prepareForSleep(bool asleep)
{
    if (!m_goingToSleep)
        return; // it was on its way when the watch ended
    m_asleep = asleep;
    if (asleep) {
        m_goingToSleep();
        m_lock = {};
    } else {
        m_woke();
        takeLock();
    }
}

} // namespace platform
