#pragma once

#include "localservice/Database.h"

#include <string>

/// Entries written directly to the data file of the built-in service: with any hours, on any day, running or locked.
namespace seed {

struct Entry
{
    localservice::Id project = 0;
    localservice::Id task = 0;
    std::string notes = {};
    int minutes = 0;
    bool running = false; ///< since the moment of the seeding, on top of the minutes
    std::string lockedReason = {};
    std::string day = {}; ///< "2024-03-05"
};

/// The entry's id.
localservice::Id add(localservice::Database& data, localservice::Id person, const Entry& entry,
                     localservice::Seconds now);
/// From now on the account records start and end; its existing entries began at nine.
void recordTimes(localservice::Database& data, localservice::Id account);
void removeAll(localservice::Database& data, localservice::Id person);

} // namespace seed
