#pragma once

namespace localservice {
class Database;
}

namespace bench {

/// How much there is of a company and of a person's day.
struct Amount
{
    int clients, tasks, projects, tasksOfProject, entries;
};
/// A company has one list of kinds of work, from which its projects choose.
inline constexpr Amount Large{50, 40, 500, 20, 200};
inline constexpr Amount Ordinary{5, 10, 20, 5, 8};

/// Fills an empty data file with a company and a person's entries of today. `running`: the timer of the last one runs.
/// False, with a message on standard error, on failure.
bool fillWithDay(localservice::Database& database, const Amount& amount, bool running);

} // namespace bench
