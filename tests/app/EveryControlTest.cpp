#include "Scenes.h"

#include "booking/Bookings.h"
#include "skin/Appearance.h"
#include "support/StillStyle.h"
#include "support/TestMain.h"

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

QStringList asked(AppRun& run)
{
    QStringList lines;
    for (const support::Request& request : run.peer.requests())
        lines << u"asked: "_s +
                     QString::fromStdString(request.method + ' ' + request.target + ' ' + request.body).simplified();
    return lines;
}

} // namespace

/// Every control, key and menu item of every window, and every command from outside: what it asks of the service and
/// the desktop, what it writes and what can be seen afterwards, by hand and, where that differs, by key. That is
/// compared with the files in tests/app/windows.
class EveryControlTest : public QObject
{
    Q_OBJECT

    using Make = decltype(NamedScene::make);

private slots:
    void initTestCase() { QApplication::setStyle(new support::StillStyle); }
    void init() { skin::setAppearance({.still = true}); }
    void cleanup() { skin::setAppearance({}); }

    void controls_data() { addScenes(false); }
    void controls()
    {
        QFETCH(const Make, make);
        QStringList seen;
        for (qsizetype number = 0;; ++number) {
            QStringList byHand;
            for (const bool keyboard : {false, true}) {
                Scene scene;
                make(scene);
                const QList<QWidget*> controls = controlsOf(*scene.window);
                if (number >= controls.size()) {
                    compare(seen);
                    return;
                }
                QWidget& control = *controls[number];
                Outcome outcome(scene);
                const bool used = use(control, keyboard);
                scene.run->settle();
                const QStringList lines = used ? outcome.lines() : QStringList(u"not by key"_s);
                if (!keyboard)
                    seen << u"== "_s + support::Described::nameOf(control) << (byHand = lines);
                else if (lines != byHand)
                    seen << u"by key:"_s << lines;
                putAway(scene);
            }
        }
    }

    void menus_data() { addScenes(true); }
    void menus()
    {
        QFETCH(const Make, make);
        QStringList seen;
        for (qsizetype number = 0;; ++number) {
            Scene scene;
            make(scene);
            const QList<QAction*> actions = scene.window->actions();
            if (number == actions.size())
                break;
            QAction& action = *actions[number];
            if (action.isSeparator() || !action.isVisible())
                continue;
            seen << u"== "_s + action.text() + (action.isEnabled() ? QString() : u" off"_s);
            Outcome outcome(scene);
            action.trigger();
            scene.run->settle();
            seen << outcome.lines();
        }
        compare(seen);
    }

    void keys_data() { controls_data(); }
    void bookings_data()
    {
        QTest::addColumn<AppRun::Timers>("timers");
        QTest::newRow("hours") << AppRun::Timers::Hours;
        QTest::newRow("times") << AppRun::Timers::Timestamps;
    }
    /// What other programs may ask for, and what they are told.
    void bookings()
    {
        QFETCH(const AppRun::Timers, timers);
        TimesheetRun run(timers);
        support::TestData data = run.data();
        const localservice::Id garden = data.addProject({run.client, "Garden"}).value();
        data.offerTask(garden, run.meetings, true).value();
        data.offerTask(garden, data.addTask(run.account, "Weeding").value(), true).value();
        data.offerTask(data.addProject({run.client, "Attic"}).value(), run.design, true).value(); // not this person's
        data.assignPerson(garden, run.person).value();
        run.add({.notes = "draft", .minutes = 83, .day = "2013-01-14"});

        QStringList seen;
        const auto tell = [&seen](const auto& reply) {
            if (reply)
                say(*reply, seen);
            else
                seen << u"refused: "_s + reply.error().error + u": "_s + reply.error().reason;
        };
        booking::Bookings& bookings = run.menulet->bookings();
        const auto ask = [&](
                             const QStringList& words, const std::function<void()>& before = [] {}) {
            run.test.time.advance(7min);
            run.settle();
            before();
            run.requested();
            seen << u"== "_s + words.join(u" | "_s);
            const auto word = [&words](qsizetype i) { return words.value(i); };
            if (word(0) == "start"_L1)
                bookings.start({word(1), word(2), word(3), word(4), word(5)}, tell);
            else if (word(0) == "add"_L1)
                bookings.add({word(1), word(2), word(3), word(4), word(5)}, tell);
            else if (word(0) == "stop"_L1)
                bookings.stop(tell, word(1));
            else if (word(0) == "resume"_L1)
                bookings.resume(word(1).toInt(), tell);
            else if (word(0) == "note"_L1)
                bookings.setNotes(word(1), tell);
            else if (word(0) == "log"_L1)
                bookings.log(word(1), tell);
            else if (word(0) == "projects"_L1)
                bookings.projects(tell);
            else if (word(0) == "recent"_L1)
                bookings.recent(tell);
            else if (word(0) == "search"_L1)
                std::ranges::transform(
                    bookings.search(words.mid(1), 3), std::back_inserter(seen), [](const auto& found) {
                        return QStringList{found.id, found.project, found.task, found.client}.join(u", "_s);
                    });
            run.settle();
            seen << asked(run);
        };
        bookings.projects(tell); // waits for the account
        run.start();
        for (const char* line : {"stop",
                                 "note|x",
                                 "recent",
                                 "resume|1",
                                 "stop|77",
                                 "stop",
                                 "start|web",
                                 "start|website|meet|Minutes",
                                 "note|Minutes <2>",
                                 "stop",
                                 "note|x",
                                 "resume|9",
                                 "resume|0",
                                 "resume|2",
                                 "start|garden",
                                 "start|Garden|weed||18:00",
                                 "start|garden|weeding|||25m",
                                 "start|w1|des|||10h",
                                 "start|garden|weeding|||20h",
                                 "start|website|design||23:59",
                                 "start|website|design||later",
                                 "start|website|design||9:00|5m",
                                 "start|website|design|||long",
                                 "start|nothing",
                                 "start|attic",
                                 "start|a",
                                 "start|website|weeding",
                                 "start||design",
                                 "add|1:30|garden|meet|Weekly|yesterday",
                                 "add|90m|website",
                                 "add|0|website",
                                 "add|25|website",
                                 "add|x|website",
                                 "add|1|website|design||someday",
                                 "add|1|website|design||2013-01-31",
                                 "log|today",
                                 "log|2013-01-14..today",
                                 "log|never",
                                 "log|2012-01-01..today",
                                 "projects",
                                 "recent",
                                 "search|we",
                                 "search|des|har",
                                 "search|x",
                                 "search|zz",
                                 "stop"})
            ask(QString::fromLatin1(line).split(u'|'));
        run.peer.answer("POST /daily/add", {{500, "<error><kind>x</kind><message>No more</message></error>"}});
        ask({u"add"_s, u"1"_s, u"website"_s});
        for (const QString& word : {u"projects"_s, u"log"_s, u"stop"_s}) {
            ask({word}, [&run] { run.test.network.setReachable(false); });
            run.test.network.setReachable(true);
            ask({word}, [&run] { run.menulet->authenticationFailed(); });
        }
        compare(seen);
    }

    /// Whatever the window does by a key that no control has.
    void keys()
    {
        QFETCH(const Make, make);
        QStringList seen;
        const QStringList keys{u"Ctrl+N"_s,    u"Ctrl+Left"_s, u"Ctrl+Right"_s, u"Ctrl+T"_s, u"Ctrl+W"_s,
                               u"Esc"_s,       u"Return"_s,    u"Enter"_s,      u"Space"_s,  u"E"_s,
                               u"S"_s,         u"Del"_s,       u"Up"_s,         u"Down"_s,   u"Home"_s,
                               u"End"_s,       u"PgUp"_s,      u"PgDown"_s,     u"Tab"_s,    u"Shift+Tab"_s,
                               u"Shift+F10"_s, u"Alt+Down"_s,  u"Ctrl+Q"_s,     u"Alt+D"_s,  u"9"_s};
        std::optional<Scene> scene;
        for (const QString& key : keys) {
            if (!scene)
                make(scene.emplace());
            Outcome outcome(*scene);
            const QKeyCombination combination = QKeySequence::fromString(key)[0];
            QWidget* target = scene->window->focusWidget() ? scene->window->focusWidget() : scene->window.data();
            QTest::keyClick(target, combination.key(), combination.keyboardModifiers());
            scene->run->settle();
            const QStringList lines = outcome.lines();
            if (lines.isEmpty())
                continue; // as good as new
            seen << u"== "_s + key << lines;
            putAway(*scene);
            scene.reset();
        }
        compare(seen);
    }

private:
    static void addScenes(bool menus)
    {
        QTest::addColumn<Make>("make");
        for (const NamedScene& scene : scenes()) {
            const QByteArray name(scene.name);
            if (name.startsWith("menu") == menus && !name.startsWith("office"))
                QTest::newRow(scene.name) << scene.make;
        }
    }

    static void say(const booking::Booked& entry, QStringList& seen)
    {
        seen << QStringList{entry.id,      entry.day.toString(Qt::ISODate),
                            entry.client,  entry.code,
                            entry.project, entry.task,
                            entry.notes,   QString::number(entry.hours, 'f', 3),
                            entry.time,    entry.running ? u"running"_s : QString(),
                            entry.started, entry.ended}
                    .join(u", "_s);
    }
    static void say(const booking::Offered& offered, QStringList& seen)
    {
        seen << QStringList{offered.client, offered.code, offered.project, offered.tasks.join(u'/')}.join(u", "_s);
    }
    template <class T>
    static void say(const std::vector<T>& list, QStringList& seen)
    {
        for (const T& each : list)
            say(each, seen);
    }

    static QList<QWidget*> controlsOf(QWidget& window)
    {
        QList<QWidget*> controls;
        for (QWidget* part : window.findChildren<QWidget*>()) {
            const bool isControl = qobject_cast<QAbstractButton*>(part) || qobject_cast<QLineEdit*>(part) ||
                                   qobject_cast<QPlainTextEdit*>(part) || part->objectName() == u"datePicker"_s;
            // The one that starts the program anew has its own test.
            if (isControl && part->isVisibleTo(&window) && part->isEnabled() && part->window() == &window &&
                part->objectName() != u"showInDockButton"_s)
                controls << part;
        }
        return controls;
    }

    /// By hand or by key; whether that is possible.
    static bool use(QWidget& control, bool keyboard)
    {
        const bool isButton = qobject_cast<QAbstractButton*>(&control) != nullptr;
        if (keyboard && !(control.focusPolicy() & Qt::TabFocus))
            return false;
        if (keyboard)
            control.setFocus(Qt::TabFocusReason);
        else
            QTest::mouseClick(&control, Qt::LeftButton);
        if (keyboard || !isButton)
            QTest::keyClick(&control, isButton ? Qt::Key_Space : Qt::Key_9);
        return true;
    }

    static void putAway(Scene& scene)
    {
        while (QWidget* popup = QApplication::activePopupWidget())
            popup->close();
        scene.run->settle();
    }

    static void compare(const QStringList& seen)
    {
        const QStringList found = support::differences(
            QStringLiteral(WINDOWS "/%1-%2.txt")
                .arg(QLatin1StringView(QTest::currentTestFunction()), QLatin1StringView(QTest::currentDataTag())),
            seen);
        QVERIFY2(found.isEmpty(), qUtf8Printable(found.join(u'\n')));
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(EveryControlTest)
#include "EveryControlTest.moc"
