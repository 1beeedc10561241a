#pragma once

namespace localservice {
class Database;
}

namespace bench {

/// Fills an empty data file with a company of many projects and a person with a full day of today. `running`: the timer
/// of the last entry runs. False, with a message on standard error, on failure.
bool fillWithLargeDay(localservice::Database& database, bool running);

inline constexpr int ProjectCount = 500;
inline constexpr int TasksOfProject = 20;
inline constexpr int EntryCount = 200;

} // namespace bench
