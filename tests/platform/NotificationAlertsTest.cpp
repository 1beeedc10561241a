#include "OpenBoxes.h"

#include "platform/linux/NotificationAlerts.h"
#include "support/InRow.h"
#include "support/ManualTimeSource.h"
#include "support/TestMain.h"

#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QPushButton>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

const QString Service = u"org.freedesktop.Notifications"_s;
const QString Path = u"/org/freedesktop/Notifications"_s;

platform::Alert question(int minutes = 10)
{
    return {.title = u"Idle for %1 minutes"_s.arg(minutes),
            .text = u"Stop <it> & go?"_s,
            .buttons = {u"Continue"_s, u"Remove %1"_s.arg(minutes)},
            .escapeButton = 0,
            .unasked = true};
}

} // namespace

/// A desktop's notifications, on a connection of their own.
class Notifications final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.freedesktop.Notifications")

public:
    explicit Notifications(const QStringList& capabilities = {u"body"_s, u"actions"_s}) : m_capabilities(capabilities)
    {
        m_bus.registerObject(Path, this, QDBusConnection::ExportAllSlots);
        m_bus.registerService(Service);
    }
    ~Notifications() override { QDBusConnection::disconnectFromBus(u"notifications"_s); }

    void emitSignal(const QString& name, const QVariantList& arguments)
    {
        auto message = QDBusMessage::createSignal(Path, Service, name);
        message.setArguments(arguments);
        m_bus.send(message);
    }
    void closed(uint number, uint reason)
    {
        if (shown == number)
            shown = 0;
        emitSignal(u"NotificationClosed"_s, {number, reason});
    }

    uint shown = 0;    ///< the number of the notification on the screen; 0: none
    QStringList said;  ///< the titles as they were sent
    QVariantList last; ///< all that was sent with the last one
    bool fails = false;
    bool owes = false; ///< answers no more
    QString version = u"48.4"_s;

public slots:
    QStringList GetCapabilities() { return m_capabilities; }
    QString GetServerInformation(QString& vendor, QString& number, QString& specification)
    {
        vendor = specification = u"1"_s;
        number = version;
        return u"gnome-shell"_s;
    }
    uint Notify(const QString& /*application*/, uint replaced, const QString& icon, const QString& title,
                const QString& body, const QStringList& actions, const QVariantMap& hints, int expires,
                const QDBusMessage& call)
    {
        if (owes || fails)
            call.setDelayedReply(true);
        if (fails) {
            m_bus.send(call.createErrorReply(u"com.example.No"_s, u"no"_s));
            return 0;
        }
        // Another program's comes in between.
        shown = replaced ? replaced : (m_count += 2);
        said << title;
        last = {icon, title, body, actions, hints, expires};
        return shown;
    }
    void CloseNotification(uint number) { closed(number, 3); }

private:
    QDBusConnection m_bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"notifications"_s);
    QStringList m_capabilities;
    uint m_count = 40;
};

class NotificationAlertsTest final : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_said.clear();
        m_desktop.emplace();
        m_alerts.emplace(m_time);
    }
    void cleanup()
    {
        m_alerts.reset();
        m_desktop.reset();
    }

    void asksWithTheButtonsAsActions()
    {
        ask();
        QCOMPARE(
            m_desktop->last,
            QVariantList({u"com.wrenfold.quillon"_s, u"Idle for 10 minutes"_s, u"Stop &lt;it&gt; &amp; go?"_s,
                          QStringList{u"default"_s, u"Open Quillon"_s, u"0"_s, u"Continue"_s, u"1"_s, u"Remove 10"_s},
                          QVariantMap{{u"urgency"_s, QVariant::fromValue<uchar>(2)},
                                      {u"suppress-sound"_s, true},
                                      {u"desktop-entry"_s, u"com.wrenfold.quillon"_s}},
                          0}));
        QVERIFY(!openBox());
    }

    void answers()
    {
        using Alerts = platform::AlertPresenter;
        for (const auto& [action, answer] : {std::pair(u"0"_s, 0),
                                             {u"1"_s, 1},
                                             {u"default"_s, Alerts::Opened}, // the notification itself
                                             {QString(), Alerts::Dismissed}, // put away
                                             {u"7"_s, Alerts::Dismissed}}) { // never offered
            const support::InRow row(action);
            cleanup();
            init();
            const auto id = ask();
            // Of other programs.
            m_desktop->emitSignal(u"ActionInvoked"_s, {m_desktop->shown + 1, u"1"_s});
            m_desktop->closed(m_desktop->shown + 1, 2);
            m_desktop->emitSignal(u"ActivationToken"_s, {m_desktop->shown, u"token"_s});
            m_desktop->emitSignal(u"ActivationToken"_s, {m_desktop->shown + 1, u"another's"_s});
            if (!action.isEmpty())
                m_desktop->emitSignal(u"ActionInvoked"_s, {m_desktop->shown, action});
            m_desktop->closed(m_desktop->shown, 2);
            QTRY_COMPARE(m_said, QList<int>{answer});
            QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), QByteArray("token"));
            qunsetenv("XDG_ACTIVATION_TOKEN");
            m_alerts->update(id, question(12));
            m_time.advance(2min);
            settle();
            QCOMPARE(m_desktop->said.size(), 1);
            QCOMPARE(m_said.size(), 1);
        }
    }

    void aDesktopThatLosesTheButtons()
    {
        for (const auto& [version, replaces] : {std::pair(u"43.9"_s, false), {u"48.4"_s, true}}) {
            cleanup();
            init();
            m_desktop->version = version;
            const auto id = ask();
            const uint number = m_desktop->shown;
            m_alerts->update(id, question(11));
            m_time.advance(60s);
            QTRY_COMPARE(m_desktop->said.size(), 2);
            QCOMPARE(m_desktop->shown == number, replaces);
            VERIFY_EACH(m_desktop->shown, m_said.isEmpty());
            m_alerts->dismiss(id);
            QTRY_VERIFY(!m_desktop->shown);
        }
    }

    void changesOnceAMinute()
    {
        const auto id = ask();
        const uint number = m_desktop->shown;
        m_alerts->update(id, question(11));
        m_time.advance(59s);
        m_alerts->update(id, question(12));
        settle();
        QCOMPARE(m_desktop->said.size(), 1);
        m_time.advance(1s);
        QTRY_COMPARE(m_desktop->said.size(), 2);
        QCOMPARE(m_desktop->said.last(), u"Idle for 12 minutes"_s);
        QCOMPARE(m_desktop->last[3].toStringList().last(), u"Remove 12"_s);
        QCOMPARE(m_desktop->shown, number);

        m_time.advance(10min);
        m_alerts->update(id, question(12));
        settle();
        QCOMPARE(m_desktop->said.size(), 2);
        m_alerts->update(id, question(22));
        QTRY_COMPARE(m_desktop->said.last(), u"Idle for 22 minutes"_s);
    }

    void goesWhenWithdrawn()
    {
        const auto id = ask();
        m_alerts->dismiss(id);
        QTRY_COMPARE(m_desktop->shown, 0U);
        settle();
        QCOMPARE(m_said, QList<int>());

        // Before the desktop has said its number.
        m_alerts->dismiss(m_alerts->show(question(), note()));
        settle();
        QCOMPARE(m_desktop->shown, 0U);
        QCOMPARE(m_said, QList<int>());

        ask();
        m_alerts.reset();
        QTRY_COMPARE(m_desktop->shown, 0U);
        QCOMPARE(m_said, QList<int>());
    }

    // One that was put away just as its text changed comes up once more, and goes.
    void isPutAwayWhileItChanges()
    {
        const auto id = ask();
        m_time.advance(2min);
        const uint number = m_desktop->shown;
        m_alerts->update(id, question(12));
        m_desktop->closed(number, 2);
        QTRY_COMPARE(m_desktop->said.size(), 2);
        QTRY_COMPARE(m_desktop->shown, 0U);
        QCOMPARE(m_said, QList{platform::AlertPresenter::Dismissed});
    }

    void boxesWhereThereAreNone()
    {
        for (const auto& [name, isThere, fails] :
             {std::tuple("no actions", true, false), {"refused", true, true}, {"nobody there", false, false}}) {
            const support::InRow row(name);
            cleanup();
            init();
            m_desktop.reset();
            if (isThere)
                m_desktop.emplace(fails ? QStringList{u"actions"_s} : QStringList{u"body"_s}).fails = fails;
            const auto id = m_alerts->show(question(), note());
            QTRY_VERIFY(openBox());
            m_alerts->update(id, question(12));
            QCOMPARE(openBox()->text(), u"Idle for 12 minutes"_s);
            openBox()->buttons().last()->click();
            QTRY_COMPARE(m_said, QList{1});

            const auto other = m_alerts->show({u"Failed"_s, u"No."_s, {u"OK"_s}}, note()); // asked for
            m_alerts->update(other, {u"Failed again"_s, u"No."_s, {u"OK"_s}});
            QCOMPARE(openBox()->text(), u"Failed again"_s);
            m_alerts->dismiss(other);
            QVERIFY(!openBox());
            QCOMPARE(m_said.size(), 1);
        }
    }

    // What shows notifications ends: nobody has put the question away.
    void asksAgainWhenTheNotificationsAreBack()
    {
        const auto id = ask();
        for (const int minutes : {11, 12}) {
            settle();
            m_time.advance(1min);
            m_desktop->owes = true; // when it ends
            m_alerts->update(id, question(minutes));
            QTRY_COMPARE(m_desktop->said.size(), 2);
            m_desktop.reset();
            if (minutes == 12)
                break;
            m_desktop.emplace();
            QTRY_COMPARE(m_desktop->said, QStringList{u"Idle for 11 minutes"_s});
            settle();
            QVERIFY(!openBox());
        }
        QTRY_VERIFY(openBox());
        m_desktop.emplace();
        settle();
        QCOMPARE(m_desktop->said, QStringList());
        openBox()->buttons().first()->click();
        QTRY_COMPARE(m_said, QList{0});
        QVERIFY(!openBox());
    }

private:
    platform::AlertId ask()
    {
        const auto id = m_alerts->show(question(), note());
        [this] { QTRY_VERIFY(m_desktop->shown); }();
        settle();
        return id;
    }
    /// Until everything that is under way on the bus has arrived.
    void settle()
    {
        for (int i = 0; i < 3; ++i) {
            QDBusConnection::sessionBus().interface()->isServiceRegistered(Service);
            QCoreApplication::processEvents();
        }
    }
    std::function<void(int)> note()
    {
        return [this](int button) { m_said << button; };
    }

    support::ManualTimeSource m_time;
    std::optional<Notifications> m_desktop;
    std::optional<platform::NotificationAlerts> m_alerts;
    QList<int> m_said;
};

QUILLON_OFFSCREEN_TEST_MAIN(NotificationAlertsTest)
#include "NotificationAlertsTest.moc"
