#include "World.h"

#include "../localservice/HttpClient.h"
#include "editing/EditTimerController.h"
#include "editing/HUDCheckBox.h"
#include "editing/NewTimerController.h"
#include "editing/NewTimerPanel.h"
#include "editing/TextFields.h"
#include "model/Company.h"
#include "settings/QuillonPreferences.h"
#include "skin/ImageButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonStatusItemView.h"
#include "store/Model.h"
#include "support/TestData.h"
#include "timesheet/RLListView.h"
#include "timesheet/TimesheetWindow.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <QApplication>
#include <QTest>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <fstream>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

constexpr Ledger::Seconds Stale = 60; ///< older hours are brought up to date before a correction

void type(QWidget& field, const QString& text)
{
    field.setFocus(Qt::TabFocusReason);
    for (const QChar letter : text)
        QTest::sendKeyEvent(QTest::Click, &field, Qt::Key_unknown, QString(letter), {});
}

} // namespace

// Steps at the desk

void World::startTimer(int task, int minutes)
{
    // A second press while the first is on its way starts nothing.
    if (std::ranges::any_of(m_expected, [](const Expected& expected) { return expected.wish.kind == Wish::Add; }))
        return;
    m_menulet->showNewTimerWindow(nullptr);
    editing::NewTimerController& controller = *m_menulet->addTimerController();
    editing::NewTimerPanel& window = controller.window();
    window.activateWindow();
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
    const bool timed = minutes > 0 && !recordsTimes(); // the sheet would want its times
    if (timed)
        type(*window.durationTextField, u"0:45"_s);
    if (!window.saveButton->isEnabled())
        return;
    const Account& account = m_accounts[m_account % 2];
    Wish wish{Wish::Add};
    wish.entry = {m_account % 2, account.project, account.tasks[task % 2], Ledger::dayOf(now()), "n"};
    wish.minutes = timed ? 45 : -1;
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
    const Id id = entry->idString().toLongLong();
    m_cameBack = isStillTyped(id);
    m_typedMinutes = m_cameBack ? m_typed[id].minutes : -1;
    m_typedNotes = m_cameBack && m_typed[id].notes;
}

bool World::isStillTyped(Id id) const
{
    const auto told = m_told.find(id);
    const auto typed = m_typed.find(id);
    return told != m_told.end() && typed != m_typed.end() && typed->second.updated == told->second.entry.updated;
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
    if (!isEditing() || recordsTimes())
        return;
    auto* field = timesheet()->window().findChild<QLineEdit*>(u"hoursField"_s);
    field->setFocus(Qt::TabFocusReason);
    field->selectAll();
    m_cameBack = false;
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
    if (told == m_told.end()) {
        cancelSheet(0, 0); // of a store that has been lost
        return;
    }
    const Seconds shown = told->second.entry.total(now());
    const Seconds there = kept == m_ledger.entries.end() ? shown : kept->second.total(now());
    // Nor whether they are those of before a stop and a start.
    const Seconds before =
        kept == m_ledger.entries.end() ? there : kept->second.booked - (kept->second.updated - told->second.when);
    const auto isNear = [&](Seconds hours) {
        const auto waits = [&](const Expected& expected) {
            return expected.wish.id == id && near(hours, expected.wish.minutes * Seconds{60});
        };
        return near(hours, there) || near(hours, std::max<Seconds>(before, 0)) ||
               std::ranges::any_of(m_expected, waits);
    };
    // A timer that starts later than it is now, since the clock went back, counts differently here and there; and an
    // hour that is only just not full is shown without its minutes.
    const bool ahead = told->second.entry.runsSince.value_or(0) > now();
    const bool uncarried = (shown + 30) / 60 % 60 == 0 && shown % 3600 != 0;
    const bool unclear = m_typedMinutes >= 0 ? isNear(m_typedMinutes * Seconds{60})
                                             : ahead || (there != shown && (uncarried || isNear(shown)));
    // Times that were changed elsewhere since go back as they were shown, too.
    const bool outdated = recordsTimes() && kept != m_ledger.entries.end() && kept->second != told->second.entry;
    // What had come back with the sheet may have been taken since: then it is no longer what was typed.
    const bool taken = m_cameBack && !isStillTyped(id);
    if (unclear || outdated || taken || (told->second.edited && m_typedMinutes < 0)) {
        cancelSheet(0, 0);
        return;
    }
    Wish wish{Wish::Update, id};
    wish.notes =
        m_typedNotes ? str(window.findChild<editing::NotesField*>(u"notesField"_s)->text()) : told->second.entry.notes;
    wish.minutes = m_typedMinutes;
    // Hours that were changed elsewhere since the service last reported them go back as they were shown.
    if (m_typedMinutes < 0 && there != shown)
        wish.minutes = int((shown + 30) / 60);
    if (entry && !entry->isLocked())
        expect(wish);
    m_typed[id] = {m_typedMinutes, m_typedNotes, told->second.entry.updated};
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
    if (!isEditing())
        return;
    if (const model::DayEntry* entry = timesheet()->editTimerController()->entry())
        m_typed.erase(entry->idString().toLongLong());
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

void World::reportIdle(double seconds)
{
    if (m_absence.reported == 0)
        m_absence.sleeps = m_sleeps;
    if (seconds >= IdleThreshold)
        m_absence.reported = std::max(m_absence.reported, std::trunc(seconds));
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
    reportIdle(now - *m_absence.since);
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
    ++questions;
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
        // While a worker slept, the program and we may have looked at different clocks.
        if (!told->second.edited && m_absence.sleeps == m_sleeps)
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
        reportIdle(after - *m_absence.since);
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
    wish.minutes = minutes % 2 && !recordsTimes() ? minutes * 3 : 0;
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
    // What the program has under way would bring its own hours after those.
    absorb();
    if (found == m_ledger.entries.end() || recordsTimes() || !m_expected.empty() ||
        std::abs(found->second.total(now()) - wish.minutes * 60) < 180)
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
    m_storeSpoilt = true;
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
    m_typed.clear();
    m_told.clear();
}
