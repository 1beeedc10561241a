#include "app/Check.h"

#include "app/BusInterface.h"
#include "app/Complaint.h"
#include "app/Text.h"
#include "app/WrenfoldMenulet.h"
#include "model/DataModel.h"
#include "platform/HotKeys.h"
#include "platform/Paths.h"
#include "platform/Reachability.h"
#include "platform/Run.h"
#include "platform/SecretStore.h"
#include "platform/SingleInstance.h"
#include "platform/StatusItem.h"
#include "platform/SystemEnvironment.h"
#include "platform/SystemIdle.h"
#include "settings/HotKeyManager.h"
#include "settings/KeyCodes.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "store/Coordinator.h"

#include <QApplication>
#include <QDBusArgument>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>
#include <QFile>
#include <QFileInfo>

#include <condition_variable>
#include <cstdio>
#include <mutex>
#include <thread>

#include <unistd.h>

namespace app {

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

using platform::environment;

namespace {

// For each part, so that one that hangs is not confused with a machine that is slow throughout.
constexpr auto Patience = 5s;
constexpr int BusPatienceMilliseconds = 2000;
constexpr auto LongestWaitForIdle = 1s;

constexpr auto StatusItem = "Status item"_L1;
constexpr auto HotKeys = "Hot keys"_L1;
constexpr auto Service = "Service"_L1;
constexpr auto Store = "Store"_L1;
constexpr auto Idle = "Idle time"_L1;
constexpr auto Network = "Network"_L1;
constexpr auto Keyring = "Keyring"_L1;

Finding well(QLatin1StringView what, const QString& text)
{
    return {what, true, text};
}

Finding amiss(QLatin1StringView what, const QString& text)
{
    return {what, false, text};
}

/// The report as it grows. On timeout it ends the process, whatever blocks the main thread.
class Page
{
public:
    Page()
        : m_watchdog([this] {
              std::unique_lock lock(m_mutex);
              for (int seen = m_begun; m_nextBegan.wait_for(lock, Patience, [&] { return m_begun != seen; });)
                  seen = m_begun;
              lock.unlock();
              finish(tr("no answer in time; nothing after this was checked"));
          })
    {
    }
    ~Page() = delete; // `finish` ends the process

    /// The check under way, in case it never ends.
    void begin(QLatin1StringView what)
    {
        const std::lock_guard lock(m_mutex);
        m_pending = what;
        ++m_begun;
        m_nextBegan.notify_all();
    }

    void add(const Finding& finding)
    {
        const std::lock_guard lock(m_mutex);
        print(finding);
    }

    /// With a reason: this cannot be checked.
    [[noreturn]] void finish(const QString& whyNot = {})
    {
        const std::lock_guard lock(m_mutex);
        if (!whyNot.isEmpty())
            print(amiss(m_pending, whyNot));
        // Not the ordinary exit, which would wait for whatever hangs.
        _exit(m_allWell ? 0 : 1);
    }

private:
    void print(const Finding& finding)
    {
        m_allWell = m_allWell && finding.ok;
        const QString line = u"%1 %2 %3\n"_s.arg(finding.ok ? u"ok"_s : u"!!"_s, finding.what.leftJustified(12),
                                                 printable(finding.text));
        std::fputs(line.toLocal8Bit().constData(), stdout);
        std::fflush(stdout);
    }

    std::mutex m_mutex;
    std::condition_variable m_nextBegan;
    int m_begun = 0;
    QLatin1StringView m_pending;
    bool m_allWell = true;
    std::jthread m_watchdog; ///< last: uses the others
};

Page* s_page = nullptr;

Finding store()
{
    const QString folder = platform::dataFolder();
    const QString name = folder + "/QuillonX.sqlite"_L1;
    QFile file(name);
    if (!file.exists()) {
        // The nearest existing folder decides whether the others can be made.
        QFileInfo nearest(folder);
        while (!nearest.exists() && !nearest.isRoot())
            nearest.setFile(nearest.absolutePath());
        return nearest.isDir() && nearest.isWritable()
                   ? well(Store, tr("will be created at the first start: %1").arg(name))
                   : amiss(Store, tr("cannot be created: make %1 a folder of your own").arg(folder));
    }
    if (!QFileInfo(folder).isWritable() || !file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        return amiss(Store, tr("cannot be written: give yourself write access to %1").arg(name));
    // "The Database Header" of the SQLite file format; an empty file is a new one.
    if (file.size() > 0 && file.read(16) != QByteArray("SQLite format 3", 16))
        return amiss(Store, tr("is not a database: quit Quillon and remove %1").arg(name));
    if (const auto usable = store::Coordinator(model::loadModel(), {}).examine(name); !usable)
        return amiss(Store,
                     tr("cannot be used, %1: fix that, or quit Quillon and remove %2").arg(usable.error().text, name));
    return well(Store, u"%1, %2 KB"_s.arg(name).arg((file.size() + 1023) / 1024));
}

Finding statusItem(const QString& where)
{
    const QString drawback = environment().statusItem().place().drawback;
    return drawback.isEmpty() ? well(StatusItem, where) : amiss(StatusItem, u"%1. %2"_s.arg(where, drawback));
}

Finding service(bool loggedOut)
{
    auto& preferences = settings::QuillonPreferences::sharedPreferences();
    // Known before the program runs and has started it.
    if (!preferences.timeIsKeptHere() &&
        settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonKeepTimeHereKey))
        return well(Service, tr("the built-in service, on this computer"));
    if (preferences.credentials().url.isEmpty())
        return amiss(Service, tr("nobody is signed in: sign in in the preferences"));
    if (loggedOut)
        return amiss(Service,
                     tr("%1 refuses your sign-in: sign in again in the preferences").arg(preferences.fullUrl()));
    return well(Service, preferences.fullUrl());
}

Finding hotKeys()
{
    using State = platform::HotKeys::State;
    const auto& preferences = settings::QuillonPreferences::sharedPreferences();
    const auto& manager = settings::HotKeyManager::instance();
    QStringList texts;
    bool ok = true;
    for (const auto& [action, combo, what] :
         {std::tuple{settings::HotKeyManager::ToggleTimesheetWindow, preferences.timesheetWindowHotKeyCombo(),
                     tr("timesheet")},
          {settings::HotKeyManager::ShowNewTimerWindow, preferences.newTimerWindowHotKeyCombo(), tr("new timer")}}) {
        const platform::HotKeys::Status status = manager.status(action);
        const QString keys =
            status.trigger.isEmpty() ? settings::keySequence(combo).toString(QKeySequence::NativeText) : status.trigger;
        switch (status.state) {
        case State::None:
            texts << tr("none for the %1").arg(what);
            break;
        case State::Pending:
            texts << tr("%1 for the %2, once the desktop permits it").arg(keys, what);
            break;
        case State::Registered:
            texts << tr("%1 for the %2").arg(keys, what);
            break;
        case State::Refused:
            ok = false;
            texts << tr("%1 belongs to another program: choose another for the %2 in the preferences").arg(keys, what);
            break;
        case State::Denied:
            ok = false;
            texts << tr("the desktop does not grant %1 for the %2: assign it in the desktop's settings of shortcuts")
                         .arg(keys, what);
            break;
        case State::Unavailable:
            return amiss(HotKeys,
                         tr("not available here: bind keys of the desktop to “quillon timesheet” and “quillon new”"));
        }
    }
    return {HotKeys, ok, u"%1, %2"_s.arg(texts.join("; "_L1), environment().hotKeys().way())};
}

Finding idle()
{
    platform::SystemIdle& idle = environment().systemIdle();
    // A compositor answers after a moment.
    std::optional<std::chrono::milliseconds> time;
    for (auto waited = 0ms; !(time = idle.idleTime()) && waited < LongestWaitForIdle; waited += 10ms)
        std::this_thread::sleep_for(10ms);
    if (time)
        return well(Idle, tr("%1 says: %2 s since the last input").arg(idle.source()).arg(time->count() / 1000));
    return amiss(Idle, tr("cannot be measured: Quillon will not ask after an absence. Choose a desktop with "
                          "ext-idle-notify, Mutter or X11, or turn the question off in the preferences"));
}

Finding network()
{
    const QString host = WrenfoldMenulet::reachabilityHost(false);
    std::optional<bool> leads;
    const auto watch = environment().reachability().watch(host, [&](bool reachable) { leads = reachable; });
    if (!watch || !leads)
        return well(Network, tr("cannot be measured here, and is taken to be there"));
    return *leads ? well(Network, tr("leads to %1").arg(host))
                  : amiss(Network, tr("does not lead to %1: connect this computer").arg(host));
}

Finding keyring()
{
    using Failure = platform::SecretStore::Failure;
    const QString email = settings::QuillonPreferences::sharedPreferences().email();
    platform::SecretStore& keyring = environment().secretStore();
    // Without a bus the look-up would start one.
    const platform::SecretStore::Result<std::optional<QByteArray>> found =
        platform::hasSessionBus() ? keyring.lookup(settings::SCServiceName(), email)
                                  : tl::unexpected(Failure::NoService);
    if (found && found->has_value())
        return well(Keyring, tr("keeps passwords"));
    // Told apart from one that keeps none of this account's: nothing can be stored before the person has answered.
    const auto usable = found ? keyring.hasDefaultKeyring() : tl::unexpected(found.error());
    if (usable == false)
        return amiss(Keyring, tr("has no default keyring yet: make one, or let the desktop make it when it asks as you "
                                 "sign in"));
    if (usable)
        return email.isEmpty() ? well(Keyring, tr("keeps passwords"))
                               : amiss(Keyring, tr("has no password for this account: enter it in the preferences"));
    switch (usable.error()) {
    case Failure::NoService:
        return amiss(Keyring, tr("there is none, and Quillon forgets the password when it quits: start a Secret "
                                 "Service, such as gnome-keyring or KWallet"));
    case Failure::Locked:
        return amiss(Keyring, tr("is locked: unlock it when Quillon starts and asks"));
    case Failure::TimedOut:
        return amiss(Keyring, tr("does not answer: end it, or log in again"));
    case Failure::NotInstalled:
        return amiss(Keyring,
                     tr("cannot be reached, and Quillon forgets the password when it quits: %1 is missing, install "
                        "Quillon again")
                         .arg(u"quillon-keyring"_s));
    case Failure::Other:
        break;
    }
    return amiss(Keyring, tr("fails: look into the log of your Secret Service"));
}

/// The running program's findings. Empty: it is not running.
Findings findingsOfOthers()
{
    if (!platform::hasSessionBus() || !QDBusConnection::sessionBus().isConnected())
        return {};
    const QDBusMessage reply = QDBusConnection::sessionBus().call(callToProgram(QuillonInterface, u"Check"_s),
                                                                  QDBus::Block, BusPatienceMilliseconds);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return qdbus_cast<Findings>(reply.arguments().value(0));
    if (meansNotRunning(reply))
        return {};
    return {amiss(StatusItem, tr("the running program does not answer: ask again, or end it"))};
}

} // namespace

QDBusArgument& operator<<(QDBusArgument& argument, const Finding& finding)
{
    argument.beginStructure();
    argument << finding.what << finding.ok << finding.text;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, Finding& finding)
{
    argument.beginStructure();
    argument >> finding.what >> finding.ok >> finding.text;
    argument.endStructure();
    return argument;
}

void registerFindings()
{
    qDBusRegisterMetaType<Finding>();
    qDBusRegisterMetaType<Findings>();
}

Findings findingsOfThisRun(bool loggedOut, const std::optional<store::Error>& storeFailure)
{
    Findings findings{statusItem(environment().statusItem().describe()), hotKeys(), service(loggedOut)};
    if (storeFailure)
        findings << amiss(Store,
                          tr("is in memory for this run: %1. Fix that and restart Quillon").arg(storeFailure->text));
    return findings;
}

void check(int argc, char** argv, platform::InfoDictionary info)
{
    // Never destroyed: the process ends within it.
    Page& page = *(s_page = new Page);
    const auto look = [&page](QLatin1StringView what, Finding (*finding)()) {
        page.begin(what);
        page.add(finding());
    };
    std::printf("Quillon %s\n", QUILLON_VERSION);
    look(Store, store);

    page.begin(StatusItem);
    const DisplayGuard guard([] { s_page->finish(noDisplay()); });
    if (!hasDisplay() && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    platform::Run run(platform::systemEnvironment(std::move(info)));
    settings::QuillonPreferences::setupDefaults();
    registerFindings();

    if (platform::hasSessionBus()) {
        // What is looked at last may have to be started, which takes a while.
        QDBusMessage start = QDBusMessage::createMethodCall(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s,
                                                            u"org.freedesktop.DBus"_s, u"StartServiceByName"_s);
        start << u"org.freedesktop.secrets"_s << 0U;
        QDBusConnection::sessionBus().send(start);
    }
    const Findings others = findingsOfOthers();
    for (const Finding& finding : others)
        page.add(finding);
    if (others.isEmpty()) {
        platform::StatusItem& item = environment().statusItem();
        item.setFloating(
            settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonFloatingStatusItemKey));
        page.add(hasDisplay() ? statusItem(tr("Quillon is not running; it would be %1").arg(item.describe()))
                              : amiss(StatusItem, tr("there is no display: start Quillon in a desktop session")));
        // On X11 this grabs the keys for a moment, the only way to find out whether they are free. A portal would need
        // the event loop, which does not run here.
        look(HotKeys, [] {
            settings::HotKeyManager::instance().registerHotKeysFromPrefs();
            return hotKeys();
        });
        page.add(service(false));
    }
    look(Idle, idle);
    look(Network, network);
    look(Keyring, keyring); // last: it may take two seconds
    page.finish();
}

} // namespace app
