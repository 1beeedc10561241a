#include "Program.h"

#include "platform/linux/PortalHotKeys.h"
#include "support/TestEnvironment.h"

#include <QDBusConnectionInterface>
#include <QDBusInterface>
#include <QDBusReply>
#include <QFile>
#include <QGuiApplication>

using namespace Qt::StringLiterals;
using platform::HotKeys;
using State = HotKeys::State;

namespace {

constexpr auto ControlAlt = Qt::ControlModifier | Qt::AltModifier;
const HotKeys::HotKey Timesheet{1, u"timesheet"_s, u"Show or hide the timesheet"_s, 50, ControlAlt | Qt::Key_M};
const HotKeys::HotKey NewTimer{2, u"new-timer"_s, u"Start a new timer"_s, 49, ControlAlt | Qt::Key_N};

bool isOnTheBus(const QString& name)
{
    return QDBusConnection::sessionBus().interface()->isServiceRegistered(name);
}

/// A program that owns a name on the bus for as long as the object lives.
class Service : public Program
{
public:
    Service(const QString& name, const QString& program, const QStringList& arguments,
            const QProcessEnvironment& environment = QProcessEnvironment::systemEnvironment())
        : Program(program, arguments, environment), m_name(name)
    {
        [this] { QTRY_VERIFY_WITH_TIMEOUT(isOnTheBus(m_name), 20000); }();
    }
    ~Service()
    {
        end();
        [this] { QTRY_VERIFY(!isOnTheBus(m_name)); }();
    }

private:
    const QString m_name;
};

/// A desktop that grants shortcuts, and the person before it.
class Desktop
{
public:
    // The system's own interpreter: another one in PATH may lack the modules.
    explicit Desktop(const QString& role = u"portal"_s)
        : m_service(u"com.wrenfold.test.Desktop"_s, u"/usr/bin/python3"_s, {QStringLiteral(DESKTOP_PORTAL), role}),
          m_control(u"com.wrenfold.test.Desktop"_s, u"/"_s, u"com.wrenfold.test.Desktop"_s)
    {
    }

    template <class... Argument>
    void tell(const QString& method, const Argument&... arguments)
    {
        const QDBusMessage reply = m_control.call(method, arguments...);
        QVERIFY2(reply.type() == QDBusMessage::ReplyMessage, qPrintable(reply.errorMessage()));
    }
    QStringList log() { return QDBusReply<QStringList>(m_control.call(u"Log"_s)).value(); }

private:
    Service m_service;
    QDBusInterface m_control;
};

const auto Register = u"register com.wrenfold.quillon"_s;
const auto Create = u"create Quillon"_s; // by the same name each time
const QString BindBoth = u"bind timesheet=CTRL+ALT+m new-timer=CTRL+ALT+n"_s;

} // namespace

class PortalHotKeysTest final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        qputenv("WAYLAND_DISPLAY", "wayland-0");
        QGuiApplication::setDesktopFileName(u"com.wrenfold.quillon"_s);
        m_run = std::make_unique<support::TestRun>();
        m_keys = std::make_unique<platform::PortalHotKeys>();
        m_pressed.clear();
        m_keys->setHandlers([this](int id) { m_pressed << id; }, [] {});
    }

    void cleanup()
    {
        m_keys.reset();
        m_run.reset();
    }

    void inWhichSessions()
    {
        // With the type alone, the program's windows may be on an X server within Wayland.
        for (const auto& [display, type, available] :
             {std::tuple("wayland-0", "wayland", true), {"", "wayland", true}, {"", "x11", false}, {"", "", false}}) {
            qputenv("WAYLAND_DISPLAY", display);
            qputenv("XDG_SESSION_TYPE", type);
            QCOMPARE(platform::PortalHotKeys::available(), available);
        }
    }

    void bindsAndFires()
    {
        Desktop desktop;
        const auto timesheet = add(Timesheet);
        QCOMPARE(timesheet->status().state, State::Pending);
        const auto newTimer = add(NewTimer);
        QTRY_COMPARE(newTimer->status(), (HotKeys::Status{State::Registered, u"Press CTRL+ALT+n"_s}));
        QCOMPARE(timesheet->status(), (HotKeys::Status{State::Registered, u"Press CTRL+ALT+m"_s}));
        QCOMPARE(desktop.log(), QStringList({Register, Create, BindBoth}));

        desktop.tell(u"Press"_s, u"new-timer"_s);
        desktop.tell(u"Press"_s, u"timesheet"_s);
        QTRY_COMPARE(m_pressed, (QList<int>{2, 1}));
        QCOMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), QByteArray("token"));
        qunsetenv("XDG_ACTIVATION_TOKEN");

        m_keys->setPaused(true);
        desktop.tell(u"Press"_s, u"timesheet"_s);
        // One that is heard again comes after it.
        desktop.tell(u"Change"_s, u"timesheet"_s, u"Press F9"_s);
        QTRY_COMPARE(timesheet->status().trigger, u"Press F9"_s);
        QCOMPARE(m_pressed, (QList<int>{2, 1}));
    }

    void behindTheRealPortal()
    {
        if (!QFile::exists(u"/usr/libexec/xdg-desktop-portal"_s))
            QSKIP("xdg-desktop-portal is not installed");
        Desktop desktop(u"backend"_s);
        QFile description(m_run->folders.path(u"test.portal"_s));
        QVERIFY(description.open(QIODevice::WriteOnly));
        description.write("[portal]\nDBusName=org.freedesktop.impl.portal.desktop.test\n"
                          "Interfaces=org.freedesktop.impl.portal.GlobalShortcuts\nUseIn=test\n");
        description.close();
        QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
        environment.insert(u"XDG_DESKTOP_PORTAL_DIR"_s, m_run->folders.path(QString()));
        environment.insert(u"XDG_CURRENT_DESKTOP"_s, u"test"_s);
        const Service portal(u"org.freedesktop.portal.Desktop"_s, u"/usr/libexec/xdg-desktop-portal"_s, {},
                             environment);

        const auto timesheet = add(Timesheet);
        auto newTimer = add(NewTimer);
        QTRY_COMPARE(timesheet->status(), (HotKeys::Status{State::Registered, u"Press CTRL+ALT+m"_s}));
        desktop.tell(u"Press"_s, u"new-timer"_s);
        QTRY_COMPARE(m_pressed, QList<int>{2});

        HotKeys::HotKey other = NewTimer;
        other.keys = Qt::MetaModifier | Qt::Key_F5;
        newTimer.reset();
        newTimer = add(other);
        QTRY_COMPARE(newTimer->status(), (HotKeys::Status{State::Registered, u"Press LOGO+F5"_s}));
        QCOMPARE(desktop.log(),
                 QStringList({Create, BindBoth, u"close"_s, Create, u"bind timesheet=CTRL+ALT+m new-timer=LOGO+F5"_s}));
        desktop.tell(u"Press"_s, u"timesheet"_s);
        QTRY_COMPARE(m_pressed, (QList<int>{2, 1}));
    }

    void whatTheDesktopSays()
    {
        for (const auto& [answer, timesheet, newTimer, trigger] :
             {std::tuple(u"choose"_s, State::Registered, State::Registered, u"Press Super+T"_s),
              {u"partial"_s, State::Registered, State::Denied, u"Press CTRL+ALT+m"_s},
              {u"gnome"_s, State::Registered, State::Registered, u"Ctrl+Alt+M"_s},
              {u"refuse"_s, State::Denied, State::Denied, QString()},
              {u"unassigned"_s, State::Denied, State::Denied, QString()},
              {u"fail"_s, State::Unavailable, State::Unavailable, QString()}}) {
            Desktop desktop;
            desktop.tell(u"Answer"_s, answer);
            const auto first = add(Timesheet);
            const auto second = add(NewTimer);
            QTRY_COMPARE(second->status().state, newTimer);
            QCOMPARE(first->status().state, timesheet);
            QCOMPARE(first->status().trigger, trigger);
        }
    }

    /// Binding what it has would open its settings.
    void desktopThatKeepsTheKeys()
    {
        for (const auto& [answer, bound] :
             {std::pair(u"keeps"_s, QStringList{BindBoth}),
              {u"keeps one"_s, {u"bind timesheet=CTRL+ALT+m"_s, u"bind new-timer=CTRL+ALT+n"_s}}}) {
            Desktop desktop;
            desktop.tell(u"Answer"_s, answer);
            m_keys->setMayAsk(answer == u"keeps"_s);
            const auto timesheet = add(Timesheet);
            const auto newTimer = add(NewTimer);
            QTRY_COMPARE(timesheet->status().state, State::Registered);
            QCOMPARE(newTimer->status().state, answer == u"keeps"_s ? State::Registered : State::Pending);
            m_keys->setMayAsk(true);
            QTRY_COMPARE(newTimer->status(), (HotKeys::Status{State::Registered, u"Press CTRL+ALT+n"_s}));
            QCOMPARE(timesheet->status(), (HotKeys::Status{State::Registered, u"Press CTRL+ALT+m"_s}));
            QCOMPARE(desktop.log(), QStringList({Register, Create}) + bound);
            desktop.tell(u"Press"_s, u"timesheet"_s);
            QTRY_COMPARE(m_pressed, QList<int>{1});
        }
    }

    void desktopChangesItsMind()
    {
        Desktop desktop;
        desktop.tell(u"Answer"_s, u"unassigned"_s);
        const auto timesheet = add(Timesheet);
        QTRY_COMPARE(timesheet->status().state, State::Denied);
        desktop.tell(u"Change"_s, u"timesheet"_s, u"Press Super+Z"_s);
        QTRY_COMPARE(timesheet->status(), (HotKeys::Status{State::Registered, u"Press Super+Z"_s}));
        desktop.tell(u"Change"_s, u"timesheet"_s, QString());
        QTRY_COMPARE(timesheet->status().state, State::Denied);
    }

    void changesBindAnew()
    {
        Desktop desktop;
        auto timesheet = add(Timesheet);
        QTRY_COMPARE(timesheet->status().state, State::Registered);
        // Saved without a change: the person is not asked again.
        timesheet.reset();
        timesheet = add(Timesheet);
        QCoreApplication::processEvents();
        QCOMPARE(timesheet->status().state, State::Registered);

        HotKeys::HotKey other = Timesheet;
        other.keys = ControlAlt | Qt::Key_B;
        timesheet.reset();
        timesheet = add(other);
        QTRY_COMPARE(timesheet->status().trigger, u"Press CTRL+ALT+b"_s);
        const QStringList expected{Register, Create, u"bind timesheet=CTRL+ALT+m"_s, u"close"_s,
                                   Register, Create, u"bind timesheet=CTRL+ALT+b"_s};
        QCOMPARE(desktop.log(), expected);

        timesheet.reset();
        QTRY_COMPARE(desktop.log(), expected + QStringList{u"close"_s});
    }

    void changesWhileTheDesktopThinks()
    {
        Desktop desktop;
        desktop.tell(u"Answer"_s, u"hold"_s);
        const auto timesheet = add(Timesheet);
        QTRY_VERIFY(desktop.log().contains(Create));
        const auto newTimer = add(NewTimer);
        QCoreApplication::processEvents();
        QCOMPARE(newTimer->status().state, State::Pending);
        desktop.tell(u"Answer"_s, u"grant"_s);
        desktop.tell(u"Release"_s);
        QTRY_COMPARE(newTimer->status().state, State::Registered);
        // A session is made with the keys of its time.
        QCOMPARE(desktop.log(), QStringList({Register, Create, u"close"_s, Register, Create, BindBoth}));
    }

    void freedWhileTheDesktopThinks()
    {
        Desktop desktop;
        desktop.tell(u"Answer"_s, u"hold"_s);
        auto timesheet = add(Timesheet);
        QTRY_VERIFY(desktop.log().contains(Create));
        timesheet.reset();
        QCoreApplication::processEvents();
        desktop.tell(u"Release"_s);
        QTRY_COMPARE(desktop.log().last(), u"close"_s);
    }

    void portalComesAndGoes()
    {
        auto timesheet = add(Timesheet);
        QTRY_COMPARE(timesheet->status(), (HotKeys::Status{State::Unavailable, {}}));
        for (int times = 0; times < 2; ++times) {
            Desktop desktop;
            QTRY_COMPARE(timesheet->status().state, State::Registered);
            desktop.tell(u"Press"_s, u"timesheet"_s);
            QTRY_COMPARE(m_pressed.size(), times + 1);
            // The desktop closes the session: it is asked again after the next change.
            desktop.tell(u"Forget"_s);
            QTRY_COMPARE(timesheet->status().state, State::Unavailable);
            timesheet.reset();
            timesheet = add(Timesheet);
            QTRY_COMPARE(timesheet->status().state, State::Registered);
        }
        QTRY_COMPARE(timesheet->status().state, State::Unavailable);
    }

    void triggers()
    {
        for (const auto& [keys, trigger] :
             {std::pair(ControlAlt | Qt::Key_M, u"CTRL+ALT+m"_s),
              {ControlAlt | Qt::ShiftModifier | Qt::MetaModifier | Qt::Key_0, u"CTRL+ALT+SHIFT+LOGO+0"_s},
              {QKeyCombination(Qt::Key_F12), u"F12"_s},
              {Qt::ControlModifier | Qt::Key_PageDown, u"CTRL+Page_Down"_s},
              {Qt::MetaModifier | Qt::Key_BracketLeft, u"LOGO+bracketleft"_s},
              {Qt::ControlModifier | Qt::Key_unknown, QString()}})
            QCOMPARE(platform::PortalHotKeys::trigger(keys), trigger);
    }

private:
    std::unique_ptr<HotKeys::Registration> add(const HotKeys::HotKey& key) { return m_keys->registerHotKey(key); }

    std::unique_ptr<support::TestRun> m_run;
    std::unique_ptr<platform::PortalHotKeys> m_keys;
    QList<int> m_pressed;
};

QTEST_GUILESS_MAIN(PortalHotKeysTest)
#include "PortalHotKeysTest.moc"
