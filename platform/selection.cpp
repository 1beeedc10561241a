#include "SystemEnvironment.h"

#include "Compositing.h"
#include "DesktopWishes.h"
#include "DirectPaint.h"
#include "SystemTimeSource.h"
#include "null/NullAdapters.h"

#include <QGuiApplication>
#include <QWidget>

#ifdef Q_OS_LINUX
#include "IdleSources.h"
#include "linux/AutostartItems.h"
#include "linux/BusIdle.h"
#include "linux/CarrierSwitch.h"
#include "linux/LinuxDesktop.h"
#include "linux/LogindSleepMonitor.h"
#include "linux/MessageBoxAlerts.h"
#include "linux/NetworkMonitorReachability.h"
#include "linux/NotificationAlerts.h"
#include "linux/PortalHotKeys.h"
#include "linux/PortalWishes.h"
#include "linux/SecretServiceStore.h"
#include "linux/WaylandFrames.h"
#include "linux/WaylandIdle.h"
#include "linux/WaylandPaint.h"
#include "linux/X11.h"
#include "linux/X11HotKeys.h"
#include "linux/X11Idle.h"
#include "linux/X11Paint.h"
#endif

#include <concepts>
#include <utility>

namespace platform {

using namespace Qt::StringLiterals;

namespace {

/// An adapter, or null where it is unavailable.
template <class Adapter>
std::unique_ptr<Adapter> make(Environment& environment)
{
    if constexpr (requires { Adapter::available(); }) {
        if (!Adapter::available())
            return nullptr;
    }
    if constexpr (std::constructible_from<Adapter, TimeSource&>)
        return std::make_unique<Adapter>(environment.time());
    else
        return std::make_unique<Adapter>();
}

#ifdef Q_OS_LINUX
/// All sources that may work on this desktop. Some come and go, so each measurement may choose anew.
template <>
std::unique_ptr<IdleSources> make(Environment& environment)
{
    using Trust = IdleSources::Trust;
    std::vector<IdleSources::Source> sources;
    if (auto wayland = make<WaylandIdle>(environment))
        sources.push_back({std::move(wayland), Trust::Believed, u"the Wayland compositor"_s});
    if (auto x11 = make<X11Idle>(environment))
        sources.push_back({std::move(x11), Trust::Believed, u"the X server"_s});
    sources.push_back({std::make_unique<BusIdle>(BusIdle::mutter()), Trust::Believed, u"GNOME"_s});
    sources.push_back({std::make_unique<BusIdle>(BusIdle::screenSaver()), Trust::Doubted, u"the screen saver"_s});
    return std::make_unique<IdleSources>(environment.time(), std::move(sources));
}
#endif

/// The first of the candidates that is available, made on first use. The last one always is.
template <class Part, class... Candidates>
class Choice
{
public:
    Part& of(Environment& environment)
    {
        if (!m_part)
            static_cast<void>(((m_part = make<Candidates>(environment)) || ...));
        return *m_part;
    }

private:
    std::unique_ptr<Part> m_part;
};

#ifdef Q_OS_LINUX
using SecretStores = Choice<SecretStore, SecretServiceStore, NullSecretStore>;
using Reachabilities = Choice<Reachability, NetworkMonitorReachability, NullReachability>;
using AlertPresenters = Choice<AlertPresenter, NotificationAlerts, MessageBoxAlerts, NullAlerts>;
using Desktops = Choice<Desktop, LinuxDesktop, NullDesktop>;
using HotKeyWays = Choice<HotKeys, PortalHotKeys, X11HotKeys, NullHotKeys>;
using LoginItemLists = Choice<LoginItems, AutostartItems, NullLoginItems>;
using SystemIdles = Choice<SystemIdle, IdleSources, NullSystemIdle>;
using SleepMonitors = Choice<SleepMonitor, LogindSleepMonitor, NullSleepMonitor>;
using StatusItems = Choice<StatusItem, CarrierSwitch, NullStatusItem>;
#else
using SecretStores = Choice<SecretStore, NullSecretStore>;
using Reachabilities = Choice<Reachability, NullReachability>;
using AlertPresenters = Choice<AlertPresenter, NullAlerts>;
using Desktops = Choice<Desktop, NullDesktop>;
using HotKeyWays = Choice<HotKeys, NullHotKeys>;
using LoginItemLists = Choice<LoginItems, NullLoginItems>;
using SystemIdles = Choice<SystemIdle, NullSystemIdle>;
using SleepMonitors = Choice<SleepMonitor, NullSleepMonitor>;
using StatusItems = Choice<StatusItem, NullStatusItem>;
#endif

class SystemEnvironment final : public Environment
{
public:
    SystemEnvironment(InfoDictionary info, std::function<std::unique_ptr<UpdateFeed>()> makeUpdateFeed)
        : m_info(std::move(info)), m_makeUpdateFeed(std::move(makeUpdateFeed))
    {
    }

    InfoDictionary& info() override { return m_info; }
    TimeSource& time() override { return m_time; }
    SecretStore& secretStore() override { return m_secretStore.of(*this); }
    Reachability& reachability() override { return m_reachability.of(*this); }
    AlertPresenter& alerts() override { return m_alerts.of(*this); }
    Desktop& desktop() override { return m_desktop.of(*this); }
    UpdateFeed& updateFeed() override
    {
        if (!m_updateFeed)
            m_updateFeed = m_makeUpdateFeed ? m_makeUpdateFeed() : std::make_unique<NullUpdateFeed>();
        return *m_updateFeed;
    }
    HotKeys& hotKeys() override { return m_hotKeys.of(*this); }
    LoginItems& loginItems() override { return m_loginItems.of(*this); }
    SystemIdle& systemIdle() override { return m_systemIdle.of(*this); }
    SleepMonitor& sleepMonitor() override { return m_sleepMonitor.of(*this); }
    StatusItem& statusItem() override { return m_statusItem.of(*this); }

private:
    InfoDictionary m_info;
    const std::function<std::unique_ptr<UpdateFeed>()> m_makeUpdateFeed;
    SystemTimeSource m_time;
    SecretStores m_secretStore;
    Reachabilities m_reachability;
    AlertPresenters m_alerts;
    Desktops m_desktop;
    std::unique_ptr<UpdateFeed> m_updateFeed;
    HotKeyWays m_hotKeys;
    LoginItemLists m_loginItems;
    SystemIdles m_systemIdle;
    SleepMonitors m_sleepMonitor;
    StatusItems m_statusItem;
};

} // namespace

std::unique_ptr<Environment> systemEnvironment(InfoDictionary info,
                                               std::function<std::unique_ptr<UpdateFeed>()> makeUpdateFeed)
{
    return std::make_unique<SystemEnvironment>(std::move(info), std::move(makeUpdateFeed));
}

std::unique_ptr<WishWatch> watchDesktopWishes(std::function<void(const DesktopWishes&)> changed)
{
#ifdef Q_OS_LINUX
    if (PortalWishes::available())
        return std::make_unique<PortalWishes>(std::move(changed));
#endif
    return nullptr;
}

bool isScreenComposited()
{
#ifdef Q_OS_LINUX
    return !x11::isRunning() || x11::isComposited();
#else
    return true;
#endif
}

std::unique_ptr<DirectPaint> makeDirectPaint([[maybe_unused]] QWindow& window,
                                             [[maybe_unused]] std::function<void()> uncovered)
{
#ifdef Q_OS_LINUX
    return x11::isRunning() ? makeX11Paint(window, std::move(uncovered))
                            : makeWaylandPaint(window, std::move(uncovered));
#else
    return nullptr;
#endif
}

void paintAhead([[maybe_unused]] QWidget& window)
{
#ifdef Q_OS_LINUX
    // A Wayland compositor takes no picture before it has said how large the window is.
    if (!x11::isRunning() || !window.isVisible() || window.testAttribute(Qt::WA_Mapped))
        return;
    // Whatever is shown waits for its place, and for being drawn later: that would be all of it, once more.
    QCoreApplication::sendPostedEvents(nullptr, QEvent::LayoutRequest);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::UpdateLater);
    // The toolkit draws only what it believes to be on the screen.
    window.setAttribute(Qt::WA_Mapped);
    window.repaint();
    window.setAttribute(Qt::WA_Mapped, false);
#endif
}

bool mayDrawFrames()
{
#ifdef Q_OS_LINUX
    return !QGuiApplication::platformName().startsWith("wayland"_L1) || !compositorInsistsOnFrames();
#else
    return true;
#endif
}

} // namespace platform
