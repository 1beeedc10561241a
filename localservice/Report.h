#pragma once

#include "Database.h"
#include "Problem.h"

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <tl/expected.hpp>
#include <vector>

namespace SQLite {
class Database;
}

namespace localservice {

/// What to count: the entries of some days in an account. What is 0, absent or empty narrows nothing.
struct ReportFilter
{
    Id account = 0;
    Id person = 0;
    Day from;
    Day to; ///< counts, too
    Seconds now = 0;
    Id client = 0;
    Id project = 0;
    Id task = 0;
    std::optional<bool> billable = {};
    std::string notes = {}; ///< part of the entry's notes; the case of ASCII letters does not matter
};

/// Time, and how much of it is billable: booked on a billable task of a billable project.
struct Amount
{
    Seconds all = 0;
    Seconds billable = 0;

    Amount& operator+=(const Amount& other);
    bool operator==(const Amount&) const = default;
};

/// A report's line for one project, task or person.
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
    Seconds running = 0;              ///< of the total, the part due to running timers
    std::map<Day, Amount> days;       ///< only those with hours, like all the lists
    std::vector<ReportLine> projects; ///< the largest first, like the other lists
    std::vector<ReportLine> clients;
    std::vector<ReportLine> tasks;
    std::vector<ReportLine> people;

    static Report of(SQLite::Database& database, const ReportFilter& filter);
};

/// The same entries as comma-separated values (RFC 4180) in UTF-8, with a byte order mark, by which spreadsheets
/// recognise it. It is made in pieces of some 64 KiB, so that years of time need no more memory than a day, and each
/// has the entries as they are when it is made.
class CsvFile final
{
public:
    explicit CsvFile(ReportFilter filter);

    /// The next piece.
    std::string next(SQLite::Database& database);
    bool isAtEnd() const { return m_rest.to < m_rest.from; }

private:
    void begin(SQLite::Database& database);
    void appendDays(std::string& csv, SQLite::Database& database, Day last) const;

    ReportFilter m_rest; ///< what has not been written yet
    int m_days = 1;      ///< how many to look at next
    std::shared_ptr<const class Billable> m_isBillable;
};

/// A cell of comma-separated values. Anything a spreadsheet would take for a formula gets an apostrophe in front: also
/// after characters it skips, and within the text where one with another separator would see a cell begin.
std::string csvCell(std::string_view text);

} // namespace localservice
