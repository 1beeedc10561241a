#include "../timesheet/TimesheetRun.h"

#include "booking/Bookings.h"
#include "skin/Appearance.h"
#include "support/Described.h"
#include "support/StillStyle.h"
#include "support/TestMain.h"

#include <QMap>
#include <QTabBar>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The program in some state, and the window that is used then. Each control gets a fresh one.
struct Scene
{
    std::unique_ptr<AppRun> run;
    QPointer<QWidget> window;
};

QStringList asked(AppRun& run)
{
    QStringList lines;
    for (const support::Request& request : run.peer.requests())
        lines << u"asked: "_s +
                     QString::fromStdString(request.method + ' ' + request.target + ' ' + request.body).simplified();
    return lines;
}

/// What a command has done, a line for each thing that is other than before.
class Outcome
{
public:
    explicit Outcome(Scene& scene) : m_run(*scene.run), m_before(state()), m_focus(focus())
    {
        m_run.requested();
        m_run.test.desktop.opened.clear();
        m_run.test.alerts.shown.clear();
        m_run.test.updates.checks = 0;
    }

    QStringList lines()
    {
        m_run.settle();
        QStringList lines;
        for (const support::Request& request : m_run.peer.requests())
            lines << u"asked: "_s + QString::fromStdString(request.method + ' ' + request.target + ' ' + request.body)
                                        .simplified();
        for (const QUrl& url : m_run.test.desktop.opened)
            lines << u"browser: "_s + url.toString().replace(QString::number(m_run.port), u"PORT"_s);
        if (m_run.test.updates.checks > 0)
            lines << u"looks for updates"_s;
        for (const platform::Alert& alert : m_run.test.alerts.shown)
            lines << u"alert: "_s + alert.title + u": "_s + alert.text;
        const QMap<QString, QStringList> after = state();
        QMap<QString, QStringList> all = m_before;
        all.insert(after);
        for (const auto& [name, unused] : all.asKeyValueRange()) {
            const QStringList before = m_before.value(name);
            const QStringList now = after.value(name);
            if (now.isEmpty() || before.isEmpty()) {
                lines << (now.isEmpty() ? u"closes: "_s : u"opens: "_s) + name;
                continue;
            }
            const QStringList more = without(now, before);
            QStringList gone;
            for (const QString& line : without(before, now)) {
                const QString part = line.trimmed().section(u' ', 0, 0);
                if (more.filter(QRegularExpression(u"^ *"_s + QRegularExpression::escape(part))).isEmpty())
                    gone << part;
            }
            if (!gone.isEmpty())
                lines << u"- "_s + gone.join(u' ');
            for (const QString& line : more)
                lines << u"+ "_s + line.trimmed();
        }
        // Whoever gets it from a window that has closed is up to the desktop.
        const bool closed = !lines.filter(QRegularExpression(u"^closes: "_s)).isEmpty();
        if (!closed && focus() != m_focus)
            lines << u"focus: "_s + focus();
        return lines;
    }

private:
    static QStringList without(const QStringList& lines, const QStringList& others)
    {
        QStringList left;
        std::ranges::copy_if(lines, std::back_inserter(left),
                             [&](const QString& line) { return lines.count(line) > others.count(line); });
        return left;
    }

    /// The settings and everything that can be seen, window by window.
    QMap<QString, QStringList> state() const
    {
        QMap<QString, QStringList> state;
        QFile file(m_run.test.folders.path(u"XDG_CONFIG_HOME/Quillon/Quillon.conf"_s));
        state[u"settings"_s] << QString();
        if (file.open(QIODevice::ReadOnly))
            state[u"settings"_s] = QString::fromUtf8(file.readAll())
                                       .split(u'\n')
                                       .filter(QRegularExpression(u"^(?!TimesheetWindowFrame)"_s));
        for (QWidget* window : QApplication::topLevelWidgets()) {
            if (!window->isVisible() || window->windowType() == Qt::Desktop)
                continue;
            QStringList& lines = state[support::Described::nameOf(*window)];
            for (QString line : QStringList(support::Described(*window)))
                lines << line.remove(u" FOCUS"_s);
        }
        return state;
    }
    static QString focus()
    {
        QWidget* popup = QApplication::activePopupWidget();
        const QWidget* focus = popup ? popup : QApplication::focusWidget();
        return focus ? support::Described::nameOf(*focus) : u"nobody"_s;
    }

    AppRun& m_run;
    const QMap<QString, QStringList> m_before;
    const QString m_focus;
};

TimesheetRun& made(Scene& scene, AppRun::Timers timers = AppRun::Timers::Hours)
{
    scene.run = std::make_unique<TimesheetRun>(timers);
    return static_cast<TimesheetRun&>(*scene.run);
}

TimesheetRun& threeRows(Scene& scene)
{
    TimesheetRun& run = made(scene);
    run.add({.notes = "draft", .minutes = 83});
    run.add({.minutes = 5, .lockedReason = "Approved"});
    run.add({.minutes = 125, .running = true});
    run.add({.minutes = 15, .day = "2013-01-14"});
    run.open();
    scene.window = &run.window();
    return run;
}

void day(Scene& scene)
{
    threeRows(scene).list().setSelectedRow(0);
}

void dayBefore(Scene& scene)
{
    TimesheetRun& run = threeRows(scene);
    run.click(run.window().backButton);
}

TimesheetRun& emptyDay(Scene& scene)
{
    TimesheetRun& run = made(scene);
    run.open();
    scene.window = &run.window();
    return run;
}

void today(Scene& scene)
{
    emptyDay(scene);
}

void emptyDayBefore(Scene& scene)
{
    TimesheetRun& run = emptyDay(scene);
    run.click(run.window().backButton);
}

void signedOut(Scene& scene)
{
    emptyDay(scene).menulet->authenticationFailed();
}

void sheet(Scene& scene)
{
    TimesheetRun& run = threeRows(scene);
    run.row(0).edit();
}

void sheetWithTimes(Scene& scene)
{
    TimesheetRun& run = made(scene, AppRun::Timers::Timestamps);
    run.add({.notes = "draft", .minutes = 83});
    run.open();
    run.row(0).edit();
    scene.window = &run.window();
}

void use(Scene& scene, const QString& name)
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (window->objectName() == name)
            scene.window = window;
    }
    scene.window->activateWindow();
}

void newTimer(Scene& scene)
{
    TimesheetRun& run = emptyDay(scene);
    run.menulet->showNewTimerWindow(nullptr);
    use(scene, u"NewTimer"_s);
    scene.window->findChild<QAbstractButton*>(u"showDurationCheckButton"_s)->click();
    run.window().hide();
}

template <int Tab>
void preferencesTab(Scene& scene)
{
    emptyDay(scene).window().hide();
    scene.run->menulet->showPreferencePanel(nullptr);
    use(scene, u"Preferences"_s);
    scene.window->findChild<QTabBar*>()->setCurrentIndex(Tab);
}

void preferencesOfNobody(Scene& scene)
{
    scene.run = std::make_unique<AppRun>(false);
    scene.run->start();
    scene.run->menulet->showPreferencePanel(nullptr);
    use(scene, u"Preferences"_s);
}

void preferencesHere(Scene& scene)
{
    emptyDay(scene).window().hide();
    settings::QuillonPreferences::sharedPreferences().keepTimeHere(
        {u"you@localhost"_s, u"own"_s, u".local"_s, u"http://local.localhost:1"_s});
    scene.run->menulet->showPreferencePanel(nullptr);
    use(scene, u"Preferences"_s);
}

void about(Scene& scene)
{
    emptyDay(scene).window().hide();
    scene.run->menulet->showAboutWindow(nullptr);
    use(scene, u"About"_s);
}

void menu(Scene& scene)
{
    threeRows(scene).window().hide();
    scene.window = &scene.run->menu();
}

void menuOffline(Scene& scene)
{
    menu(scene);
    scene.run->test.network.setReachable(false);
}

void menuSignedOut(Scene& scene)
{
    menu(scene);
    scene.run->menulet->authenticationFailed();
}

} // namespace

/// Every control, key and menu item of every window, and every command from outside: what it asks of the service and
/// the desktop, what it writes and what can be seen afterwards, by hand and, where that differs, by key. That is
/// compared with the files in tests/app/windows.
class EveryControlTest : public QObject
{
    Q_OBJECT

    using Make = void (*)(Scene&);

private slots:
    void initTestCase() { QApplication::setStyle(new support::StillStyle); }
    void init() { skin::setAppearance({.still = true}); }
    void cleanup() { skin::setAppearance({}); }

    void controls_data()
    {
        QTest::addColumn<Make>("make");
        for (const auto& [name, make] : {std::pair<const char*, Make>{"day", day},
                                         {"day-before", dayBefore},
                                         {"empty-day", today},
                                         {"empty-day-before", emptyDayBefore},
                                         {"signed-out", signedOut},
                                         {"sheet", sheet},
                                         {"sheet-with-times", sheetWithTimes},
                                         {"new-timer-window", newTimer},
                                         {"preferences-account", preferencesTab<0>},
                                         {"preferences-general", preferencesTab<1>},
                                         {"preferences-shortcuts", preferencesTab<2>},
                                         {"preferences-of-nobody", preferencesOfNobody},
                                         {"preferences-here", preferencesHere},
                                         {"about", about}})
            QTest::newRow(name) << make;
    }
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
                const QStringList lines = used ? outcome.lines() : QStringList(u"not by key"_s);
                if (!keyboard)
                    seen << u"== "_s + support::Described::nameOf(control) << (byHand = lines);
                else if (lines != byHand)
                    seen << u"by key:"_s << lines;
                putAway(scene);
            }
        }
    }

    void menus_data()
    {
        QTest::addColumn<Make>("make");
        QTest::newRow("online") << &menu;
        QTest::newRow("offline") << &menuOffline;
        QTest::newRow("signed-out") << &menuSignedOut;
    }
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
