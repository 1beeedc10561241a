#include "app/SessionBus.h"

#include "app/BusInterface.h"
#include "app/Check.h"
#include "app/StatusMenu.h"
#include "app/WrenfoldMenulet.h"
#include "store/Coordinator.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QMetaProperty>

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
    return refusal("SignedOut", QObject::tr("nobody is signed in: sign in in the preferences"));
}

Refusal offline()
{
    return refusal("Offline", QObject::tr("the service cannot be reached"));
}

/// As a press on the button, and says when no timer came of it.
void toggle(WrenfoldMenulet& menulet, const Done& done)
{
    const bool hasEntry = menulet.hasCurrentEntry();
    if (menulet.offline() && (hasEntry || !menulet.loggedOut())) {
        done(offline());
        return;
    }
    menulet.toggleCurrentTimer(nullptr, [done](bool toggled) {
        done(toggled ? std::nullopt
                     : std::optional(refusal("Failed", QObject::tr("the service did not start or stop the timer"))));
    });
    if (hasEntry)
        return;
    if (menulet.loggedOut())
        done(signedOut());
    else
        done(refusal("NoEntry",
                     QObject::tr("there is no entry to start or stop: choose one in the window for a new timer")));
}

/// Does what an item of the menu does, where the menu would let a person choose it.
void perform(WrenfoldMenulet& menulet, const QString& action, const Done& done)
{
    const auto* known = std::ranges::find(Actions, action, &NamedAction::name);
    if (known == std::end(Actions)) {
        done(refusal("NoSuchAction", QObject::tr("there is no action “%1”").arg(action)));
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

/// The interface `com.wrenfold.Quillon1`. Properties are what was told last, so that a reader and a listener agree.
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

public:
    StatusAdaptor(WrenfoldMenulet& menulet, QObject* object)
        : QDBusAbstractAdaptor(object), m_menulet(menulet), m_status(menulet.status())
    {
        registerFindings();
        connect(&menulet, &WrenfoldMenulet::statusChanged, this, &StatusAdaptor::update);
        // Who asked before this interface was there was told that the program starts.
        announce(properties());
    }

    QString hours() const { return m_status.hours; }
    QString state() const
    {
        if (m_status.offline)
            return u"offline"_s;
        if (m_status.loggedOut)
            return u"signed-out"_s;
        if (m_status.hours == "-:--"_L1)
            return u"starting"_s;
        return m_status.running ? u"running"_s : u"stopped"_s;
    }
    bool running() const { return m_status.running; }
    bool offline() const { return m_status.offline; }
    bool signedOut() const { return m_status.loggedOut; }
    QString project() const { return m_status.project; }
    QString task() const { return m_status.task; }
    QString client() const { return m_status.client; }
    QString notes() const { return m_status.notes; }

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

    QVariantMap properties() const
    {
        QVariantMap all;
        for (int i = staticMetaObject.propertyOffset(); i < staticMetaObject.propertyCount(); ++i) {
            const QMetaProperty property = staticMetaObject.property(i);
            all.insert(QString::fromLatin1(property.name()), property.read(this));
        }
        return all;
    }

    void update()
    {
        Status now = m_menulet.status();
        if (now == m_status)
            return;
        const QVariantMap before = properties();
        m_status = std::move(now);
        QVariantMap changed = properties();
        changed.removeIf([&](const auto& property) { return before.value(property.key()) == property.value(); });
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
    Status m_status;
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
