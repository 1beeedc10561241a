#include "../timesheet/TimesheetRun.h"

#include "app/AppcastFeed.h"
#include "app/UpdateWindow.h"
#include "editing/NewTimerController.h"
#include "editing/NewTimerPanel.h"
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

/// Every control and every key of every window: what it asks of the service and the desktop, what it writes and what
/// can be seen afterwards, by hand and, where that differs, by key. That is compared with the files in
/// tests/app/windows.
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
        for (const QString& key : keys) {
            Scene scene;
            make(scene);
            Outcome outcome(scene);
            const QKeyCombination combination = QKeySequence::fromString(key)[0];
            QWidget* target = scene.window->focusWidget() ? scene.window->focusWidget() : scene.window.data();
            QTest::keyClick(target, combination.key(), combination.keyboardModifiers());
            if (const QStringList lines = outcome.lines(); !lines.isEmpty())
                seen << u"== "_s + key << lines;
            putAway(scene);
        }
        compare(seen);
    }

private:
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
