#include "World.h"

#include "model/Company.h"
#include "model/Task.h"
#include "skin/QuillonStatusItemView.h"
#include "skin/QuillonTextFieldCell.h"
#include "skin/RunningButtonBackground.h"
#include "timesheet/RLListView.h"
#include "timesheet/TimesheetWindow.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <QApplication>
#include <QDate>

#include <algorithm>
#include <cmath>
#include <filesystem>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::Fault;
using support::Reply;

namespace {

bool isChange(const support::Request& request)
{
    return request.method == "POST" || request.target.starts_with("/daily/timer/") ||
           request.target.starts_with("/daily/delete/");
}

} // namespace

// What must hold after every step.

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
        const bool refused =
            wish.kind == Wish::Correct && mine != m_ledger.entries.end() && mine->second.updated > wish.known;
        repeated += again && wish.kind == Wish::Toggle && sent.passedOn > 0;
        for (int i = 0; i < sent.passedOn; ++i)
            m_ledger.apply(wish, sent.when);
        if (sent.delivered && !refused && wish.kind != Wish::Delete)
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
    if (!controller->window().isVisible())
        return; // it reloads when it is shown
    const auto rows = controller->dayEntries();
    if (rows != company->dayEntriesForDate(controller->currentDate())) {
        fail("the timesheet has other rows than the store");
        return;
    }
    if (!controller->window().isVisible())
        return;
    double total = 0;
    const double now = double(m_environment.clock.now().time_since_epoch() / 1ms) / 1000;
    const auto isCorrected = [this](const model::DayEntry* entry) {
        const auto told = m_told.find(entry->idString().toLongLong());
        return told != m_told.end() && told->second.edited;
    };
    if (std::ranges::any_of(rows, isCorrected))
        return; // it shows when the service has it
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
    if (Ledger::dayOf(now() - 30) != today)
        return; // the refresh that will show it has not been
    Seconds yesterday = now();
    while (Ledger::dayOf(yesterday) == today)
        yesterday -= 3600;
    const Ledger::Entry* current = latest(today, true);
    if (!current)
        current = latest(today, false);
    // Of yesterday, whose sheet is not asked for, only what it was told.
    if (const Ledger::Entry* left = current ? nullptr : latest(Ledger::dayOf(yesterday), true)) {
        const auto wasTold = [&](const auto& told) {
            const auto entry = m_ledger.entries.find(told.first);
            return entry != m_ledger.entries.end() && &entry->second == left &&
                   told.second.entry.updated == left->updated;
        };
        current = std::ranges::any_of(m_told, wasTold) ? left : nullptr;
        if (m_storeSpoilt)
            return;
    }
    const skin::QuillonStatusItemView& view = m_menulet->statusItemView();
    const std::string shown = str(view.hoursString());
    const Seconds hours = current ? current->total(now()) : 0;
    // It was drawn at the last refresh, or counts on from there where the service's clock is behind the timer's start.
    const Seconds drift = current && current->runsSince > now() ? 15 : -15;
    const bool right =
        Ledger::shows(shown, hours) || Ledger::shows(shown, hours + drift) || Ledger::shows(shown, hours + 2 * drift);
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
    if (handles / 100 > m_handles / 100 + 3 || handles % 100 > m_handles % 100 + 30)
        fail("handles and threads grow: " + std::to_string(m_handles) + " to " + std::to_string(handles));
    std::size_t windows = 0;
    for (const QWidget* window : QApplication::topLevelWidgets())
        windows += !window->windowTitle().isEmpty();
    if (windows > 8)
        fail("windows are left: " + std::to_string(windows));
}
