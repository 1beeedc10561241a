#pragma once

#include "Database.h"

#include <string>
#include <vector>

namespace SQLite {
class Database;
}

namespace localservice {

/// Fills a new account with a small catalog to look around in, and an entry whose timer can be started right away.
void addSamples(SQLite::Database& database, Id account, Id owner);

/// The samples that are left as they were: those are recognised by their names, and nobody has booked time on them.
/// Projects, for people: "Online Shop".
std::vector<std::string> samplesIn(SQLite::Database& database, Id account);
/// Removes those projects with all of their samples that nothing else needs. Returns the number of the removal.
Id removeSamples(SQLite::Database& database, Id account, Seconds now);

} // namespace localservice
