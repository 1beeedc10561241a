#include "Scenes.h"

#include <QTabBar>

using namespace Qt::StringLiterals;

namespace {

QStringList without(const QStringList& lines, const QStringList& others)
{
    QStringList left;
    std::ranges::copy_if(lines, std::back_inserter(left),
                         [&](const QString& line) { return lines.count(line) > others.count(line); });
    return left;
}

QStringList settingsIn(const QString& path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {};
    return QString::fromUtf8(file.readAll()).split(u'\n').filter(QRegularExpression(u"^(?!TimesheetWindowFrame|$)"_s));
}

/// What is to be seen, or kept, besides windows and settings.
QStringList surroundings(AppRun& run)
{
    const support::TestRun& test = run.test;
    const platform::StatusItem::Description& told = test.statusItem.description;
    QStringList lines{u"face "_s + run.face(),
                      u"item "_s + told.spoken + u" | "_s + told.about + u" | "_s + told.hours +
                          (told.running ? u" running"_s : QString()),
                      u"width "_s + QString::number(test.statusItem.length()), u"tip "_s + test.statusItem.toolTip};
    for (const auto& [id, key] : test.hotKeys.registered)
        lines << u"hot-key-%1 "_s.arg(id) + QKeySequence(key.keys).toString();
    for (const auto& [place, secret] : test.secrets.items)
        lines << u"keyring "_s + place.first + u' ' + place.second + u' ' + QString::fromUtf8(secret);
    if (const auto question = test.alerts.open())
        lines << u"question "_s + question->title + u' ' + question->buttons.join(u'|');
    if (!test.loginItems.programs().isEmpty())
        lines << u"starts-at-login"_s;
    for (const QAction* action : run.menu().actions()) {
        if (action->isVisible() && !action->isSeparator())
            lines << u"menu "_s + action->text() + (action->isEnabled() ? QString() : u" (off)"_s);
    }
    return lines;
}

/// What programs are told of the entry; state and hours are the item's.
QStringList toldOnBus(const QObject& object)
{
    QStringList lines;
    for (const char* property : {"Project", "Task", "Client", "Notes", "RunningOn"})
        lines << QLatin1StringView(property) + u": "_s +
                     object.children().constFirst()->property(property).toString().replace(u'\n', u'|');
    return lines.filter(QRegularExpression(u": ."_s));
}

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

/// Of several clients, with names that are alike, long or strange.
template <AppRun::Timers Timers>
void office(Scene& scene)
{
    TimesheetRun& run = made(scene, Timers);
    support::TestData data = run.data();
    const auto offer = [&](localservice::Id client, const char* name, const char* code,
                           std::initializer_list<localservice::Id> tasks) {
        const localservice::Id project = data.addProject({client, name, code}).value();
        for (const localservice::Id task : tasks)
            data.offerTask(project, task, task != run.meetings).value();
        data.assignPerson(project, run.person).value();
        return project;
    };
    const auto quay = data.addClient(run.account, "Café <Quay> & Sons").value();
    const auto support = data.addTask(run.account, "Support").value();
    const auto garden = offer(run.client, "Garden", "", {run.meetings, support});
    offer(quay, "Website", "Q-7", {run.design, support});
    offer(quay, "Überarbeitung der sehr langen Bezeichnungen, zweiter Teil", "", {support});
    data.setProjectActive(offer(quay, "Wharf", "", {run.design}), false).value();
    run.add({.notes = "first <b>line</b>\nsecond & last", .minutes = 90});
    run.add({.project = garden, .task = support, .notes = "\u05e9\u05dc\u05d5\u05dd", .minutes = 61});
    run.add({.project = garden, .task = run.meetings, .notes = "once", .minutes = 725, .day = "2013-01-14"});
    run.open();
    run.list().setSelectedRow(0);
    scene.window = &run.window();
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

std::span<const NamedScene> scenes()
{
    static constexpr NamedScene All[] = {{"day", day},
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
                                         {"about", about},
                                         {"office", office<AppRun::Timers::Hours>},
                                         {"office-with-times", office<AppRun::Timers::Timestamps>},
                                         {"menu", menu},
                                         {"menu-offline", menuOffline},
                                         {"menu-signed-out", menuSignedOut}};
    return All;
}

Outcome::Outcome(Scene& scene)
    : m_run(*scene.run), m_bus(*m_run.menulet, &m_onBus), m_before(state()), m_focus(focus())
{
    m_run.requested();
    m_run.test.desktop.opened.clear();
    m_run.test.alerts.shown.clear();
    m_run.test.updates.checks = 0;
}

QStringList Outcome::lines()
{
    QStringList lines;
    for (const support::Request& request : m_run.peer.requests())
        lines << u"asked: "_s +
                     QString::fromStdString(request.method + ' ' + request.target + ' ' + request.body).simplified();
    for (const QUrl& url : m_run.test.desktop.opened)
        lines << u"browser: "_s + url.toString().replace(QString::number(m_run.port), u"PORT"_s);
    if (m_run.test.updates.checks > 0)
        lines << u"looks for updates"_s;
    for (const platform::Alert& alert : m_run.test.alerts.shown)
        lines << u"alert: "_s + alert.title + u": "_s + alert.text + u" ["_s + alert.buttons.join(u'|') + u']';
    const State after = state();
    State all = m_before;
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

Outcome::State Outcome::state() const
{
    State state;
    state[u"settings"_s] =
        QStringList(QString()) + settingsIn(m_run.test.folders.path(u"XDG_CONFIG_HOME/Quillon/Quillon.conf"_s));
    state[u"surroundings"_s] = surroundings(m_run) + toldOnBus(m_onBus);
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (!window->isVisible() || window->windowType() == Qt::Desktop)
            continue;
        QStringList& lines = state[support::Described::nameOf(*window)];
        for (QString line : QStringList(support::Described(*window)))
            lines << line.remove(u" FOCUS"_s);
    }
    return state;
}

QString Outcome::focus()
{
    QWidget* popup = QApplication::activePopupWidget();
    const QWidget* focus = popup ? popup : QApplication::focusWidget();
    return focus ? support::Described::nameOf(*focus) : u"nobody"_s;
}
