#include "SystemEnvironment.h"

#include "Compositing.h"
#include "SystemTimeSource.h"
#include "null/NullAdapters.h"

#include <QtGlobal>

#ifdef Q_OS_LINUX
#include "IdleSources.h"
#include "linux/AutostartItems.h"
#include "linux/BusIdle.h"
#include "linux/CarrierSwitch.h"
#include "linux/FloatingStrip.h"
#include "linux/LinuxDesktop.h"
#include "linux/LogindSleepMonitor.h"
#include "linux/MessageBoxAlerts.h"
#include "linux/NetworkMonitorReachability.h"
#include "linux/PortalHotKeys.h"
#include "linux/SecretServiceStore.h"
#include "linux/WaylandIdle.h"
#include "linux/X11.h"
#include "linux/X11HotKeys.h"
#include "linux/X11Idle.h"
#endif

#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

/// One way to get a part of the environment. The first that is available is taken.
template <class Part>
struct Candidate
{
    bool (*available)();
    std::unique_ptr<Part> (*make)(Environment&);
};

bool always()
{
    return true;
}

template <class Part, class Adapter>
std::unique_ptr<Part> plain(Environment&)
{
    return std::make_unique<Adapter>();
}

constexpr Candidate<SecretStore> kSecretStores[] = {
#ifdef Q_OS_LINUX
    {always, plain<SecretStore, SecretServiceStore>},
#endif
    {always, plain<SecretStore, NullSecretStore>},
};

constexpr Candidate<Reachability> kReachabilities[] = {
#ifdef Q_OS_LINUX
    {NetworkMonitorReachability::available, plain<Reachability, NetworkMonitorReachability>},
#endif
    {always, plain<Reachability, NullReachability>},
};

constexpr Candidate<AlertPresenter> kAlertPresenters[] = {
#ifdef Q_OS_LINUX
    {MessageBoxAlerts::available,
     [](Environment& environment) -> std::unique_ptr<AlertPresenter> {
         return std::make_unique<MessageBoxAlerts>(environment.time());
     }},
#endif
    {always, plain<AlertPresenter, NullAlerts>},
};

constexpr Candidate<Desktop> kDesktops[] = {
#ifdef Q_OS_LINUX
    {LinuxDesktop::available, plain<Desktop, LinuxDesktop>},
#endif
    {always, plain<Desktop, NullDesktop>},
};

constexpr Candidate<HotKeys> kHotKeys[] = {
#ifdef Q_OS_LINUX
    {PortalHotKeys::available, plain<HotKeys, PortalHotKeys>},
    {X11HotKeys::available, plain<HotKeys, X11HotKeys>},
#endif
    {always, plain<HotKeys, NullHotKeys>},
};

constexpr Candidate<LoginItems> kLoginItems[] = {
#ifdef Q_OS_LINUX
    {AutostartItems::available, plain<LoginItems, AutostartItems>},
#endif
    {always, plain<LoginItems, NullLoginItems>},
};

#ifdef Q_OS_LINUX
/// Whatever may know on this desktop. Some of it comes and goes, so that each measurement may choose anew.
std::unique_ptr<SystemIdle> idleSources(Environment& environment)
{
    using Trust = IdleSources::Trust;
    std::vector<IdleSources::Source> sources;
    if (WaylandIdle::available())
        sources.push_back(
            {std::make_unique<WaylandIdle>(environment.time()), Trust::Believed, u"the Wayland compositor"_s});
    if (X11Idle::available())
        sources.push_back({std::make_unique<X11Idle>(), Trust::Believed, u"the X server"_s});
    sources.push_back({std::make_unique<BusIdle>(BusIdle::mutter()), Trust::Believed, u"GNOME"_s});
    sources.push_back({std::make_unique<BusIdle>(BusIdle::screenSaver()), Trust::Doubted, u"the screen saver"_s});
    return std::make_unique<IdleSources>(environment.time(), std::move(sources));
}
#endif

constexpr Candidate<SystemIdle> kSystemIdles[] = {
#ifdef Q_OS_LINUX
    {always, idleSources},
#endif
    {always, plain<SystemIdle, NullSystemIdle>},
};

constexpr Candidate<SleepMonitor> kSleepMonitors[] = {
#ifdef Q_OS_LINUX
    {always, plain<SleepMonitor, LogindSleepMonitor>},
#endif
    {always, plain<SleepMonitor, NullSleepMonitor>},
};

constexpr Candidate<StatusItem> kStatusItems[] = {
#ifdef Q_OS_LINUX
    {FloatingStrip::available,
     [](Environment& environment) -> std::unique_ptr<StatusItem> {
         return std::make_unique<CarrierSwitch>(environment.time());
     }},
#endif
    {always, plain<StatusItem, NullStatusItem>},
};

class SystemEnvironment final : public Environment
{
public:
    SystemEnvironment(InfoDictionary info, std::function<std::unique_ptr<UpdateFeed>()> makeUpdateFeed)
        : m_info(std::move(info)), m_makeUpdateFeed(std::move(makeUpdateFeed))
    {
    }

    InfoDictionary& info() override { return m_info; }
    TimeSource& time() override { return m_time; }
    SecretStore& secretStore() override { return first(m_secretStore, kSecretStores); }
    Reachability& reachability() override { return first(m_reachability, kReachabilities); }
    AlertPresenter& alerts() override { return first(m_alerts, kAlertPresenters); }
    Desktop& desktop() override { return first(m_desktop, kDesktops); }
    UpdateFeed& updateFeed() override
    {
        if (!m_updateFeed && m_makeUpdateFeed)
            m_updateFeed = m_makeUpdateFeed();
        else if (!m_updateFeed)
            m_updateFeed = std::make_unique<NullUpdateFeed>();
        return *m_updateFeed;
    }
    HotKeys& hotKeys() override { return first(m_hotKeys, kHotKeys); }
    LoginItems& loginItems() override { return first(m_loginItems, kLoginItems); }
    SystemIdle& systemIdle() override { return first(m_systemIdle, kSystemIdles); }
    SleepMonitor& sleepMonitor() override { return first(m_sleepMonitor, kSleepMonitors); }
    StatusItem& statusItem() override { return first(m_statusItem, kStatusItems); }

private:
    template <class Part, std::size_t count>
    Part& first(std::unique_ptr<Part>& part, const Candidate<Part> (&candidates)[count])
    {
        for (const auto& candidate : candidates) {
            if (!part && candidate.available())
                part = candidate.make(*this);
        }
        return *part;
    }

    InfoDictionary m_info;
    const std::function<std::unique_ptr<UpdateFeed>()> m_makeUpdateFeed;
    SystemTimeSource m_time;
    std::unique_ptr<SecretStore> m_secretStore;
    std::unique_ptr<Reachability> m_reachability;
    std::unique_ptr<AlertPresenter> m_alerts;
    std::unique_ptr<Desktop> m_desktop;
    std::unique_ptr<UpdateFeed> m_updateFeed;
    std::unique_ptr<HotKeys> m_hotKeys;
    std::unique_ptr<LoginItems> m_loginItems;
    std::unique_ptr<SystemIdle> m_systemIdle;
    std::unique_ptr<SleepMonitor> m_sleepMonitor;
    std::unique_ptr<StatusItem> m_statusItem;
};

} // namespace

std::unique_ptr<Environment> systemEnvironment(InfoDictionary info,
                                               std::function<std::unique_ptr<UpdateFeed>()> makeUpdateFeed)
{
    return std::make_unique<SystemEnvironment>(std::move(info), std::move(makeUpdateFeed));
}

bool isScreenComposited()
{
#ifdef Q_OS_LINUX
    return !x11::isRunning() || x11::isComposited();
#else
    return true;
#endif
}

} // namespace platform
