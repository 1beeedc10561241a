#include "FakeTray.h"
#include "Program.h"
#include "SlowPeer.h"

#include "platform/linux/CarrierSwitch.h"
#include "support/ManualTimeSource.h"
#include "support/Pointer.h"
#include "support/TestEnvironment.h"
#include "support/VerifyEach.h"

#include <QApplication>
#include <QDBusConnection>
#include <QDBusConnectionInterface>
#include <QDBusMessage>
#include <QMenu>
#include <QMouseEvent>
#include <QPainter>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using platform::CarrierSwitch;
using support::at;
using support::pointer;
using support::run;

namespace {

constexpr auto Trial = 1500ms;
constexpr auto Settling = 1s;

class View final : public QWidget
{
public:
    View() { resize(71, 22); }

    QList<QPoint> presses;
    std::function<void()> pressed;

protected:
    void mousePressEvent(QMouseEvent* event) override
    {
        presses << event->pos();
        if (pressed)
            pressed();
    }
    void paintEvent(QPaintEvent*) override { QPainter(this).fillRect(rect(), Qt::red); }
};

} // namespace

/// A shell that draws items: on a connection of its own, so that everything goes over the bus.
class Watcher final : public QObject
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.StatusNotifierWatcher")
    Q_PROPERTY(bool IsStatusNotifierHostRegistered READ hasHost)
public:
    enum class Host
    {
        There,
        Away,
        Refuses
    };

    explicit Watcher(Host kind = Host::There) : host(kind)
    {
        bus.registerObject(u"/StatusNotifierWatcher"_s, this,
                           QDBusConnection::ExportAllContents | QDBusConnection::ExportNonScriptableContents);
        appear();
    }
    ~Watcher() override
    {
        disappear();
        bus.unregisterObject(u"/StatusNotifierWatcher"_s);
    }

    void appear()
    {
        [this] { QVERIFY(bus.registerService(u"org.kde.StatusNotifierWatcher"_s)); }();
    }
    void disappear() { bus.unregisterService(u"org.kde.StatusNotifierWatcher"_s); }
    bool hasHost() const { return host != Host::Away; }
    void setHost(Host now)
    {
        host = now;
        emit StatusNotifierHostRegistered();
    }

    Host host;
    QStringList items;
    QDBusConnection bus = QDBusConnection::connectToBus(QDBusConnection::SessionBus, u"watcher"_s);

public slots:
    void RegisterStatusNotifierItem(const QString& item, const QDBusMessage& call)
    {
        if (host == Host::Refuses) {
            call.setDelayedReply(true);
            bus.send(call.createErrorReply(QDBusError::AccessDenied, u"no room"_s));
            return;
        }
        items << item;
    }

signals:
    void StatusNotifierHostRegistered();
    void StatusNotifierItemUnregistered(const QString& item);
};

namespace {

/// The item with all that a program gives it.
class Item
{
public:
    Item()
    {
        start = menu.addAction(u"&Start R&&D_now"_s, [this] { chosen << u"start"_s; });
        menu.addSeparator();
        disabled = menu.addAction(u"Later"_s, [this] { chosen << u"later"_s; });
        disabled->setEnabled(false);
        hidden = menu.addAction(u"Hidden"_s, [this] { chosen << u"hidden"_s; });
        hidden->setVisible(false);
        quit = menu.addAction(u"Quit"_s, [this] { chosen << u"quit"_s; });
        quit->setShortcut(QKeySequence(u"Ctrl+Alt+Q"_s));
        item.setLength(71);
        item.setToolTip(u"Wrenfold"_s);
        item.setDescription(told);
        view.pressed = [this] { item.popUpMenu(menu); };
    }
    ~Item()
    {
        item.setView(nullptr);
        item.setStandIn({});
    }

    /// As the program does: the face first, then all the rest.
    void show()
    {
        item.setView(&view);
        item.setStandIn({&menu, [this] { chosen << u"open menu"_s; }, [this] { chosen << u"toggle"_s; },
                         [this](const platform::StatusItem::Description&, int side, bool withHours) {
                             ++drawn;
                             QImage tile(side, side, QImage::Format_ARGB32);
                             tile.fill(QColor(0x11, 0x22, 0x33, withHours ? 0x44 : 0x55));
                             return tile;
                         }});
    }
    int drawn = 0; ///< tiles
    bool becomes(const QString& carrier)
    {
        const bool showsView = carrier.startsWith(u"docked"_s) || carrier.startsWith(u"floating"_s);
        return QTest::qWaitFor([&] { return item.describe().startsWith(carrier) && view.isVisible() == showsView; },
                               20000);
    }
    /// Time goes on until what comes and goes has settled.
    bool settles()
    {
        const bool waits = QTest::qWaitFor([this] { return time.timers() == 1; }, 20000);
        time.advance(Settling);
        return waits;
    }
    /// The desktop's answer to a question may come after the time to settle is over: then that begins again.
    bool settlesOn(const QString& carrier)
    {
        return QTest::qWaitFor(
            [&] {
                time.advance(Settling);
                return item.describe().startsWith(carrier);
            },
            20000);
    }
    bool isIn(const FakeTray& tray)
    {
        return QTest::qWaitFor(
            [&] { return tray.hasDocked() && view.isVisible() && view.window()->size() == tray.granted(); }, 20000);
    }

    support::TemporaryFolders folders;
    support::ManualTimeSource time;
    View view;
    QMenu menu;
    QAction* start;
    QAction* disabled;
    QAction* hidden;
    QAction* quit;
    QStringList chosen;
    platform::StatusItem::Description told{u"1:05"_s,   u"1 hour 5 minutes, running, Website"_s, true, false, false,
                                           u"Website"_s};
    CarrierSwitch item{time};
};

const auto Docked = u"docked"_s;
const auto Nowhere = u"between two places"_s;
const auto Strip = u"floating strip"_s;
const auto Notifier = u"status notifier item"_s;

/// Asks the item from outside, over the bus.
QString ask(const QString& name, const QString& path, const QString& method, const QStringList& arguments)
{
    return run(u"gdbus"_s, QStringList{u"call"_s, u"--session"_s, u"--dest"_s, name, u"--object-path"_s, path,
                                       u"--method"_s, method, u"--"_s} +
                               arguments)
        .trimmed();
}

bool isOnTheBus(const QString& name)
{
    return ask(u"org.freedesktop.DBus"_s, u"/org/freedesktop/DBus"_s, u"org.freedesktop.DBus.NameHasOwner"_s, {name})
        .contains("true"_L1);
}

QString propertyOf(const QString& item, const QString& name)
{
    return ask(item, u"/StatusNotifierItem"_s, u"org.freedesktop.DBus.Properties.Get"_s,
               {u"org.kde.StatusNotifierItem"_s, name});
}

QString menuCall(const QString& item, const QString& method, const QStringList& arguments)
{
    return ask(item, u"/MenuBar"_s, u"com.canonical.dbusmenu."_s + method, arguments);
}

} // namespace

class CarriersTest final : public QObject
{
    Q_OBJECT

private slots:
    void trial()
    {
        const auto docked = u"docked in the panel, which grants %1 × %2 points"_s;
        for (const auto& [size, carrier] : {std::pair(QSize(0, 0), docked.arg(71).arg(22)), // what is asked for
                                            {QSize(71, 26), docked.arg(71).arg(26)},
                                            {QSize(66, 20), docked.arg(66).arg(20)},
                                            {QSize(65, 22), Strip},
                                            {QSize(71, 19), Strip},
                                            {QSize(24, 24), Strip}, // an icon's place
                                            {QSize(128, 128), Strip}}) {
            FakeTray tray(size);
            Item item;
            QCOMPARE(item.item.describe(), u"docked in the panel, if that grants it the room"_s);
            item.show();
            QVERIFY(item.isIn(tray));
            item.time.advance(Trial);
            QVERIFY(item.becomes(carrier));
            QTRY_COMPARE(tray.hasDocked(), carrier != Strip);
            QCOMPARE(item.time.timers(), 0);
        }
    }

    void busyPanel()
    {
        for (const int trials : {3, 4}) {
            FakeTray tray;
            tray.setBusy(true);
            Item item;
            item.show();
            for (int trial = 0; trial < trials; ++trial)
                item.time.advance(Trial);
            tray.setBusy(false);
            if (trials == 3)
                QVERIFY(item.isIn(tray));
            item.time.advance(Trial);
            QVERIFY(item.becomes(trials == 3 ? Docked : Strip));
        }
    }

    void clicksAndMenuInThePanel()
    {
        for (const auto& [place, above] : {std::pair(QPoint(300, 0), false), {QPoint(700, 740), true}}) {
            FakeTray tray({71, 26}, place);
            Item item;
            item.show();
            QVERIFY(item.isIn(tray));
            const QRect docked(place + QPoint(20, 4), QSize(71, 26));
            pointer(at(docked.topLeft() + QPoint(12, 11)) + u" click 1"_s);
            QTRY_COMPARE(item.view.presses, QList<QPoint>{QPoint(12, 11)});
            QTRY_VERIFY(item.menu.isVisible());
            QCOMPARE(item.menu.x(), docked.left());
            QCOMPARE(above ? item.menu.geometry().bottom() : item.menu.geometry().top(),
                     above ? docked.top() - 1 : docked.bottom() + 1);
            item.menu.close();
        }
    }

    void floatsOnRequestAndGrowsInThePanel()
    {
        FakeTray tray;
        Item item;
        item.item.setFloating(true);
        item.show();
        QVERIFY(item.becomes(Strip));
        item.item.setFloating(false);
        VERIFY_EACH(item.isIn(tray), item.becomes(Docked));
        for (const auto& [length, points] : {std::pair(79.5, 80), {71.0, 71}}) {
            item.item.setLength(length);
            QTRY_COMPARE(tray.granted(), QSize(points, 22));
            QTRY_COMPARE(item.view.size(), QSize(points, 22));
        }
    }

    void panelDiesAndReturns()
    {
        Item item;
        item.show();
        QVERIFY(item.becomes(Strip));
        for (int times = 0; times < 2; ++times) {
            FakeTray tray;
            QTRY_COMPARE(item.time.timers(), 1);
            QVERIFY(item.becomes(Strip));
            item.time.advance(Settling);
            QVERIFY(item.isIn(tray));
            item.time.advance(Trial);
            QVERIFY(item.becomes(Docked));
            tray.end();
            QVERIFY(item.becomes(Nowhere));
            item.time.advance(Settling);
            QVERIFY(item.becomes(Strip));
        }
    }

    void panelThatStartsAnewShowsNoStrip()
    {
        auto tray = std::make_unique<FakeTray>();
        Item item;
        item.show();
        QVERIFY(item.isIn(*tray));
        item.time.advance(Trial);
        tray.reset();
        QVERIFY(item.becomes(Nowhere));
        item.time.advance(Settling / 2);
        tray = std::make_unique<FakeTray>();
        bool strip = false;
        QVERIFY(QTest::qWaitFor(
            [&] {
                item.time.advance(10ms);
                strip |= item.item.describe().startsWith(Strip);
                return item.item.describe().startsWith(Docked);
            },
            20000));
        VERIFY_EACH(!strip, item.isIn(*tray));
    }

    void drawnByTheDesktop()
    {
        Watcher watcher;
        Item item;
        item.show();
        QTRY_COMPARE(watcher.items.size(), 1);
        QString name = watcher.items.first();

        QCOMPARE(propertyOf(name, u"XAyatanaLabel"_s), u"(<'1:05'>,)"_s);
        QCOMPARE(propertyOf(name, u"IconAccessibleDesc"_s), u"(<'1 hour 5 minutes, running, Website'>,)"_s);
        QCOMPARE(propertyOf(name, u"ToolTip"_s), u"(<('', @a(iiay) [], 'Wrenfold', 'Website')>,)"_s);
        QCOMPARE(propertyOf(name, u"ItemIsMenu"_s), u"(<true>,)"_s);
        const QString tiles = propertyOf(name, u"IconPixmap"_s);
        QVERIFY2(tiles.startsWith("(<[(16, 16, [byte 0x44, 0x11, 0x22, 0x33, 0x44, "_L1), qPrintable(tiles.left(80)));
        for (const int side : {20, 22, 48})
            QVERIFY(tiles.contains(u"(%1, %1, "_s.arg(side)));

        const auto call = [&](const QString& method) {
            ask(name, u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem."_s + method, {u"3"_s, u"26"_s});
        };
        ask(name, u"/StatusNotifierItem"_s, u"org.kde.StatusNotifierItem.ProvideXdgActivationToken"_s, {u"token-1"_s});
        QTRY_COMPARE(qgetenv("XDG_ACTIVATION_TOKEN"), "token-1");
        call(u"SecondaryActivate"_s);
        QTRY_VERIFY(!qEnvironmentVariableIsSet("XDG_ACTIVATION_TOKEN"));
        call(u"Activate"_s);
        call(u"ContextMenu"_s);
        const QStringList expected{u"toggle"_s, u"open menu"_s, u"open menu"_s};
        QTRY_COMPARE(item.chosen, expected);

        // Plasma shows the menu itself after an error, and calls another method for ours.
        qputenv("XDG_CURRENT_DESKTOP", "KDE");
        call(u"Activate"_s);
        call(u"ContextMenu"_s);
        QTRY_COMPARE(item.chosen, expected + QStringList{u"open menu"_s});
        // Who is to sign in gets no menu for a press: the program gets it. Hosts that read this once see another item.
        const auto setSignedOut = [&](bool signedOut) {
            item.told.loggedOut = signedOut;
            item.item.setDescription(item.told);
            const qsizetype before = watcher.items.size();
            QTRY_COMPARE(watcher.items.size(), before + 1);
            QVERIFY(!isOnTheBus(std::exchange(name, watcher.items.last())));
            QCOMPARE(propertyOf(name, u"ItemIsMenu"_s), signedOut ? u"(<false>,)"_s : u"(<true>,)"_s);
        };
        setSignedOut(true);
        call(u"Activate"_s);
        QTRY_COMPARE(item.chosen, expected + QStringList({u"open menu"_s, u"open menu"_s}));
        setSignedOut(false);
        qunsetenv("XDG_CURRENT_DESKTOP");

        // A new tile is drawn for what is new.
        item.told.running = !item.told.running;
        item.told.hours = u"9:59"_s;
        const int drawn = item.drawn;
        item.item.setDescription(item.told);
        static_cast<void>(propertyOf(name, u"IconPixmap"_s));
        QVERIFY(item.drawn > drawn);
        // Desktops take the text for markup.
        item.told.about = u"R&D <i>"_s;
        item.item.setDescription(item.told);
        QVERIFY(propertyOf(name, u"ToolTip"_s).contains(u"'R&amp;D &lt;i&gt;'"_s));
        item.told.offline = true;
        item.item.setDescription(item.told);
        QCOMPARE(propertyOf(name, u"XAyatanaLabel"_s), u"(<'Offline'>,)"_s);
        QVERIFY(propertyOf(name, u"ToolTip"_s).contains(u"'Offline'"_s));

        // Where the program is not told, it opens where the pointer is.
        pointer(at({600, 300}));
        QTRY_COMPARE(QCursor::pos(), QPoint(600, 300));
        item.item.popUpMenu(item.menu);
        QTRY_VERIFY(item.menu.isVisible());
        QCOMPARE(item.menu.pos(), QPoint(600, 300));
        item.menu.close();

        // Its name goes with it, by which the desktop knows.
        item.item.setFloating(true);
        VERIFY_EACH(item.becomes(Strip), !isOnTheBus(name));
    }

    void shellStartsAnew()
    {
        Item item;
        item.show();
        QVERIFY(item.becomes(Strip));
        Watcher watcher;
        QVERIFY(item.becomes(Notifier));
        QTRY_COMPARE(watcher.items.size(), 1);

        watcher.disappear();
        QTRY_COMPARE(item.time.timers(), 1);
        watcher.appear();
        QTRY_COMPARE(watcher.items.size(), 2);
        QVERIFY(item.settlesOn(Notifier));
        QCOMPARE(watcher.items.first(), watcher.items.last());

        watcher.disappear();
        VERIFY_EACH(item.settles(), item.becomes(Strip));

        watcher.appear();
        VERIFY_EACH(item.settles(), item.becomes(Notifier));
        QTRY_COMPARE(watcher.items.size(), 3);
    }

    void overtakenAnswerDoesNotCount()
    {
        SlowPeer watcher(u"org.kde.StatusNotifierWatcher"_s, u"/StatusNotifierWatcher"_s);
        const auto isAskedAgain = [&] {
            const qsizetype before = watcher.questions.size();
            watcher.bus.send(QDBusMessage::createSignal(u"/StatusNotifierWatcher"_s, u"org.kde.StatusNotifierWatcher"_s,
                                                        u"StatusNotifierHostRegistered"_s));
            return QTest::qWaitFor([&] { return watcher.questions.size() > before; }, 20000);
        };
        const auto answer = [&](int question, bool there) {
            watcher.answer(question, QVariant::fromValue(QDBusVariant(there)));
        };
        QList<bool> told;
        platform::NotifierHost host([&] { told << host.isThere(); });
        host.begin();
        QTRY_COMPARE(watcher.questions.size(), 1);
        QVERIFY(isAskedAgain());
        answer(1, true);
        QTRY_COMPARE(told, QList<bool>{true});
        answer(0, false);
        QVERIFY(isAskedAgain());
        watcher.bus.unregisterService(u"org.kde.StatusNotifierWatcher"_s);
        QTRY_VERIFY(!host.isThere());
        answer(2, true);
        QCOMPARE(told, (QList<bool>{true, false}));
    }

    void nobodyWhoShowsItems()
    {
        for (const auto host : {Watcher::Host::Away, Watcher::Host::Refuses}) {
            Watcher watcher(host);
            Item item;
            item.show();
            if (host == Watcher::Host::Refuses)
                QVERIFY(item.becomes(Notifier));
            VERIFY_EACH(item.becomes(Strip), watcher.items.isEmpty());
            watcher.disappear(); // the next one may show it
            watcher.appear();
            watcher.setHost(Watcher::Host::There);
            QVERIFY(item.settlesOn(Notifier));
            QTRY_COMPARE(watcher.items.size(), 1);
        }
    }

    void panelBeforeShell()
    {
        Watcher watcher;
        Item item;
        item.show();
        QVERIFY(item.becomes(Notifier));
        QTRY_COMPARE(watcher.items.size(), 1);

        auto tray = std::make_unique<FakeTray>(QSize(24, 24));
        VERIFY_EACH(item.settles(), item.isIn(*tray));
        item.time.advance(Trial);
        QVERIFY(item.becomes(Notifier));
        QTRY_COMPARE(watcher.items.size(), 2);
        QTRY_VERIFY(!tray->hasDocked());

        // Another panel may have the room that this one has not.
        tray = std::make_unique<FakeTray>();
        VERIFY_EACH(item.settles(), item.isIn(*tray));
        item.time.advance(Trial);
        QVERIFY(item.becomes(Docked));

        tray.reset();
        VERIFY_EACH(item.settles(), item.becomes(Notifier));
        QTRY_COMPARE(watcher.items.size(), 3);
    }

    void menuOverTheBus()
    {
        Watcher watcher;
        Item item;
        item.show();
        QTRY_COMPARE(watcher.items.size(), 1);
        const QString name = watcher.items.first();
        QCOMPARE(menuCall(name, u"GetLayout"_s, {u"0"_s, u"-1"_s, u"[]"_s}),
                 u"(uint32 1, (0, {'children-display': <'submenu'>}, "
                 "[<(1, {'label': <'_Start R&D__now'>}, @av [])>, "
                 "<(2, {'type': <'separator'>}, @av [])>, "
                 "<(3, {'enabled': <false>, 'label': <'Later'>}, @av [])>, "
                 "<(4, {'enabled': <false>, 'label': <'Hidden'>, 'visible': <false>}, @av [])>, "
                 "<(5, {'label': <'Quit'>, 'shortcut': <[['Control', 'Alt', 'Q']]>}, @av [])>]))"_s);
        QCOMPARE(menuCall(name, u"GetGroupProperties"_s, {u"[3, 9]"_s, u"['label']"_s}),
                 u"([(3, {'label': <'Later'>})],)"_s);
        QCOMPARE(menuCall(name, u"GetProperty"_s, {u"3"_s, u"enabled"_s}), u"(<false>,)"_s);
        QCOMPARE(menuCall(name, u"AboutToShow"_s, {u"0"_s}), u"(false,)"_s);
        QCOMPARE(menuCall(name, u"AboutToShowGroup"_s, {u"[0, 9]"_s}), u"(@ai [], [9])"_s);

        for (const auto& [id, event] :
             {std::pair("1", "clicked"), {"3", "clicked"}, {"4", "clicked"}, {"9", "clicked"}, {"5", "hovered"}})
            menuCall(name, u"Event"_s, {QString::fromLatin1(id), QString::fromLatin1(event), u"<''>"_s, u"0"_s});
        QCOMPARE(menuCall(name, u"EventGroup"_s, {u"[(5, 'clicked', <''>, uint32 0), (7, 'clicked', <''>, 0)]"_s}),
                 u"([7],)"_s);
        const QStringList expected{u"start"_s, u"quit"_s};
        QTRY_COMPARE(item.chosen, expected);

        // An item that has left the menu is not pressed, though a desktop may still show it.
        item.menu.removeAction(item.start);
        menuCall(name, u"Event"_s, {u"1"_s, u"clicked"_s, u"<''>"_s, u"0"_s});
        item.menu.insertAction(item.disabled, item.start);
        const QString layout = menuCall(name, u"GetLayout"_s, {u"0"_s, u"1"_s, u"['label']"_s});
        QVERIFY2(layout.contains("[<(2, @a{sv} {}, @av [])>, <(1, "_L1), qPrintable(layout));
        QCOMPARE(item.chosen, expected);
    }

    /// What the bus carries while a timer runs and the program refreshes, as it does every half minute.
    void onlyWhatIsNewIsSent()
    {
        Watcher watcher;
        Item item;
        item.show();
        QTRY_COMPARE(watcher.items.size(), 1);
        Program monitor(u"gdbus"_s, {u"monitor"_s, u"--session"_s, u"--dest"_s, watcher.items.first()});
        QVERIFY(monitor.says("is owned by"));
        constexpr int minutes = 3;
        for (int refresh = 0; refresh < 2 * minutes; ++refresh) {
            const int minute = 6 + refresh / 2;
            item.told.hours = u"1:%1"_s.arg(minute, 2, 10, QChar(u'0'));
            item.told.spoken = u"1 hour %1 minutes, running, Website"_s.arg(minute);
            item.item.setLength(71);
            item.item.setDescription(item.told);
            // Taken out and put back where it was.
            item.menu.removeAction(item.start);
            item.menu.insertAction(item.menu.actions().first(), item.start);
            item.start->setText(item.start->text());
            item.time.advance(30s);
            QCoreApplication::processEvents();
        }
        item.start->setText(u"Stop"_s);
        item.disabled->setEnabled(true);
        QVERIFY(monitor.says("dbusmenu.ItemsPropertiesUpdated ([(1, {'label': <'Stop'>})], [(3, ['enabled'])])\n"));
        const QByteArray heard = monitor.before();
        QCOMPARE(heard.count("XAyatanaNewLabel"), minutes);
        QCOMPARE(heard.count("NewIcon"), minutes);
        QVERIFY2(heard.count('\n') - 1 <= 2 * minutes, heard.constData()); // the first line is the owner's

        item.menu.removeAction(item.start);
        QVERIFY(monitor.says("dbusmenu.LayoutUpdated (uint32 2, 0)\n"));
        QVERIFY2(!monitor.before().contains("dbusmenu."), monitor.before().constData());
    }
};

QTEST_MAIN(CarriersTest)
#include "CarriersTest.moc"
