#pragma once

#include "Database.h"
#include "EntryFields.h"
#include "Person.h"
#include "Problem.h"
#include "RequestBody.h"

#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace localservice {

/// One line of a timesheet.
struct Entry
{
    Id id = 0;
    Id person = 0;
    Id project = 0;
    Id task = 0;
    std::string projectName;
    std::string projectCode;
    std::string clientName;
    std::string taskName;
    Day day;
    std::string notes;
    Seconds base = 0;                    ///< time without the running timer
    std::optional<Seconds> timerStarted; ///< set while the timer runs
    std::optional<Minutes> startedAt;    ///< clock times, in accounts with timestamp timers
    std::optional<Minutes> endedAt;
    std::optional<std::string> lockedReason;
    bool billable = false; ///< the project is, and the task on it
    bool billed = false;
    Seconds created = 0;
    Seconds updated = 0;

    /// Time including the running timer. A clock that was set back takes nothing away.
    Seconds total(Seconds now) const { return base + (timerStarted && now > *timerStarted ? now - *timerStarted : 0); }
};

/// The entry, or why not. When refused as stale it also carries the current entry.
struct Refusal
{
    Problem problem;
    std::optional<Entry> current = std::nullopt;
};

/// What one person may do with their entries. Each call is one transaction, in which starting a timer also stops the
/// one that was running.
class Timesheet final
{
public:
    Timesheet(Storage& storage, const Person& person, Seconds now);

    /// All entries from the first day to the last.
    tl::expected<std::vector<Entry>, Problem> days(Day first, Day last);
    tl::expected<Entry, Problem> entry(Id id);
    /// The entry whose timer runs, if one does.
    tl::expected<std::optional<Entry>, Problem> running();

    /// With hours: a finished entry. Without, or with 0: a running timer. Accounts with timestamp timers use start and
    /// end time: a start without an end runs.
    tl::expected<Entry, Problem> add(const EntryFields& fields);
    /// Stops the entry's timer if it runs, else starts it. The entry stays on its day.
    tl::expected<Entry, Problem> toggle(Id id);
    /// The same with the direction given; no change if it is already so.
    tl::expected<Entry, Problem> setRunning(Id id, bool running);
    /// `known` is the update time that the person has seen: an entry changed since is refused (409).
    tl::expected<Entry, Refusal> update(Id id, const EntryFields& fields, std::optional<Seconds> known = {});
    /// Returns the number of the removal, by which `Removals` brings the entry back.
    tl::expected<Id, Refusal> remove(Id id, std::optional<Seconds> known = {});
    /// Sets hours and timer state, unless the entry has changed since the update time in the request (409) or is gone
    /// (410).
    tl::expected<Entry, Refusal> synchronize(Id id, const RequestBody& body);

private:
    tl::expected<Entry, Problem> setTimer(Id id, std::optional<bool> wanted);
    template <typename Work>
    auto changeKnown(Id id, std::optional<Seconds> known, Work work);

    Storage& m_storage;
    const Person& m_person;
    const Seconds m_now;
};

} // namespace localservice
