#include "app/Check.h"

#include "app/BusInterface.h"
#include "app/Complaint.h"
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

namespace {

// The program promises three seconds, and needs some of them to start.
constexpr auto Patience = 2700ms;
constexpr int BusPatienceMilliseconds = 500;

constexpr auto StatusItem = "Status item"_L1;
constexpr auto HotKeys = "Hot keys"_L1;
constexpr auto Service = "Service"_L1;
constexpr auto Store = "Store"_L1;
constexpr auto Idle = "Idle time"_L1;
constexpr auto Network = "Network"_L1;
constexpr auto Keyring = "Keyring"_L1;

/// The page as it grows. When the time is up it ends the process, whatever the main thread waits for.
class Page
{
public:
    Page() : m_watchdog([this] { watch(); }) {}
    ~Page() = delete; // `finish` ends the process

    /// What is being looked at, for the case that it never ends.
    void begin(QLatin1StringView what)
    {
        const std::lock_guard lock(m_mutex);
        m_pending = what;
    }

    void add(const Finding& finding)
    {
        const std::lock_guard lock(m_mutex);
        print(finding);
    }

    [[noreturn]] void finish()
    {
        const std::lock_guard lock(m_mutex);
        end();
    }

    [[noreturn]] void giveUp(const QString& why)
    {
        const std::lock_guard lock(m_mutex);
        print({m_pending, false, why});
        end();
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

    [[noreturn]] void end() const
    {
        // Not in the ordinary way: it would wait for who hangs.
        _exit(m_allWell ? 0 : 1);
    }

    void watch()
    {
        std::this_thread::sleep_for(Patience);
        giveUp(u"no answer in time; what comes after it was not looked at"_s);
    }

    std::mutex m_mutex;
    QString m_pending;
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
        // The nearest folder that there is decides whether the others can be made.
        QFileInfo nearest(folder);
        while (!nearest.exists() && !nearest.isRoot())
            nearest.setFile(nearest.absolutePath());
        return nearest.isDir() && nearest.isWritable()
                   ? Finding{Store, true, u"will be made at the first start: "_s + name}
                   : Finding{Store, false, u"cannot be made: make %1 a folder of your own"_s.arg(folder)};
    }
    if (!QFileInfo(folder).isWritable() || !file.open(QIODevice::ReadWrite | QIODevice::ExistingOnly))
        return {Store, false, u"cannot be written: give yourself the right to write "_s + name};
    // "The Database Header" of the SQLite file format; an empty file is a new one.
    if (file.size() > 0 && file.read(16) != QByteArray("SQLite format 3", 16))
        return {Store, false, u"is not a database: quit Quillon and remove "_s + name};
    if (const auto usable = store::Coordinator(model::loadModel(), {}).examine(name); !usable)
        return {Store, false,
                u"cannot be used, %1: put that right, or quit Quillon and remove %2"_s.arg(usable.error().text, name)};
    return {Store, true, u"%1, %2 KB"_s.arg(name).arg((file.size() + 1023) / 1024)};
}

Finding service(bool loggedOut)
{
    auto& preferences = settings::QuillonPreferences::sharedPreferences();
    // Known before the program runs and has started it.
    if (!preferences.timeIsKeptHere() &&
        settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonKeepTimeHereKey))
        return {Service, true, u"the program's own, on this computer"_s};
    if (preferences.credentials().url.isEmpty())
        return {Service, false, u"nobody is signed in: sign in in the preferences"_s};
    if (loggedOut)
        return {Service, false,
                u"%1 does not know this person: sign in again in the preferences"_s.arg(preferences.fullUrl())};
    return {Service, true, preferences.fullUrl()};
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
                     u"timesheet"_s},
          {settings::HotKeyManager::ShowNewTimerWindow, preferences.newTimerWindowHotKeyCombo(), u"new timer"_s}}) {
        const platform::HotKeys::Status status = manager.status(action);
        const QString keys =
            status.trigger.isEmpty() ? settings::keySequence(combo).toString(QKeySequence::NativeText) : status.trigger;
        switch (status.state) {
        case State::None:
            texts << u"none for the %1"_s.arg(what);
            break;
        case State::Pending:
            texts << u"%1 for the %2, when the desktop permits it"_s.arg(keys, what);
            break;
        case State::Registered:
            texts << u"%1 for the %2"_s.arg(keys, what);
            break;
        case State::Refused:
            ok = false;
            texts << u"%1 belongs to another program: choose another for the %2 in the preferences"_s.arg(keys, what);
            break;
        case State::Unavailable:
            return {HotKeys, false,
                    u"cannot be had here: bind keys of the desktop to “quillon timesheet” and “quillon new”"_s};
        }
    }
    const QString way = platform::Run::current().environment().hotKeys().way();
    return {HotKeys, ok, u"%1, %2"_s.arg(texts.join("; "_L1), way)};
}

Finding idle(platform::SystemIdle& idle)
{
    if (const auto time = idle.idleTime())
        return {Idle, true, u"%1 knows: %2 s since the last input"_s.arg(idle.source()).arg(time->count() / 1000)};
    return {Idle, false,
            u"cannot be measured: nobody will be asked after an absence. Choose a desktop with ext-idle-notify, "
            "Mutter or X11, or switch the question off in the preferences"_s};
}

Finding network(platform::Environment& environment)
{
    const QString host = environment.info().boolean("QuillonLocalDebug"_L1)
                             ? u"localhost"_s
                             : environment.info().string("QuillonReachabilityHost"_L1);
    std::optional<bool> leads;
    const auto watch = environment.reachability().watch(host, [&](bool reachable) { leads = reachable; });
    if (!watch || !leads)
        return {Network, true, u"cannot be measured here, and counts as there"_s};
    return *leads ? Finding{Network, true, u"leads to "_s + host}
                  : Finding{Network, false, u"does not lead to %1: connect this computer"_s.arg(host)};
}

Finding keyring(platform::SecretStore& secrets)
{
    const QString email = settings::QuillonPreferences::sharedPreferences().email();
    // Without a bus the look-up would start one.
    const platform::SecretStore::Result<std::optional<QByteArray>> found =
        platform::hasSessionBus() ? secrets.lookup(settings::SCServiceName(), email)
                                  : tl::unexpected(platform::SecretStore::Failure::NoService);
    if (found)
        return found->has_value() || email.isEmpty()
                   ? Finding{Keyring, true, u"keeps passwords"_s}
                   : Finding{Keyring, false, u"has no password of this account: enter it in the preferences"_s};
    switch (found.error()) {
    case platform::SecretStore::Failure::NoService:
        return {Keyring, false,
                u"nobody keeps secrets here, and the password is forgotten at the end: start a Secret Service, such "
                "as gnome-keyring or KWallet"_s};
    case platform::SecretStore::Failure::Locked:
        return {Keyring, false, u"is locked: unlock it when Quillon starts and asks"_s};
    case platform::SecretStore::Failure::TimedOut:
        return {Keyring, false, u"does not answer: end it, or log in again"_s};
    case platform::SecretStore::Failure::Other:
        break;
    }
    return {Keyring, false, u"fails: look into the log of the service that keeps your secrets"_s};
}

/// What the program that runs finds. Empty: none runs.
Findings findingsOfOthers()
{
    if (!platform::hasSessionBus() || !QDBusConnection::sessionBus().isConnected())
        return {};
    QDBusMessage call =
        QDBusMessage::createMethodCall(platform::BusName, platform::BusPath, QuillonInterface, u"Check"_s);
    call.setAutoStartService(false);
    const QDBusMessage reply = QDBusConnection::sessionBus().call(call, QDBus::Block, BusPatienceMilliseconds);
    if (reply.type() == QDBusMessage::ReplyMessage)
        return qdbus_cast<Findings>(reply.arguments().value(0));
    if (reply.errorName() == "org.freedesktop.DBus.Error.ServiceUnknown"_L1 ||
        reply.errorName() == "org.freedesktop.DBus.Error.NameHasNoOwner"_L1)
        return {};
    return {{StatusItem, false, u"the program that runs does not answer: ask again, or end it"_s}};
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
    Findings findings{{StatusItem, true, platform::Run::current().environment().statusItem().describe()},
                      hotKeys(),
                      service(loggedOut)};
    if (storeFailure)
        findings << Finding{
            Store, false,
            u"is in memory for this run: %1. Put that right and start Quillon again"_s.arg(storeFailure->text)};
    return findings;
}

void check(int argc, char** argv, platform::InfoDictionary info)
{
    // Never destroyed: the process ends within it.
    Page& page = *(s_page = new Page);
    std::printf("Quillon %s\n", QUILLON_VERSION);
    page.begin(Store);
    page.add(store());

    page.begin(StatusItem);
    const DisplayGuard guard([] { s_page->giveUp(noDisplay()); });
    const bool display = hasDisplay();
    if (!display && qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    platform::Run run(platform::systemEnvironment(std::move(info)));
    platform::Environment& environment = run.environment();
    settings::QuillonPreferences::setupDefaults();
    registerFindings();

    const Findings others = findingsOfOthers();
    for (const Finding& finding : others)
        page.add(finding);
    if (others.isEmpty()) {
        platform::StatusItem& item = environment.statusItem();
        item.setFloating(
            settings::UserDefaults::standardUserDefaults().boolForKey(settings::QuillonFloatingStatusItemKey));
        page.add(display ? Finding{StatusItem, true, u"Quillon does not run; it would be "_s + item.describe()}
                         : Finding{StatusItem, false, u"there is no display: start Quillon in a desktop session"_s});
        page.begin(HotKeys);
        // On X11 this takes the keys for a moment, which alone tells whether they are free. A portal is not asked
        // before the event loop runs, and it does not.
        settings::HotKeyManager::instance().registerHotKeysFromPrefs();
        page.add(hotKeys());
        page.add(service(false));
    }
    page.begin(Idle);
    page.add(idle(environment.systemIdle()));
    page.begin(Network);
    page.add(network(environment));
    // Last: it may take two seconds.
    page.begin(Keyring);
    page.add(keyring(environment.secretStore()));
    page.finish();
}

} // namespace app
