#include "Timesheet.h"

#include "NameText.h"
#include "Removals.h"
#include "Storage.h"

#include <algorithm>
#include <cmath>

namespace localservice {

namespace {

constexpr Seconds LongestEntry = Seconds{24} * 3600;

tl::unexpected<Problem> invalid(std::string message, std::string field)
{
    return tl::unexpected(Problem{500, "Validation", std::move(message), std::move(field)});
}

Problem staleEntry()
{
    return {409, "Conflict", "This entry has been updated since."};
}

/// `current` is the entry as it is.
Refusal refusal(const Problem& problem, const std::optional<Entry>& current)
{
    return {problem, problem.status == 409 ? current : std::nullopt};
}

Seconds exactSeconds(double hours)
{
    return std::llround(hours * 3600);
}

/// Clients round the minutes that people type to hundredths of an hour. Hundredths that only such rounding explains
/// become the whole minutes they came from, so that three entries of twenty minutes make an hour.
Seconds typedSeconds(double hours)
{
    const double hundredths = hours * 100;
    const auto whole = std::llround(hundredths);
    const auto rest = whole % 5;
    if (std::abs(hundredths - static_cast<double>(whole)) > 1e-6 || rest == 1 || rest == 4)
        return exactSeconds(hours);
    return std::llround(static_cast<double>(whole) * 0.6) * 60;
}

/// True when a person who was shown `actual` and did not edit it would send `typed` back. People see whole minutes, and
/// some clients show an hour that is only just not full without its last minutes ("1:00" for 1:59:45).
bool looksLike(Seconds typed, Seconds actual)
{
    const Seconds rounded = (actual + 30) / 60 * 60;
    const Seconds uncarried = rounded % 3600 == 0 && rounded > actual ? rounded - 3600 : rounded;
    // Hours go out with four decimals, which may take half a minute down to the minute below.
    const Seconds below = (actual + 29) / 60 * 60;
    return typed == rounded || typed == uncarried || typed == below ||
           typed == typedSeconds(std::round(actual / 36.0) / 100);
}

constexpr const char* SelectEntry =
    "SELECT e.id, e.person_id, e.project_id, e.task_id, p.name, c.name, t.name, e.spent_at, e.notes, e.seconds,"
    " e.timer_started, e.started_at, e.ended_at, e.locked_reason, e.billed, e.created_at, e.updated_at, p.code,"
    " p.billable AND COALESCE(o.billable, 1)"
    " FROM entries e JOIN projects p ON p.id = e.project_id JOIN clients c ON c.id = p.client_id"
    " JOIN tasks t ON t.id = e.task_id"
    " LEFT JOIN task_assignments o ON o.project_id = e.project_id AND o.task_id = e.task_id"
    " WHERE e.person_id = ?";

template <typename T>
std::optional<T> optionalNumber(const SQLite::Column& column)
{
    return column.isNull() ? std::nullopt : std::optional(static_cast<T>(column.getInt64()));
}

Entry entryOf(SQLite::Statement& row)
{
    Entry entry;
    entry.id = row.getColumn(0).getInt64();
    entry.person = row.getColumn(1).getInt64();
    entry.project = row.getColumn(2).getInt64();
    entry.task = row.getColumn(3).getInt64();
    entry.projectName = row.getColumn(4).getString();
    entry.clientName = row.getColumn(5).getString();
    entry.taskName = row.getColumn(6).getString();
    entry.day = readDay(row.getColumn(7).getString()).value_or(Day{});
    entry.notes = row.getColumn(8).getString();
    entry.base = row.getColumn(9).getInt64();
    entry.timerStarted = optionalNumber<Seconds>(row.getColumn(10));
    entry.startedAt = optionalNumber<Minutes>(row.getColumn(11));
    entry.endedAt = optionalNumber<Minutes>(row.getColumn(12));
    if (!row.getColumn(13).isNull())
        entry.lockedReason = row.getColumn(13).getString();
    entry.billed = row.getColumn(14).getInt() != 0;
    entry.created = row.getColumn(15).getInt64();
    entry.updated = row.getColumn(16).getInt64();
    entry.projectCode = row.getColumn(17).getString();
    entry.billable = row.getColumn(18).getInt() != 0;
    return entry;
}

void bindOptional(SQLite::Statement& statement, int index, const auto& value)
{
    if (value)
        statement.bind(index, *value);
}

/// The work of one transaction.
class Ledger
{
public:
    Ledger(SQLite::Database& database, const Person& person, Seconds now)
        : m_database(database), m_person(person), m_now(now)
    {
    }

    tl::expected<Entry, Problem> find(Id id)
    {
        SQLite::Statement query(m_database, std::string(SelectEntry) + " AND e.id = ?");
        SQLite::bind(query, m_person.id, id);
        if (query.executeStep())
            return entryOf(query);
        return tl::unexpected(Problem{500, "NotFound", "This entry no longer exists."});
    }

    tl::expected<Entry, Problem> findUnlocked(Id id)
    {
        auto entry = find(id);
        if (entry && entry->lockedReason)
            return tl::unexpected(Problem{500, "Locked", "This entry is locked: " + *entry->lockedReason});
        return entry;
    }

    tl::expected<void, Problem> checkOffer(Id project, Id task)
    {
        SQLite::Statement query(m_database, "SELECT p.active, u.id, t.id, o.id, t.active FROM projects p"
                                            " LEFT JOIN user_assignments u ON u.project_id = p.id AND u.person_id = ?"
                                            " LEFT JOIN tasks t ON t.id = ? AND t.account_id = p.account_id"
                                            " LEFT JOIN task_assignments o ON o.project_id = p.id AND o.task_id = t.id"
                                            " WHERE p.id = ? AND p.account_id = ?");
        SQLite::bind(query, m_person.id, task, project, m_person.account);
        if (!query.executeStep())
            return invalid("This project does not exist.", "booking");
        if (query.getColumn(0).getInt() == 0)
            return invalid("This project has been archived.", "booking");
        if (query.getColumn(1).isNull())
            return invalid("You are not assigned to this project.", "booking");
        if (query.getColumn(2).isNull())
            return invalid("This task does not exist.", "booking");
        if (query.getColumn(3).isNull())
            return invalid("This task is not offered on the project.", "booking");
        if (query.getColumn(4).getInt() == 0)
            return invalid("This task has been archived.", "booking");
        return {};
    }

    void startTimer(Entry& entry, Seconds since)
    {
        stopRunningTimer();
        entry.timerStarted = since;
        entry.endedAt.reset();
        if (m_person.timestampTimers && !entry.startedAt)
            entry.startedAt = localMinutes(since);
    }

    void stopTimer(Entry& entry) const
    {
        entry.base = entry.total(m_now);
        entry.timerStarted.reset();
        if (entry.startedAt)
            entry.endedAt = localMinutes(m_now);
    }

    Entry insert(const Entry& entry)
    {
        SQLite::Statement statement(
            m_database, "INSERT INTO entries (person_id, project_id, task_id, spent_at, notes, seconds, timer_started,"
                        " started_at, ended_at, created_at, updated_at) VALUES (?, ?, ?, ?, ?, ?, ?, ?, ?, ?, ?)");
        SQLite::bind(statement, m_person.id, entry.project, entry.task, isoDayText(entry.day), entry.notes, entry.base);
        bindOptional(statement, 7, entry.timerStarted);
        bindOptional(statement, 8, entry.startedAt);
        bindOptional(statement, 9, entry.endedAt);
        statement.bind(10, m_now);
        statement.bind(11, m_now);
        statement.exec();
        return find(m_database.getLastInsertRowid()).value();
    }

    Entry save(const Entry& entry)
    {
        SQLite::Statement statement(m_database,
                                    "UPDATE entries SET project_id = ?, task_id = ?, spent_at = ?, notes = ?,"
                                    " seconds = ?, timer_started = ?, started_at = ?, ended_at = ?,"
                                    " updated_at = ? WHERE id = ?");
        SQLite::bind(statement, entry.project, entry.task, isoDayText(entry.day), entry.notes, entry.base);
        bindOptional(statement, 6, entry.timerStarted);
        bindOptional(statement, 7, entry.startedAt);
        bindOptional(statement, 8, entry.endedAt);
        // Times on the wire have whole seconds: a second change in the same one must still count as a change.
        statement.bind(9, std::max(m_now, entry.updated + 1));
        statement.bind(10, entry.id);
        statement.exec();
        return find(entry.id).value();
    }

    std::optional<Entry> running()
    {
        SQLite::Statement query(m_database, std::string(SelectEntry) + " AND e.timer_started IS NOT NULL");
        query.bind(1, m_person.id);
        return query.executeStep() ? std::optional(entryOf(query)) : std::nullopt;
    }

    /// Returns the number of the removal.
    Id erase(Entry& entry)
    {
        // Its time ends now, even if it is brought back later.
        if (entry.timerStarted) {
            stopTimer(entry);
            entry = save(entry);
        }
        Removals removals(m_database, m_person.account);
        const Id removal =
            removals.begin({.table = "entries",
                            .record = entry.id,
                            .name = projectText(entry.projectCode, entry.projectName) + ", " + entry.taskName + ", " +
                                    hoursMinutes(entry.base) + " on " + dayInWords(entry.day),
                            .removed = m_now,
                            .person = m_person.id});
        removals.take(removal, "entries", "id = ?", entry.id);
        return removal;
    }

private:
    void stopRunningTimer()
    {
        if (auto entry = running()) {
            stopTimer(*entry);
            save(*entry);
        }
    }

    SQLite::Database& m_database;
    const Person& m_person;
    const Seconds m_now;
};

tl::expected<Seconds, Problem> span(Minutes start, Minutes end)
{
    if (end < start)
        return invalid("The end time is before the start time.", "ended");
    return Seconds{60} * (end - start);
}

tl::expected<void, Problem> checkLength(Seconds seconds)
{
    if (seconds > LongestEntry)
        return invalid("An entry cannot have more than 24 hours.", "hours");
    return {};
}

/// Sets the new entry's time in an account with timestamp timers. Returns when its timer started, if it runs.
tl::expected<std::optional<Seconds>, Problem> setTimes(Entry& entry, const EntryFields& fields, Seconds now)
{
    const bool timed = fields.startedAt.has_value();
    if (timed && fields.endedAt) {
        const auto length = span(*fields.startedAt, *fields.endedAt);
        if (!length)
            return tl::unexpected(length.error());
        entry.base = *length;
        entry.startedAt = fields.startedAt;
        entry.endedAt = fields.endedAt;
        return std::nullopt;
    }
    if (!timed && fields.hours.value_or(0) > 0) {
        entry.base = typedSeconds(*fields.hours);
        return std::nullopt;
    }
    entry.startedAt = fields.startedAt.value_or(localMinutes(now));
    // The start has whole minutes; within the present one it means this very second, or the seconds that the previous
    // timer still counted would count twice. On another day the clock time says nothing about the elapsed time.
    if (*entry.startedAt == localMinutes(now) || entry.day != localDay(now))
        return now;
    const Seconds since = momentOf(entry.day, *entry.startedAt);
    if (since > now)
        return invalid("The start time is later than now.", "started");
    return since;
}

/// Applies typed hours to an existing entry. People edit notes far more often than hours, and clients send the rounded
/// hours along each time: unedited hours leave the exact time, and a running timer, as they are.
tl::expected<void, Problem> setHours(Entry& entry, const EntryFields& fields, Seconds now)
{
    const Seconds typed = typedSeconds(fields.hours.value_or(0));
    const Seconds actual = entry.total(now);
    // A running timer's hours may be a minute old by the time they are sent back, or as old as the request says: then
    // the timer may even have been stopped since, and run again.
    const Seconds asOf = std::min(fields.asOf.value_or(now), now);
    const Seconds sinceThen = fields.asOf ? std::max<Seconds>(0, entry.updated - asOf) : 0;
    const Seconds beforeStop = std::max<Seconds>(0, entry.base - sinceThen);
    const bool runsAgain = entry.timerStarted && sinceThen > 0 && looksLike(typed, beforeStop);
    const bool justShown = looksLike(typed, entry.timerStarted ? entry.total(asOf) : beforeStop) || runsAgain ||
                           (entry.timerStarted && looksLike(typed, std::max(entry.base, actual - 60)));
    if (!fields.hoursTouched.value_or(!looksLike(typed, actual) && !justShown))
        return {};
    if (auto allowed = checkLength(typed); !allowed)
        return allowed;
    entry.base = typed;
    if (entry.timerStarted)
        entry.timerStarted = now;
    return {};
}

/// Applies start and end time to an existing entry. Unedited times leave its hours alone: a timer that was stopped and
/// restarted has fewer than lie between its first start and its last end.
tl::expected<void, Problem> changeTimes(Entry& entry, const EntryFields& fields, Seconds now)
{
    if (entry.timerStarted) {
        // The end of a running timer is in the future; one sent by a client is left over from an earlier stop.
        if (!fields.startedAt || fields.startedAt == entry.startedAt)
            return {};
        // A timer that is older than the account's recording of times has no start. Clients demand one all the same;
        // what a page sends was typed.
        if (!entry.startedAt && !fields.hoursTouched)
            return {};
        const Minutes start = entry.startedAt.value_or(localMinutes(now - entry.total(now)));
        const Seconds earlier = Seconds{60} * (start - *fields.startedAt);
        if (entry.total(now) + earlier < 0)
            return invalid("The start time is later than now.", "started");
        entry.base += earlier;
        if (entry.base < 0) {
            *entry.timerStarted -= entry.base;
            entry.base = 0;
        }
        entry.startedAt = fields.startedAt;
        return {};
    }
    const auto start = fields.startedAt ? fields.startedAt : entry.startedAt;
    const auto end = fields.endedAt ? fields.endedAt : entry.endedAt;
    if (start && end && (start != entry.startedAt || end != entry.endedAt)) {
        const auto length = span(*start, *end);
        if (!length)
            return tl::unexpected(length.error());
        entry.base = *length;
    } else if (!(start && end) && fields.hoursTouched.value_or(fields.hours.has_value())) {
        if (auto set = setHours(entry, fields, now); !set)
            return set;
    }
    entry.startedAt = start;
    entry.endedAt = end;
    return {};
}

} // namespace

Timesheet::Timesheet(Storage& storage, const Person& person, Seconds now)
    : m_storage(storage), m_person(person), m_now(now)
{
}

tl::expected<std::vector<Entry>, Problem> Timesheet::days(Day first, Day last)
{
    return m_storage.look([&](SQLite::Database& database) -> tl::expected<std::vector<Entry>, Problem> {
        std::vector<Entry> entries;
        SQLite::Statement query(database, std::string(SelectEntry) + " AND e.spent_at BETWEEN ? AND ? ORDER BY e.id");
        SQLite::bind(query, m_person.id, isoDayText(first), isoDayText(last));
        while (query.executeStep())
            entries.push_back(entryOf(query));
        return entries;
    });
}

tl::expected<Entry, Problem> Timesheet::entry(Id id)
{
    return m_storage.look([&](SQLite::Database& database) { return Ledger(database, m_person, m_now).find(id); });
}

tl::expected<std::optional<Entry>, Problem> Timesheet::running()
{
    return m_storage.look([&](SQLite::Database& database) -> tl::expected<std::optional<Entry>, Problem> {
        return Ledger(database, m_person, m_now).running();
    });
}

tl::expected<Entry, Problem> Timesheet::add(const EntryFields& fields)
{
    return m_storage.change([&](SQLite::Database& database) -> tl::expected<Entry, Problem> {
        Ledger ledger(database, m_person, m_now);
        if (const auto offered = ledger.checkOffer(fields.project.value_or(0), fields.task.value_or(0)); !offered)
            return tl::unexpected(offered.error());
        Entry entry;
        entry.project = *fields.project;
        entry.task = *fields.task;
        entry.day = fields.day.value_or(localDay(m_now));
        entry.notes = fields.notes.value_or("");
        std::optional<Seconds> runsSince;
        if (m_person.timestampTimers) {
            const auto times = setTimes(entry, fields, m_now);
            if (!times)
                return tl::unexpected(times.error());
            runsSince = *times;
        } else {
            entry.base = typedSeconds(fields.hours.value_or(0));
            if (entry.base == 0)
                runsSince = m_now;
        }
        if (const auto allowed = checkLength(entry.base); !allowed)
            return tl::unexpected(allowed.error());
        if (runsSince)
            ledger.startTimer(entry, *runsSince);
        return ledger.insert(entry);
    });
}

tl::expected<Entry, Problem> Timesheet::toggle(Id id)
{
    return setTimer(id, std::nullopt);
}

tl::expected<Entry, Problem> Timesheet::setRunning(Id id, bool running)
{
    return setTimer(id, running);
}

tl::expected<Entry, Problem> Timesheet::setTimer(Id id, std::optional<bool> wanted)
{
    return m_storage.change([&](SQLite::Database& database) -> tl::expected<Entry, Problem> {
        Ledger ledger(database, m_person, m_now);
        auto entry = ledger.find(id);
        if (!entry || wanted == entry->timerStarted.has_value())
            return entry;
        if (entry->timerStarted) {
            ledger.stopTimer(*entry);
            return ledger.save(*entry);
        }
        if (auto unlocked = ledger.findUnlocked(id); !unlocked)
            return unlocked;
        if (const auto offered = ledger.checkOffer(entry->project, entry->task); !offered)
            return tl::unexpected(offered.error());
        ledger.startTimer(*entry, m_now);
        return ledger.save(*entry);
    });
}

/// Runs `work(Ledger&, Entry&)` on an entry that is not locked and has not changed since `known`.
template <typename Work>
auto Timesheet::changeKnown(Id id, std::optional<Seconds> known, Work work)
{
    std::optional<Entry> current;
    using Done = std::invoke_result_t<Work, Ledger&, Entry&>;
    return m_storage
        .change([&](SQLite::Database& database) -> Done {
            Ledger ledger(database, m_person, m_now);
            auto entry = ledger.findUnlocked(id);
            if (!entry)
                return tl::unexpected(entry.error());
            current = *entry;
            if (known && *known != entry->updated)
                return tl::unexpected(staleEntry());
            return work(ledger, *entry);
        })
        .map_error([&](const Problem& problem) { return refusal(problem, current); });
}

tl::expected<Entry, Refusal> Timesheet::update(Id id, const EntryFields& fields, std::optional<Seconds> known)
{
    return changeKnown(id, known, [&](Ledger& ledger, Entry& entry) -> tl::expected<Entry, Problem> {
        const Id project = fields.project.value_or(entry.project);
        const Id task = fields.task.value_or(entry.task);
        // An entry may stay where new ones are no longer allowed.
        if (project != entry.project || task != entry.task) {
            if (const auto offered = ledger.checkOffer(project, task); !offered)
                return tl::unexpected(offered.error());
        }
        entry.project = project;
        entry.task = task;
        entry.day = fields.day.value_or(entry.day);
        entry.notes = fields.notes.value_or(entry.notes);
        // Clients omit hours of 0. In a request that gives everything else of a finished entry, missing hours mean 0.
        const bool zero = !entry.timerStarted && fields.project && fields.task && fields.day && fields.notes;
        tl::expected<void, Problem> set;
        if (m_person.timestampTimers)
            set = changeTimes(entry, fields, m_now);
        else if (fields.hoursTouched.value_or(fields.hours || zero))
            set = setHours(entry, fields, m_now);
        if (!set)
            return tl::unexpected(set.error());
        return ledger.save(entry);
    });
}

tl::expected<Id, Refusal> Timesheet::remove(Id id, std::optional<Seconds> known)
{
    return changeKnown(id, known,
                       [&](Ledger& ledger, Entry& entry) -> tl::expected<Id, Problem> { return ledger.erase(entry); });
}

tl::expected<Entry, Refusal> Timesheet::synchronize(Id id, const RequestBody& body)
{
    const auto fields = EntryFields::read(body);
    const auto known = readMoment(body.field("updated_at").value_or(""));
    const auto state = body.field("timer_state").value_or("");
    if (!fields)
        return tl::unexpected(Refusal{fields.error()});
    if (!fields->hours)
        return tl::unexpected(Refusal{{500, "Validation", "The hours are missing."}});
    if (!known)
        return tl::unexpected(Refusal{{500, "Validation", "The update time cannot be read."}});
    if (state != "running" && state != "stopped")
        return tl::unexpected(Refusal{{500, "Validation", "The timer state must be running or stopped."}});

    std::optional<Entry> current;
    const auto change = [&](SQLite::Database& database) -> tl::expected<Entry, Problem> {
        Ledger ledger(database, m_person, m_now);
        auto entry = ledger.find(id);
        if (!entry)
            return tl::unexpected(Problem{410, "Gone", "This entry no longer exists."});
        current = *entry;
        if (entry->updated > *known)
            return tl::unexpected(staleEntry());
        if (auto unlocked = ledger.findUnlocked(id); !unlocked)
            return unlocked;
        const Seconds before = entry->total(m_now);
        const Seconds hours = exactSeconds(*fields->hours);
        // A timer forgotten for days may exceed a day even without its idle time.
        if (const auto allowed = checkLength(hours); !allowed && hours > before)
            return tl::unexpected(allowed.error());
        if (state == "running") {
            if (!entry->timerStarted)
                ledger.startTimer(*entry, m_now);
            entry->timerStarted = m_now;
        } else if (entry->timerStarted) {
            entry->timerStarted.reset();
            // The end is the moment up to which the time counts.
            if (entry->startedAt)
                entry->endedAt = localMinutes(m_now - std::max<Seconds>(0, before - hours));
        }
        entry->base = hours;
        return ledger.save(*entry);
    };
    return m_storage.change(change).map_error([&](const Problem& problem) { return refusal(problem, current); });
}

} // namespace localservice
