#pragma once

namespace localservice {
class Database;
}

namespace bench {

/// Fills an empty data file with the time of a company: 50 people, 300 projects, 200,000 entries of the last ten years,
/// and a timer that runs. False, with a message on standard error, on failure.
bool fillWithManyYears(localservice::Database& database);

} // namespace bench
