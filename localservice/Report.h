#pragma once

#include "Database.h"
#include "Problem.h"

#include <functional>
#include <map>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace SQLite {
class Database;
}

namespace localservice {

/// What is counted: the entries of some days, of one person or, with 0, of everybody in the account.
struct ReportFilter
{
    Id account = 0;
    Id person = 0;
    Day from;
    Day to; ///< counts, too
    Seconds now = 0;
};

/// Time, and how much of it is billable: booked on a billable task of a billable project.
struct Amount
{
    Seconds all = 0;
    Seconds billable = 0;

    Amount& operator+=(const Amount& other);
    bool operator==(const Amount&) const = default;
};

/// What a report says of one project, task or person.
struct ReportLine
{
    Id id = 0;
    std::string name;
    std::string client = {}; ///< of projects
    std::string code = {};   ///< of projects
    Amount amount = {};
};

/// Totals of entries, with running timers up to now.
struct Report
{
    Amount total;
    int runningTimers = 0;
    Seconds running = 0;              ///< what of the total their present runs make
    std::map<Day, Amount> days;       ///< only those with entries
    std::vector<ReportLine> projects; ///< the largest first, like the other lists
    std::vector<ReportLine> clients;
    std::vector<ReportLine> tasks;
    std::vector<ReportLine> people;

    static Report of(SQLite::Database& database, const ReportFilter& filter);
};

/// The same entries as lines of comma-separated values (RFC 4180) in UTF-8, with a byte order mark, by which
/// spreadsheets know that.
std::string csvOf(SQLite::Database& database, const ReportFilter& filter);

/// A cell of comma-separated values. What a spreadsheet would take for a formula gets an apostrophe in front: also
/// behind what it passes over, and within the text where one that separates otherwise would see a cell begin.
std::string csvCell(std::string_view text);

} // namespace localservice
