#pragma once

#include "Database.h"

#include <string>
#include <string_view>

namespace SQLite {
class Database;
}

namespace localservice {

/// A person's entries as an iCalendar file (RFC 5545): those with start and end as events in UTC, the others as events
/// of a whole day with their hours in the title. It is made in pieces.
class CalendarFile final
{
public:
    /// `origin` makes the events' identifiers unique: a name of the service.
    CalendarFile(Id person, std::string origin, Seconds now);

    /// The next piece.
    std::string next(SQLite::Database& database);
    bool isAtEnd() const { return m_isAtEnd; }

private:
    const Id m_person;
    const std::string m_origin;
    const Seconds m_now;
    Id m_last = 0;
    bool m_isAtEnd = false;
};

/// A line as the format wants it: ended, and folded after at most 75 bytes, but never within a character.
std::string calendarLine(std::string_view name, std::string_view value);
/// Text as a value: backslashes, semicolons, commas and line breaks are escaped.
std::string calendarText(std::string_view text);

} // namespace localservice
