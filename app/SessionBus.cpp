#include "app/SessionBus.h"

#include "app/BusInterface.h"
#include "app/Check.h"
#include "app/StatusMenu.h"
#include "app/Text.h"
#include "app/WrenfoldMenulet.h"
#include "model/Client.h"
#include "model/DateComparisons.h"
#include "model/DayEntry.h"
#include "model/Project.h"
#include "model/Task.h"
#include "platform/Alerts.h"
#include "platform/Run.h"
#include "skin/QuillonStatusItemView.h"
#include "store/Coordinator.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>

#include <algorithm>

namespace app {

using namespace Qt::StringLiterals;

using Refusal = platform::SingleInstance::Refusal;
using Done = SessionBus::Done;

namespace {

struct NamedAction
{
    QLatin1StringView name;
    QAction* StatusMenu::*item;
};

constexpr NamedAction Actions[] = {
    {"toggle"_L1, &StatusMenu::toggleCurrentTimerMenuItem},
    {"new-timer"_L1, &StatusMenu::newTimerMenuItem},
    {"timesheet"_L1, &StatusMenu::timesheetMenuItem},
    {"open-in-browser"_L1, &StatusMenu::openInBrowserMenuItem},
    {"manage-projects"_L1, &StatusMenu::manageProjectsMenuItem},
    {"manage-tasks"_L1, &StatusMenu::manageTasksMenuItem},
    {"preferences"_L1, &StatusMenu::preferencesMenuItem},
    {"check-for-updates"_L1, &StatusMenu::checkForUpdatesMenuItem},
    {"help"_L1, &StatusMenu::helpMenuItem},
    {"about"_L1, &StatusMenu::aboutMenuItem},
    {"quit"_L1, &StatusMenu::quitMenuItem},
};

Refusal refusal(const char* name, const QString& reason)
{
    return {QuillonInterface + ".Error."_L1 + QLatin1StringView(name), reason};
}

Refusal signedOut()
{
    return refusal("SignedOut", tr("nobody is signed in: sign in in the preferences"));
}

Refusal offline()
{
    return refusal("Offline", tr("the service cannot be reached"));
}

/// What the status item says, and of which entry: the properties of the interface.
QVariantMap statusOf(const WrenfoldMenulet& menulet)
{
    const skin::QuillonStatusItemView& view = menulet.statusItemView();
    const QString hours = view.hoursString();
    QString state = view.isRunning() ? u"running"_s : u"stopped"_s;
    if (menulet.offline())
        state = u"offline"_s;
    else if (menulet.loggedOut())
        state = u"signed-out"_s;
    else if (hours == "-:--"_L1)
        state = u"starting"_s;
    // Of somebody else, perhaps, when nobody is signed in.
    const model::DayEntry* entry = menulet.loggedOut() ? nullptr : menulet.currentEntry();
    const model::DayEntry* elsewhere = menulet.loggedOut() ? nullptr : menulet.timerElsewhere();
    const model::Project* project = entry ? entry->project() : nullptr;
    const model::Client* client = project ? project->client() : nullptr;
    const model::Task* task = entry ? entry->task() : nullptr;
    return {{u"Hours"_s, hours},
            {u"State"_s, state},
            {u"Running"_s, view.isRunning()},
            {u"Offline"_s, menulet.offline()},
            {u"SignedOut"_s, menulet.loggedOut()},
            {u"Project"_s, project ? project->displayName() : QString()},
            {u"Task"_s, task ? task->name() : QString()},
            {u"Client"_s, client ? client->name() : QString()},
            {u"Notes"_s, entry ? entry->notes() : QString()},
            {u"RunningOn"_s, elsewhere ? model::localDay(elsewhere->spentAt()).toString(Qt::ISODate) : QString()}};
}

/// As a press on the button, and says when no timer came of it.
void toggle(WrenfoldMenulet& menulet, const Done& done)
{
    const bool hasEntry = menulet.currentEntry();
    if (menulet.offline() && (hasEntry || !menulet.loggedOut())) {
        done(offline());
        return;
    }
    menulet.toggleCurrentTimer(nullptr, [done](bool toggled) {
        done(toggled ? std::nullopt
                     : std::optional(refusal("Failed", tr("the service did not start or stop the timer"))));
    });
    if (hasEntry)
        return;
    if (menulet.loggedOut())
        done(signedOut());
    else
        done(refusal("NoEntry", tr("there is no entry to start or stop: choose one in the window for a new timer")));
}

/// From the desktop's list of what the program can do, which shows no error: so an alert does.
void book(WrenfoldMenulet& menulet, const QString& action, const Done& done)
{
    const auto told = [done](const booking::Expected<booking::Booked>& booked) {
        if (!booked)
            platform::environment().alerts().show({tr("Timer Failed"), booked.error().reason, {tr("OK")}});
        done(booked ? std::nullopt
                    : std::optional(
                          Refusal{QuillonInterface + ".Error."_L1 + booked.error().error, booked.error().reason}));
    };
    if (action == "stop"_L1)
        menulet.bookings().stop(told);
    else
        menulet.bookings().resume(1, told);
}

/// Does what an item of the menu does, where the menu would let a person choose it.
void perform(WrenfoldMenulet& menulet, const QString& action, const Done& done)
{
    if (action == "stop"_L1 || action == "continue"_L1) {
        book(menulet, action, done);
        return;
    }
    const auto* known = std::ranges::find(Actions, action, &NamedAction::name);
    if (known == std::end(Actions)) {
        done(refusal("NoSuchAction", tr("there is no action “%1”").arg(action)));
        return;
    }
    const StatusMenu& menu = menulet.menu();
    QAction* item = menu.*known->item;
    if (item == menu.toggleCurrentTimerMenuItem) {
        toggle(menulet, done);
    } else if (menulet.loggedOut() && menu.needsAccount(item)) {
        done(signedOut());
    } else if (!item->isEnabled()) {
        // While offline the menu shows what cannot be done then in grey.
        done(offline());
    } else {
        item->trigger();
        done(std::nullopt);
    }
}

} // namespace

/// The interface `com.wrenfold.Quillon1`. Properties are what was announced last, so that a reader and a listener
/// agree.
class StatusAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.wrenfold.Quillon1")
    Q_PROPERTY(QString Hours READ hours)
    Q_PROPERTY(QString State READ state)
    Q_PROPERTY(bool Running READ running)
    Q_PROPERTY(bool Offline READ offline)
    Q_PROPERTY(bool SignedOut READ signedOut)
    Q_PROPERTY(QString Project READ project)
    Q_PROPERTY(QString Task READ task)
    Q_PROPERTY(QString Client READ client)
    Q_PROPERTY(QString Notes READ notes)
    Q_PROPERTY(QString RunningOn READ runningOn)

public:
    StatusAdaptor(WrenfoldMenulet& menulet, QObject* object)
        : QDBusAbstractAdaptor(object), m_menulet(menulet), m_status(statusOf(menulet))
    {
        registerFindings();
        connect(&menulet, &WrenfoldMenulet::statusChanged, this, &StatusAdaptor::update);
        // Who asked before this interface was there has heard that the program starts.
        announce(m_status);
    }

    QString hours() const { return text("Hours"); }
    QString state() const { return text("State"); }
    bool running() const { return flag("Running"); }
    bool offline() const { return flag("Offline"); }
    bool signedOut() const { return flag("SignedOut"); }
    QString project() const { return text("Project"); }
    QString task() const { return text("Task"); }
    QString client() const { return text("Client"); }
    QString notes() const { return text("Notes"); }
    QString runningOn() const { return text("RunningOn"); }

public slots:
    void Toggle(const QDBusMessage& call) { carryOut(u"toggle"_s, call); }
    void NewTimer(const QDBusMessage& call) { carryOut(u"new-timer"_s, call); }
    void ToggleTimesheet(const QDBusMessage& call) { carryOut(u"timesheet"_s, call); }
    void OpenInBrowser(const QDBusMessage& call) { carryOut(u"open-in-browser"_s, call); }
    void ManageProjects(const QDBusMessage& call) { carryOut(u"manage-projects"_s, call); }
    void ManageTasks(const QDBusMessage& call) { carryOut(u"manage-tasks"_s, call); }
    void ShowPreferences(const QDBusMessage& call) { carryOut(u"preferences"_s, call); }
    void CheckForUpdates(const QDBusMessage& call) { carryOut(u"check-for-updates"_s, call); }
    void ShowHelp(const QDBusMessage& call) { carryOut(u"help"_s, call); }
    void ShowAbout(const QDBusMessage& call) { carryOut(u"about"_s, call); }
    app::Findings Check()
    {
        return findingsOfThisRun(m_menulet.loggedOut(), m_menulet.persistentStoreCoordinator()->failure());
    }
    void Quit(const QDBusMessage& call) { carryOut(u"quit"_s, call); }

private:
    void carryOut(const QString& action, const QDBusMessage& call)
    {
        call.setDelayedReply(true);
        perform(m_menulet, action, [call](const std::optional<Refusal>& refused) {
            QDBusConnection::sessionBus().send(refused ? call.createErrorReply(refused->error, refused->reason)
                                                       : call.createReply());
        });
    }

    QString text(const char* property) const { return m_status.value(QString::fromLatin1(property)).toString(); }
    bool flag(const char* property) const { return m_status.value(QString::fromLatin1(property)).toBool(); }

    void update()
    {
        const QVariantMap before = std::exchange(m_status, statusOf(m_menulet));
        QVariantMap changed = m_status;
        changed.removeIf([&](const auto& property) { return before.value(property.key()) == property.value(); });
        if (!changed.isEmpty())
            announce(changed);
    }

    static void announce(const QVariantMap& changed)
    {
        QDBusMessage signal =
            QDBusMessage::createSignal(platform::BusPath, PropertiesInterface, u"PropertiesChanged"_s);
        signal << QString(QuillonInterface) << changed << QStringList();
        QDBusConnection::sessionBus().send(signal);
    }

    WrenfoldMenulet& m_menulet;
    QVariantMap m_status; ///< as announced last
};

SessionBus::SessionBus(WrenfoldMenulet& menulet, QObject* object)
    : m_menulet(menulet), m_adaptor(object ? std::make_unique<StatusAdaptor>(menulet, object) : nullptr)
{
}

SessionBus::~SessionBus() = default;

void SessionBus::perform(const QString& action, const Done& done) const
{
    app::perform(m_menulet, action, done);
}

} // namespace app

#include "SessionBus.moc"
