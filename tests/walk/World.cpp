#include "World.h"

#include "../localservice/HttpClient.h"
#include "editing/EditTimerController.h"
#include "editing/HUDCheckBox.h"
#include "editing/NewTimerController.h"
#include "editing/NewTimerPanel.h"
#include "editing/TextFields.h"
#include "model/Company.h"
#include "model/Task.h"
#include "service/QuillonApi.h"
#include "settings/Keys.h"
#include "settings/QuillonPreferences.h"
#include "settings/UserDefaults.h"
#include "skin/ImageButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonStatusItemView.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/RunningButtonBackground.h"
#include "skin/Sheet.h"
#include "support/TestData.h"
#include "timesheet/RLListView.h"
#include "timesheet/TimesheetWindow.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <QApplication>
#include <QTest>
#include <QTimer>

#include <algorithm>
#include <array>
#include <cmath>
#include <filesystem>
#include <fstream>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::Fault;
using support::Reply;

namespace {

constexpr auto Chunk = 30s; ///< of longer times, after which the program gets to work
constexpr double IdleThreshold = 600;
constexpr Ledger::Seconds Stale = 60; ///< older hours are brought up to date before a correction

constexpr std::array Zones{"UTC",          "Europe/Berlin",     "America/New_York",
                           "Asia/Kolkata", "America/Sao_Paulo", "Pacific/Auckland"};
/// Ordinary days, and those on which clocks change or years end.
constexpr std::array<Ledger::Seconds, 6> Moments{1358240400, 1362899700, 1382833500,
                                                 1356990900, 1541298600, 1330473600};

/// Surroundings that outlive the program.
class Lent final : public platform::Environment
{
public:
    explicit Lent(platform::Environment& owner) : m_owner(owner) {}
    platform::InfoDictionary& info() override { return m_owner.info(); }
    platform::TimeSource& time() override { return m_owner.time(); }
    platform::SecretStore& secretStore() override { return m_owner.secretStore(); }
    platform::Reachability& reachability() override { return m_owner.reachability(); }
    platform::AlertPresenter& alerts() override { return m_owner.alerts(); }
    platform::Desktop& desktop() override { return m_owner.desktop(); }
    platform::UpdateFeed& updateFeed() override { return m_owner.updateFeed(); }
    platform::HotKeys& hotKeys() override { return m_owner.hotKeys(); }
    platform::LoginItems& loginItems() override { return m_owner.loginItems(); }
    platform::SystemIdle& systemIdle() override { return m_owner.systemIdle(); }
    platform::SleepMonitor& sleepMonitor() override { return m_owner.sleepMonitor(); }
    platform::StatusItem& statusItem() override { return m_owner.statusItem(); }

private:
    platform::Environment& m_owner;
};

bool isChange(const support::Request& request)
{
    return request.method == "POST" || request.target.starts_with("/daily/timer/") ||
           request.target.starts_with("/daily/delete/");
}

std::string str(const QString& text)
{
    return text.toStdString();
}

void setZone(const char* zone)
{
    qputenv("TZ", zone);
    ::tzset();
}

void type(QWidget& field, const QString& text)
{
    field.setFocus(Qt::TabFocusReason);
    for (const QChar letter : text)
        QTest::sendKeyEvent(QTest::Click, &field, Qt::Key_unknown, QString(letter), {});
}

} // namespace

std::span<const World::Command> World::commands()
{
    static constexpr Command All[]{
        {"start", Work, 8, 2, 2, &World::startTimer},
        {"item", Work, 8, 1, 1, &World::pressItem},
        {"row", Work, 8, 6, 1, &World::pressRow},
        {"delete", Work, 2, 6, 1, &World::deleteRow},
        {"open", Work, 6, 6, 1, &World::openSheet},
        {"notes", Work, 5, 26, 1, &World::typeNotes},
        {"hours", Work, 3, 600, 1, &World::typeHours},
        {"save", Work, 8, 1, 1, &World::saveSheet},
        {"cancel", Work, 1, 1, 1, &World::cancelSheet},
        {"day", Work, 4, 3, 1, &World::turnPage},
        {"timesheet", Work, 2, 1, 1, &World::toggleTimesheet},
        {"newtimer", Work, 1, 1, 1, &World::toggleNewTimer},
        {"wait", Work, 12, 400, 1, &World::wait},
        {"calm", Work, 8, 1, 1, &World::calm},
        {"fault", Network, 10, 11, 3, &World::disturb},
        {"stall", Network, 3, 1, 1, &World::stall},
        {"release", Network, 4, 1, 1, &World::release},
        {"network", Network, 4, 2, 1, &World::network},
        {"serve", Network, 4, 2, 1, &World::serve},
        {"elsewhere-start", Elsewhere, 4, 100, 1, &World::elsewhereStart},
        {"elsewhere-toggle", Elsewhere, 6, 6, 1, &World::elsewhereToggle},
        {"elsewhere-edit", Elsewhere, 4, 6, 100, &World::elsewhereEdit},
        {"elsewhere-delete", Elsewhere, 2, 6, 1, &World::elsewhereDelete},
        {"lock", Elsewhere, 2, 6, 2, &World::lock},
        {"archive", Elsewhere, 1, 2, 1, &World::archive},
        {"rename", Elsewhere, 1, 9, 1, &World::rename},
        {"clock", Clock, 4, 7200, 2, &World::setClock},
        {"midnight", Clock, 3, 1, 1, &World::toMidnight},
        {"zone", Clock, 3, int(Zones.size()), 1, &World::travel},
        {"begin", Clock, 0, int(Moments.size()), 1, &World::begin},
        {"away", Away, 6, 25, 1, &World::leave},
        {"answer", Away, 8, 2, 1, &World::answer},
        {"sleep", Away, 4, 90, 1, &World::sleep},
        {"quit", Restarts, 3, 1, 1, &World::quit},
        {"kill", Restarts, 4, 1, 1, &World::kill},
        {"store", Restarts, 2, 4, 1, &World::spoilStore},
        {"account", Accounts, 4, 4, 1, &World::useAccount},
    };
    return All;
}

World::World()
{
    setZone("UTC");
    startService();
    support::TestData data(*m_service->database().value());
    for (const char* name : {"acme", "other"}) {
        Account account{name};
        const auto id = data.addAccount({.subdomain = name}).value();
        const auto person = data.addPerson({id, "ann@example.com", "secret", "Ann", "Lee"}).value();
        account.project = data.addProject({data.addClient(id, "Harbour").value(), "Website"}).value();
        for (int i = 0; i < 2; ++i) {
            account.tasks[i] = data.addTask(id, i == 0 ? "Design" : "Meetings").value();
            data.offerTask(account.project, account.tasks[i], true).value();
        }
        data.assignPerson(account.project, person).value();
        m_accounts.push_back(account);
    }
    m_peer = std::make_unique<support::ScriptedPeer>(m_port);
    m_peer->fate = [this](const support::Request& request) { return fate(request); };
    m_environment.alertPresenter.answer.reset();
    m_environment.information.set("QuillonLocalDebug"_L1, true);
    m_environment.information.set("QuillonDevelopmentDomain"_L1, u".localhost:%1"_s.arg(m_peer->port()));
    m_run = std::make_unique<platform::Run>(std::make_unique<Lent>(m_environment));
    auto& defaults = settings::UserDefaults::standardUserDefaults();
    defaults.setString(settings::SCQuillonUrlKey, u"acme"_s);
    defaults.setString(settings::SCEmailKey, u"ann@example.com"_s);
    defaults.setInteger(settings::QuillonIdleMinutesThreshold, qint64(IdleThreshold) / 60);
    static_cast<void>(defaults.synchronize());
    m_environment.secrets.store(settings::SCServiceName(), u"ann@example.com"_s, "secret", {});
    start();
    settle();
}

World::~World()
{
    end(false);
    m_peer->stop();
}

std::string World::take(const Step& step)
{
    m_wrong.clear();
    for (const Command& command : commands()) {
        if (step.name == command.name)
            (this->*command.perform)(step.a, step.b);
    }
    settle();
    compareService();
    compareWindows();
    return m_wrong;
}

// The program

void World::start()
{
    {
        const std::lock_guard lock(m_mutex);
        ++m_program;
    }
    m_changed.notify_all();
    if (!m_run)
        m_run = std::make_unique<platform::Run>(std::make_unique<Lent>(m_environment));
    m_menulet = std::make_unique<app::WrenfoldMenulet>();
    m_menulet->applicationWillFinishLaunching();
    m_menulet->awakeFromNib();
    m_absence = {};
    m_asking = false;
    m_handles = 0;
    watchIdle();
}

void World::end(bool killed)
{
    namespace fs = std::filesystem;
    const auto folder = [this](const char* name) {
        return fs::path(str(m_environment.folders.path(QLatin1StringView(name))));
    };
    // Whoever is killed writes nothing on the way out.
    if (killed) {
        fs::create_directory(folder("kept"));
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"})
            fs::copy(folder(name), folder("kept") / name, fs::copy_options::recursive);
    }
    m_idleCheck.reset();
    m_menulet.reset();
    m_run.reset();
    m_environment.alertPresenter = {};
    m_environment.alertPresenter.answer.reset();
    if (killed) {
        for (const char* name : {"XDG_DATA_HOME", "XDG_CONFIG_HOME"}) {
            fs::remove_all(folder(name));
            fs::rename(folder("kept") / name, folder(name));
        }
        fs::remove_all(folder("kept"));
    }
    m_expected.clear();
    m_last.reset();
    for (auto& [id, told] : m_told)
        told.uptime.reset();
    m_typedMinutes = -1;
    m_typedNotes = false;
}

void World::settle()
{
    const auto& api = service::QuillonApi::sharedApi();
    bool stalled = false;
    {
        const std::lock_guard lock(m_mutex);
        stalled = m_stalled;
    }
    QTimer limit;
    limit.setSingleShot(true);
    limit.start(10s);
    while (!stalled && api.operationCount() > 0 && limit.isActive())
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
    if (!stalled && api.operationCount() > 0)
        fail("a request never ends");
    QCoreApplication::processEvents();
    // Messages are read; the question about idle time waits for its answer.
    while (m_environment.alertPresenter.isOpen() && !asksAboutIdleTime())
        m_environment.alertPresenter.press(0);
    if (m_asking && !asksAboutIdleTime())
        m_absence = {};
    m_asking = asksAboutIdleTime();
    absorb();
    if (!stalled && !m_expected.empty()) {
        fail("nothing was sent to " + m_expected.front().target);
        m_expected.clear();
    }
}

bool World::asksAboutIdleTime() const
{
    const auto open = m_environment.alertPresenter.open();
    return open && open->unasked;
}

void World::pass(std::chrono::milliseconds time)
{
    for (auto left = time; left > 0ms; left -= Chunk) {
        m_environment.clock.advance(std::min<std::chrono::milliseconds>(left, Chunk));
        settle();
    }
}

timesheet::TimesheetController& World::openTimesheet()
{
    if (!timesheet() || !timesheet()->window().isVisible())
        m_menulet->showTimesheetWindow(nullptr);
    QApplication::setActiveWindow(&timesheet()->window());
    return *timesheet();
}

bool World::isEditing() const
{
    const auto* editor = timesheet() ? timesheet()->editTimerController() : nullptr;
    return editor && editor->isShown();
}

model::DayEntry* World::rowAt(int row) const
{
    const auto entries = timesheet()->dayEntries();
    return entries.empty() ? nullptr : entries[static_cast<std::size_t>(row) % entries.size()];
}

// Steps at the desk

void World::startTimer(int task, int minutes)
{
    // A second press while the first is on its way starts nothing.
    if (std::ranges::any_of(m_expected, [](const Expected& expected) { return expected.wish.kind == Wish::Add; }))
        return;
    m_menulet->showNewTimerWindow(nullptr);
    editing::NewTimerController& controller = *m_menulet->addTimerController();
    editing::NewTimerPanel& window = controller.window();
    QApplication::setActiveWindow(&window);
    const auto choose = [&](QLineEdit* field, const QString& text) {
        field->setFocus();
        field->selectAll();
        type(*field, text);
        QTest::keyClick(field, Qt::Key_Tab);
    };
    choose(controller.projectAutocompleter().textField(), u"Web"_s);
    choose(controller.taskAutocompleter().textField(), task == 0 ? u"Des"_s : u"Mee"_s);
    window.notesText->selectAll();
    type(*window.notesText, u"n"_s);
    if (controller.durationBoxClosed())
        window.showDurationCheckButton->click();
    window.durationTextField->clear();
    if (minutes > 0)
        type(*window.durationTextField, u"0:45"_s);
    if (!window.saveButton->isEnabled())
        return;
    const Account& account = m_accounts[m_account % 2];
    Wish wish{Wish::Add};
    wish.entry = {m_account % 2, account.project, account.tasks[task % 2], Ledger::dayOf(now()), "n"};
    wish.minutes = minutes > 0 ? 45 : -1;
    expect(wish);
    window.saveButton->click();
}

void World::pressItem(int, int)
{
    if (const model::DayEntry* entry = m_menulet->currentEntry())
        expect({Wish::Toggle, entry->idString().toLongLong()});
    QTest::mouseClick(&m_menulet->statusItemView(), Qt::LeftButton, {}, QPoint(10, 11));
}

void World::pressRow(int row, int)
{
    timesheet::TimesheetController& controller = openTimesheet();
    model::DayEntry* entry = rowAt(row);
    if (!entry || isEditing())
        return;
    const int number = controller.rowOfEntry(*entry);
    timesheet::RLListView& list = controller.dayEntriesListView();
    list.scrollRowToVisible(number);
    auto* cell = static_cast<timesheet::TimesheetListViewCell*>(list.visibleCellForRow(number));
    if (!cell || !cell->startStopButton->isVisible() || !cell->startStopButton->isEnabled())
        return;
    expect({Wish::Toggle, entry->idString().toLongLong()});
    cell->startStopButton->click();
}

void World::deleteRow(int row, int)
{
    timesheet::TimesheetController& controller = openTimesheet();
    model::DayEntry* entry = rowAt(row);
    if (!entry || entry->isLocked() || isEditing())
        return;
    expect({Wish::Delete, entry->idString().toLongLong()});
    controller.deleteTimerAt(controller.rowOfEntry(*entry));
}

void World::openSheet(int row, int)
{
    timesheet::TimesheetController& controller = openTimesheet();
    model::DayEntry* entry = rowAt(row);
    if (!entry || isEditing())
        return;
    controller.dayEntriesListView().setSelectedRow(controller.rowOfEntry(*entry));
    controller.dayEntriesListView().setFocus();
    QTest::keyClick(&controller.dayEntriesListView(), Qt::Key_E);
    m_typedMinutes = -1;
    m_typedNotes = false;
}

void World::typeNotes(int letter, int)
{
    if (!isEditing())
        return;
    auto* field = timesheet()->window().findChild<editing::NotesField*>(u"notesField"_s);
    type(*field, QChar(u'a' + letter));
    m_typedNotes = true;
}

void World::typeHours(int minutes, int)
{
    if (!isEditing())
        return;
    auto* field = timesheet()->window().findChild<QLineEdit*>(u"hoursField"_s);
    field->setFocus(Qt::TabFocusReason);
    field->selectAll();
    m_typedMinutes = minutes + 1;
    type(*field, QString::asprintf("%d:%02d", m_typedMinutes / 60, m_typedMinutes % 60));
}

void World::saveSheet(int, int)
{
    if (!isEditing())
        return;
    timesheet::TimesheetWindow& window = timesheet()->window();
    const model::DayEntry* entry = timesheet()->editTimerController()->entry();
    const Id id = entry ? entry->idString().toLongLong() : 0;
    const auto kept = m_ledger.entries.find(id);
    const auto told = m_told.find(id);
    // What the service takes for untouched hours depends on a minute or two: no seconds are counted there.
    const auto near = [&](Seconds a, Seconds b) { return std::abs(a - b) < 180; };
    if (told != m_told.end()) {
        const Seconds shown = told->second.entry.total(now());
        const Seconds there = kept == m_ledger.entries.end() ? shown : kept->second.total(now());
        const bool unclear =
            m_typedMinutes >= 0 ? near(m_typedMinutes * Seconds{60}, there) : there != shown && near(shown, there);
        // An entry's day is kept as the moment at which it begins: after a journey it must be asked for first.
        if (unclear || (told->second.edited && m_typedMinutes < 0) || told->second.uptime.value_or(-1) <= m_travelled) {
            cancelSheet(0, 0);
            return;
        }
        Wish wish{Wish::Update, id};
        wish.notes = m_typedNotes ? str(window.findChild<editing::NotesField*>(u"notesField"_s)->text())
                                  : told->second.entry.notes;
        wish.minutes = m_typedMinutes;
        // Hours that were changed elsewhere since the service last reported them go back as they were shown.
        if (m_typedMinutes < 0 && there != shown)
            wish.minutes = int((shown + 30) / 60);
        if (entry && !entry->isLocked())
            expect(wish);
    }
    const std::size_t expected = m_expected.size();
    QTest::mouseClick(window.findChild<QWidget*>(u"saveButton"_s), Qt::LeftButton);
    if (isEditing()) {
        if (expected > 0 && entry && !entry->isLocked())
            m_expected.pop_back(); // the message says what is missing
        timesheet()->editTimerController()->acknowledgeError();
        cancelSheet(0, 0);
    }
}

void World::cancelSheet(int, int)
{
    if (isEditing())
        QTest::mouseClick(timesheet()->window().findChild<QWidget*>(u"cancelButton"_s), Qt::LeftButton);
}

void World::turnPage(int where, int)
{
    timesheet::TimesheetWindow& window = openTimesheet().window();
    if (!isEditing())
        (where == 0 ? window.backButton : where == 1 ? window.forwardButton : window.goToTodayButton)->click();
}

void World::toggleTimesheet(int, int)
{
    m_menulet->toggleTimesheetWindow(nullptr);
}

void World::toggleNewTimer(int, int)
{
    if (auto* controller = m_menulet->addTimerController(); controller && controller->window().isVisible())
        controller->hide();
    else
        m_menulet->showNewTimerWindow(nullptr);
}

void World::wait(int seconds, int)
{
    for (int left = seconds; left > 0; left -= 30) {
        m_environment.idle.touch();
        pass(std::chrono::seconds(std::min(left, 30)));
    }
    m_environment.idle.touch();
}

// Steps away from it

void World::Absence::report(double seconds)
{
    if (seconds >= IdleThreshold)
        reported = std::max(reported, std::trunc(seconds));
}

void World::watchIdle()
{
    m_idleCheck = m_environment.clock.repeat(15s, [this] { checkIdle(); });
}

void World::checkIdle()
{
    const double now = std::chrono::duration<double>(m_environment.clock.uptime().total).count();
    const auto idle = m_environment.idle.idleTime().value();
    const double system = std::trunc(std::chrono::duration<double>(idle).count() * 1e9 / double(1 << 30));
    const double computed = m_absence.since ? std::abs(now - *m_absence.since) : 0;
    if (computed <= 0 || computed > system)
        m_absence.since = now - system;
    m_absence.report(now - *m_absence.since);
}

void World::leave(int minutes, int)
{
    m_environment.idle.touch();
    pass(std::chrono::minutes(minutes + 1));
}

void World::answer(int button, int)
{
    m_environment.idle.touch();
    if (!asksAboutIdleTime())
        return;
    const model::DayEntry* entry = m_menulet->runningTimerWhenIdleStarted();
    const Id id = entry ? entry->idString().toLongLong() : 0;
    const auto told = m_told.find(id);
    if (button == 1 && entry && told != m_told.end()) {
        // As the service writes hours, with four decimals.
        double hours = std::round(double(told->second.entry.total(told->second.when)) / 0.36) / 10000;
        const Seconds age = told->second.uptime ? uptime() - *told->second.uptime : 0;
        if (told->second.entry.runsSince && age > Stale)
            hours += double(age) / 3600;
        Wish wish{Wish::Correct, id};
        wish.known = m_menulet->runningTimerSavedAt().toSecsSinceEpoch();
        expect(wish);
        if (!told->second.edited)
            m_expected.back().hours = std::max(hours - m_absence.reported / 3600, 0.0);
        told->second.edited = true;
    }
    m_environment.alertPresenter.press(button);
}

void World::sleep(int minutes, int)
{
    const double before = std::chrono::duration<double>(m_environment.clock.uptime().total).count();
    if (!m_absence.since)
        m_absence.since = before;
    m_idleCheck.reset();
    m_environment.sleep.sleep(std::chrono::minutes(minutes + 1));
    const double after = std::chrono::duration<double>(m_environment.clock.uptime().total).count();
    if (after - *m_absence.since > IdleThreshold)
        m_absence.report(after - *m_absence.since);
    watchIdle();
    m_clocksAgree = uptime() + 61;
}

// Clocks

void World::setClock(int by, int back)
{
    m_environment.clock.setNow(m_environment.clock.now() + std::chrono::seconds(back ? -by : by));
    m_clocksAgree = uptime() + 61;
}

void World::toMidnight(int, int)
{
    const std::string today = Ledger::dayOf(now());
    Seconds late = now();
    while (Ledger::dayOf(late + 60) == today)
        late += 60;
    m_environment.clock.suspend(std::chrono::seconds(late - now()));
    m_clocksAgree = uptime() + 61;
    wait(120, 0);
}

void World::travel(int zone, int)
{
    setZone(Zones[static_cast<std::size_t>(zone)]);
    m_travelled = uptime();
    m_clocksAgree = uptime() + 61;
}

void World::begin(int moment, int)
{
    m_environment.clock.setNow(std::chrono::system_clock::from_time_t(Moments[static_cast<std::size_t>(moment)]));
    m_clocksAgree = uptime() + 61;
}

// Steps of others

Ledger::Id World::entryAt(int index) const
{
    std::vector<Id> mine;
    for (const auto& [id, entry] : m_ledger.entries) {
        if (entry.account == m_account % 2)
            mine.push_back(id);
    }
    // Mostly the latest.
    return mine.empty() ? 0 : mine[mine.size() - 1 - static_cast<std::size_t>(index) % mine.size()];
}

void World::doElsewhere(const Wish& wish, const QString& target, const QString& fields)
{
    absorb();
    if (!m_serving || (wish.kind != Wish::Add && wish.id == 0))
        return;
    HttpClient client(QString::fromStdString(m_service->url(m_accounts[m_account % 2].name)), u"ann@example.com"_s,
                      u"secret"_s);
    const QString address = wish.id ? target + QString::number(wish.id) : target;
    static_cast<void>(fields.isNull() ? client.get(address) : client.post(address, requestBody(fields)));
    m_ledger.apply(wish, now());
}

void World::elsewhereStart(int minutes, int)
{
    const Account& account = m_accounts[m_account % 2];
    Wish wish{Wish::Add};
    wish.entry = {m_account % 2, account.project, account.tasks[0], Ledger::dayOf(now()), "there"};
    wish.minutes = minutes % 2 ? minutes * 3 : 0;
    doElsewhere(wish, u"/daily/add"_s,
                u"project_id=%1 task_id=%2 notes=there hours=%3"_s.arg(account.project)
                    .arg(account.tasks[0])
                    .arg(wish.minutes / 60.0, 0, 'f', 2));
}

void World::elsewhereToggle(int entry, int)
{
    doElsewhere({Wish::Toggle, entryAt(entry)}, u"/daily/timer/"_s);
}

void World::elsewhereEdit(int entry, int minutes)
{
    Wish wish{Wish::Update, entryAt(entry)};
    wish.minutes = (minutes + 1) * 3;
    const auto found = m_ledger.entries.find(wish.id);
    if (found == m_ledger.entries.end() || std::abs(found->second.total(now()) - wish.minutes * 60) < 180)
        return;
    doElsewhere(wish, u"/daily/update/"_s, u"hours=%1"_s.arg(wish.minutes / 60.0, 0, 'f', 2));
}

void World::elsewhereDelete(int entry, int)
{
    doElsewhere({Wish::Delete, entryAt(entry)}, u"/daily/delete/"_s);
}

void World::lock(int entry, int on)
{
    absorb();
    const Id id = entryAt(entry);
    if (id == 0 || !m_serving)
        return;
    support::TestData(*m_service->database().value()).lockEntry(id, on ? "Approved" : "").value();
    m_ledger.entries[id].locked = on;
}

void World::archive(int on, int)
{
    absorb();
    if (!m_serving)
        return;
    for (const Account& account : m_accounts)
        support::TestData(*m_service->database().value()).setProjectActive(account.project, !on).value();
    m_ledger.archived = on;
}

void World::rename(int name, int)
{
    if (m_serving)
        support::TestData(*m_service->database().value())
            .renameProject(m_accounts[m_account % 2].project, "Website " + std::to_string(name))
            .value();
}

// What goes wrong

void World::disturb(int fault, int count)
{
    const std::lock_guard lock(m_mutex);
    m_fault = fault;
    m_faults = count + 1;
}

void World::stall(int, int)
{
    const std::lock_guard lock(m_mutex);
    m_stalled = true;
}

void World::release(int, int)
{
    {
        const std::lock_guard lock(m_mutex);
        m_stalled = false;
    }
    m_changed.notify_all();
}

void World::network(int on, int)
{
    m_environment.network.setReachable(on);
}

void World::startService()
{
    m_service = std::make_unique<localservice::Service>(
        localservice::Service::Options{.dataFile = str(m_environment.folders.path(u"service.sqlite"_s)),
                                       .port = m_port,
                                       .clock = [this] { return m_environment.clock.now(); },
                                       .ownerPassword = "secret"});
    const auto port = m_service->start();
    if (!port)
        qFatal("%s", port.error().c_str());
    m_port = *port;
    m_serving = true;
}

void World::serve(int on, int)
{
    absorb();
    if (bool(on) == m_serving)
        return;
    if (on) {
        startService();
    } else {
        const std::lock_guard lock(m_mutex);
        m_serving = false;
        m_service.reset();
    }
}

void World::quit(int, int)
{
    end(false);
    start();
}

void World::kill(int, int)
{
    end(true);
    start();
}

void World::spoilStore(int how, int)
{
    const std::string file = str(app::WrenfoldMenulet::directoryForDataStore()) + "/QuillonX.sqlite";
    m_told.clear();
    const auto remove = [&] {
        for (const char* part : {"", "-wal", "-shm"})
            std::filesystem::remove(file + part);
    };
    if (how == 0) {
        remove();
    } else if (how == 1) {
        try {
            SQLite::Database other(file, SQLite::OPEN_READWRITE);
            for (const store::Entity& entity : m_menulet->managedObjectModel()->entities())
                other.exec("DROP TABLE IF EXISTS " + entity.name);
        } catch (const SQLite::Exception&) { // not one any more
        }
    } else {
        end(false);
        remove();
        if (how == 2)
            std::ofstream(file) << std::string(4096, '!');
        start();
    }
}

void World::useAccount(int which, int)
{
    m_account = which;
    cancelSheet(0, 0);
    auto& preferences = settings::QuillonPreferences::sharedPreferences();
    preferences.setUrl(which == 2 ? QString() : QString::fromStdString(m_accounts[which % 2].name));
    preferences.setPassword(which == 3 ? u"wrong"_s : u"secret"_s);
    preferences.save();
    emit preferences.preferencesChanged();
    m_told.clear();
}

// What must hold

void World::fail(const std::string& what)
{
    if (m_wrong.empty())
        m_wrong = what;
}

Ledger::Seconds World::now() const
{
    return std::chrono::floor<std::chrono::seconds>(m_environment.clock.now()).time_since_epoch().count();
}

Ledger::Seconds World::uptime() const
{
    return std::chrono::floor<std::chrono::seconds>(m_environment.clock.uptime().total).count();
}

std::optional<Reply> World::fate(const support::Request& request)
{
    std::unique_lock lock(m_mutex);
    const int program = m_program;
    m_changed.wait(lock, [&] { return !m_stalled || program != m_program; });
    Sent sent{request, now(), uptime()};
    Reply reply{.fault = Fault::Relay, .passedOn = 1};
    if (program != m_program || !m_serving) {
        reply = Reply::closed();
    } else if (m_faults > 0) {
        --m_faults;
        const std::string page = "<!DOCTYPE html><html><body>Sign in</body></html>";
        const std::array<Reply, 11> faults{
            Reply::closed(),
            Reply{.fault = Fault::Close, .passedOn = 1},
            Reply{.body = "<daily><for_day>Tue, 15 Jan 2013</for_day>", .fault = Fault::Cut, .passedOn = 1},
            Reply{502},
            Reply{503},
            Reply{.status = 503, .passedOn = 1},
            Reply{200, page},
            Reply{200, "<html><body>Hello</body></html>"},
            Reply{500, "<error><kind>K</kind><message>Sorry</message></error>"},
            Reply{.fault = Fault::Relay, .passedOn = 2},
            Reply{401, "Authentication failed for API request."},
        };
        reply = faults[static_cast<std::size_t>(m_fault)];
    }
    sent.passedOn = reply.passedOn;
    sent.delivered = reply.fault == Fault::Relay;
    sent.status = reply.fault == Fault::None ? reply.status : 0;
    if (program == m_program)
        m_log.push_back(sent);
    return reply;
}

void World::expect(const Wish& wish)
{
    static constexpr std::array Paths{"/daily/add", "/daily/timer/", "/daily/update/", "/daily/delete/",
                                      "/hc/day_entry/"};
    m_expected.push_back({Paths[wish.kind] + (wish.id ? std::to_string(wish.id) : ""), wish});
    if (const auto told = m_told.find(wish.id); told != m_told.end() && wish.kind == Wish::Update)
        told->second.edited = true;
}

void World::absorb()
{
    std::vector<Sent> log;
    {
        const std::lock_guard lock(m_mutex);
        log.swap(m_log);
    }
    for (const Sent& sent : log) {
        ++requests;
        const std::string& target = sent.request.target;
        const std::string host = sent.request.header("Host");
        const int account = host.starts_with("other.") ? 1 : 0;
        if (!isChange(sent.request)) {
            int day = 0;
            int year = 0;
            if (!sent.delivered || std::sscanf(target.c_str(), "/daily/%d/%d", &day, &year) != 2)
                continue;
            const std::string shown = str(QDate(year, 1, 1).addDays(day - 1).toString(Qt::ISODate));
            for (const auto& [id, entry] : m_ledger.entries) {
                if (entry.account == account && entry.day == shown)
                    tell(sent, id);
            }
            continue;
        }
        const bool again = m_last && (m_last->status == 502 || m_last->status == 503) &&
                           m_last->request.target == target && m_last->request.body == sent.request.body;
        if (!again && (m_expected.empty() || m_expected.front().target != target)) {
            fail("sent, though nobody asked for it: " + sent.request.method + ' ' + target);
            continue;
        }
        if (!again) {
            m_lastExpected = m_expected.front();
            m_expected.pop_front();
        }
        // One retry, not two.
        m_last = again ? std::nullopt : std::optional(sent);
        Wish& wish = m_lastExpected.wish;
        if (wish.kind == Wish::Correct) {
            const auto at = sent.request.body.find("<hours>");
            wish.hours = at == std::string::npos ? -1 : std::atof(sent.request.body.c_str() + at + 7);
            if (m_lastExpected.hours >= 0 && std::abs(wish.hours - m_lastExpected.hours) > 0.006)
                fail("the correction sends " + std::to_string(wish.hours) + " hours, not " +
                     std::to_string(m_lastExpected.hours));
        }
        const auto mine = m_ledger.entries.find(wish.id);
        if (wish.kind == Wish::Add ? wish.entry.account != account
                                   : mine != m_ledger.entries.end() && mine->second.account != account)
            continue; // another account has no such thing
        repeated += again && wish.kind == Wish::Toggle && sent.passedOn > 0;
        for (int i = 0; i < sent.passedOn; ++i)
            m_ledger.apply(wish, sent.when);
        if (sent.delivered && wish.kind != Wish::Delete)
            tell(sent, wish.kind == Wish::Add && !m_ledger.archived ? m_ledger.entries.rbegin()->first : wish.id);
    }
}

void World::tell(const Sent& sent, Id id)
{
    const auto entry = m_ledger.entries.find(id);
    if (entry == m_ledger.entries.end())
        return;
    const auto known = m_told.find(id);
    // A refusal tells nothing.
    if (isChange(sent.request) && known != m_told.end() && known->second.entry.updated == entry->second.updated)
        return;
    m_told[id] = {entry->second, sent.when, sent.uptime};
    if (!isChange(sent.request) || !entry->second.runsSince)
        return;
    // Only one timer runs.
    for (auto& [other, told] : m_told) {
        if (other != id && told.entry.account == entry->second.account && told.entry.runsSince) {
            told.entry.booked = told.entry.total(sent.when);
            told.entry.runsSince.reset();
        }
    }
}

void World::compareService()
{
    if (!m_serving)
        return;
    SQLite::Database file(str(m_environment.folders.path(u"service.sqlite"_s)));
    SQLite::Statement rows(file, "SELECT e.id, e.person_id, e.project_id, e.task_id, e.spent_at, e.notes, e.seconds,"
                                 " e.timer_started, e.updated_at, e.locked_reason FROM entries e ORDER BY e.id");
    std::map<Id, Ledger::Entry> there;
    std::map<Id, int> running;
    while (rows.executeStep()) {
        const auto number = [&](int column) { return rows.getColumn(column).getInt64(); };
        Ledger::Entry entry{
            int(number(1)) - 1, number(2), number(3), rows.getColumn(4).getString(), rows.getColumn(5).getString(),
            number(6)};
        if (!rows.getColumn(7).isNull())
            entry.runsSince = number(7);
        entry.updated = number(8);
        entry.locked = !rows.getColumn(9).isNull();
        running[number(1)] += entry.runsSince.has_value();
        there[number(0)] = entry;
    }
    for (const auto& [person, count] : running) {
        if (count > 1)
            fail("two timers run");
    }
    const auto text = [](const Ledger::Entry& entry) {
        return entry.day + ' ' + std::to_string(entry.booked) + " s" +
               (entry.runsSince ? ", running since " + std::to_string(*entry.runsSince) : "") + ", \"" + entry.notes +
               "\", updated " + std::to_string(entry.updated);
    };
    for (const auto& [id, entry] : m_ledger.entries) {
        const auto found = there.find(id);
        if (found == there.end())
            fail("the service has lost entry " + std::to_string(id));
        else if (found->second != entry)
            fail("entry " + std::to_string(id) + " is " + text(found->second) + ", must be " + text(entry));
    }
    if (there.size() > m_ledger.entries.size())
        fail("the service has an entry that nobody made");
}

void World::compareWindows()
{
    const timesheet::TimesheetController* controller = timesheet();
    const model::Company* company = m_menulet->company();
    {
        const std::lock_guard lock(m_mutex);
        if (m_stalled)
            return; // what was edited shows when the service has it
    }
    if (!controller || !controller->company() || controller->loading() || uptime() < m_clocksAgree)
        return;
    const auto rows = controller->dayEntries();
    if (rows != company->dayEntriesForDate(controller->currentDate())) {
        fail("the timesheet has other rows than the store");
        return;
    }
    if (!controller->window().isVisible())
        return;
    double total = 0;
    const double now = double(m_environment.clock.now().time_since_epoch() / 1ms) / 1000;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const model::DayEntry& entry = *rows[i];
        double hours = entry.hours().value_or(0);
        if (entry.isRunning())
            hours = entry.hoursWithoutTimer() + (now - double(entry.timerStarted().toMSecsSinceEpoch()) / 1000) / 3600;
        total += hours;
        const auto* cell =
            static_cast<timesheet::TimesheetListViewCell*>(controller->dayEntriesListView().visibleCellForRow(int(i)));
        if (!cell || hours < 0)
            continue;
        if (!Ledger::shows(str(cell->hoursLabel->text()), std::llround(hours * 3600)))
            fail("a row shows " + str(cell->hoursLabel->text()) + ", not " + std::to_string(hours));
        if (cell->runningButtonView->isVisible() != entry.isRunning())
            fail("a row's button says otherwise");
    }
    if (total >= 0 && !Ledger::shows(str(controller->window().totalHoursLabel->text()), std::llround(total * 3600)))
        fail("the total is " + str(controller->window().totalHoursLabel->text()) + ", not " + std::to_string(total));
}

void World::calm(int, int)
{
    {
        const std::lock_guard lock(m_mutex);
        m_faults = 0;
    }
    release(0, 0);
    settle();
    serve(1, 0);
    m_environment.network.setReachable(true);
    if (m_account > 1)
        useAccount(0, 0);
    m_environment.idle.touch();
    pass(61s);
    m_environment.idle.touch();
    compareService();
    compareStore();
    compareFace();
    compareHandles();
}

void World::compareStore()
{
    const model::Company* company = m_menulet->company();
    if (!company || m_menulet->loggedOut() || m_menulet->offline()) {
        fail("the program has not come back");
        return;
    }
    std::vector<std::string> days{Ledger::dayOf(now())};
    if (timesheet() && timesheet()->currentDate().isValid())
        days.push_back(str(timesheet()->currentDate().toString(Qt::ISODate)));
    for (const std::string& day : days) {
        std::map<Id, const Ledger::Entry*> there;
        for (const auto& [id, entry] : m_ledger.entries) {
            if (entry.account == m_account && entry.day == day)
                there[id] = &entry;
        }
        const auto here = company->dayEntriesForDate(QDate::fromString(QString::fromStdString(day), Qt::ISODate));
        if (here.size() != there.size()) {
            fail("the store has " + std::to_string(here.size()) + " entries on " + day + ", the service " +
                 std::to_string(there.size()));
            continue;
        }
        for (const model::DayEntry* entry : here) {
            const auto found = there.find(entry->idString().toLongLong());
            if (found == there.end()) {
                fail("the store has an entry that is gone");
                continue;
            }
            const Ledger::Entry& kept = *found->second;
            const bool same = str(entry->notes()) == kept.notes && entry->isRunning() == kept.runsSince.has_value() &&
                              std::abs(entry->hoursWithoutTimer() * 3600 - double(kept.booked)) < 1 &&
                              std::abs(entry->hours().value_or(0) * 3600 - double(kept.total(now()))) < 62 &&
                              (kept.runsSince || std::abs(entry->hours().value_or(0) * 3600 - double(kept.booked)) < 1);
            if (!same)
                fail("the store has entry " + str(entry->idString()) + " as " + str(entry->description()) + ", \"" +
                     str(entry->notes()) + "\", the service " + std::to_string(kept.booked) + " s, \"" + kept.notes +
                     '"');
            if (kept.locked && !entry->isLocked())
                fail("a locked entry is not locked");
        }
    }
}

void World::compareFace()
{
    const auto latest = [this](const std::string& day, bool runningOnly) {
        const Ledger::Entry* found = nullptr;
        std::string foundId;
        for (const auto& [id, entry] : m_ledger.entries) {
            if (entry.account != m_account || entry.day != day || (runningOnly && !entry.runsSince))
                continue;
            const bool later = !found || entry.updated > found->updated ||
                               (entry.updated == found->updated && std::to_string(id) > foundId);
            if (later) {
                found = &entry;
                foundId = std::to_string(id);
            }
        }
        return found;
    };
    const std::string today = Ledger::dayOf(now());
    Seconds yesterday = now();
    while (Ledger::dayOf(yesterday) == today)
        yesterday -= 3600;
    const Ledger::Entry* current = latest(today, true);
    if (!current)
        current = latest(today, false);
    // Of yesterday, whose sheet is not asked for, only what it was told.
    if (const Ledger::Entry* left = current ? nullptr : latest(Ledger::dayOf(yesterday), true)) {
        const auto same = [left](const auto& told) { return told.second.entry.updated == left->updated; };
        current = std::ranges::any_of(m_told, same) ? left : nullptr;
    }
    const skin::QuillonStatusItemView& view = m_menulet->statusItemView();
    const std::string shown = str(view.hoursString());
    const Seconds hours = current ? current->total(now()) : 0;
    // It was drawn at the last refresh.
    const bool right =
        Ledger::shows(shown, hours) || Ledger::shows(shown, hours - 30) || Ledger::shows(shown, hours - 15);
    if (!right || view.isRunning() != (current && current->runsSince))
        fail("the item shows " + shown + (view.isRunning() ? ", running" : "") + ", not " + std::to_string(hours) +
             " s");
}

void World::compareHandles()
{
    const auto count = [](const char* folder) {
        return int(std::distance(std::filesystem::directory_iterator(folder), std::filesystem::directory_iterator()));
    };
    const int handles = count("/proc/self/fd") + 100 * count("/proc/self/task");
    if (m_handles == 0)
        m_handles = handles;
    if (handles / 100 > m_handles / 100 || handles % 100 > m_handles % 100 + 12)
        fail("handles and threads grow: " + std::to_string(m_handles) + " to " + std::to_string(handles));
    std::size_t windows = 0;
    for (const QWidget* window : QApplication::topLevelWidgets())
        windows += !window->windowTitle().isEmpty();
    if (windows > 8)
        fail("windows are left: " + std::to_string(windows));
}
