#include "CalendarFile.h"

#include "NameText.h"
#include "Sql.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace localservice {

namespace {

constexpr int EntriesInPiece = 200;
constexpr std::size_t LongestLine = 75; // bytes, RFC 5545, section 3.1

std::string dateText(Day day)
{
    std::string text = isoDayText(day);
    std::erase(text, '-');
    return text;
}

std::string utcText(Seconds moment)
{
    const std::chrono::sys_seconds time{std::chrono::seconds(moment)};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::hh_mm_ss clock(time - day);
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "T%02d%02d%02dZ", static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return dateText(day) + text.data();
}

} // namespace

std::string calendarText(std::string_view text)
{
    std::string result;
    while (const auto next = nextCharacter(text)) {
        if (next->code == '\\' || next->code == ';' || next->code == ',')
            result += '\\';
        if (next->code == '\n')
            result += "\\n";
        else if (!isControl(next->code))
            result += next->bytes;
    }
    return result;
}

std::string calendarLine(std::string_view name, std::string_view value)
{
    const std::string line = std::string(name) + ':' + std::string(value);
    std::string result;
    std::size_t used = 0;
    for (std::string_view rest = line; !rest.empty();) {
        std::size_t length = 1;
        while (length < rest.size() && (static_cast<unsigned char>(rest[length]) & 0xC0U) == 0x80U)
            ++length;
        if (used + length > LongestLine) {
            result += "\r\n ";
            used = 1;
        }
        result += rest.substr(0, length);
        used += length;
        rest.remove_prefix(length);
    }
    return result + "\r\n";
}

CalendarFile::CalendarFile(Id person, std::string origin, Seconds now)
    : m_person(person), m_origin(std::move(origin)), m_now(now)
{
}

std::string CalendarFile::next(SQLite::Database& database)
{
    std::string piece;
    if (m_last == 0)
        piece = "BEGIN:VCALENDAR\r\nVERSION:2.0\r\nPRODID:-//Wrenfold//Quillon//EN\r\nCALSCALE:GREGORIAN\r\n";
    SQLite::Statement query(
        database, "SELECT e.id, e.spent_at, e.notes, e.seconds, e.timer_started, e.started_at, e.ended_at,"
                  " e.created_at, e.updated_at, p.code, p.name, c.name, t.name FROM entries e"
                  " JOIN projects p ON p.id = e.project_id JOIN clients c ON c.id = p.client_id"
                  " JOIN tasks t ON t.id = e.task_id WHERE e.person_id = ? AND e.id > ? ORDER BY e.id LIMIT " +
                      std::to_string(EntriesInPiece));
    SQLite::bind(query, m_person, m_last);
    int count = 0;
    for (; query.executeStep(); ++count) {
        const auto text = [&](int column) { return query.getColumn(column).getString(); };
        const auto moment = [&](int column) { return Seconds{query.getColumn(column).getInt64()}; };
        m_last = moment(0);
        const auto day = readDay(text(1));
        if (!day)
            continue;
        const bool runs = !query.getColumn(4).isNull();
        const Seconds time = moment(3) + (runs ? std::max<Seconds>(0, m_now - moment(4)) : 0);
        const bool isTimed = !runs && !query.getColumn(5).isNull() && !query.getColumn(6).isNull();
        const auto add = [&](std::string_view name, std::string_view value) { piece += calendarLine(name, value); };
        add("BEGIN", "VEVENT");
        add("UID", "entry-" + std::to_string(m_last) + "@" + m_origin);
        add("DTSTAMP", utcText(moment(8)));
        add("CREATED", utcText(moment(7)));
        add("LAST-MODIFIED", utcText(moment(8)));
        if (isTimed) {
            const Seconds start = momentOf(*day, static_cast<Minutes>(moment(5)));
            // One that ends before it starts went on past midnight.
            const Day lastDay = moment(6) < moment(5) ? Day(std::chrono::sys_days(*day) + std::chrono::days(1)) : *day;
            const Seconds end = momentOf(lastDay, static_cast<Minutes>(moment(6)));
            add("DTSTART", utcText(start));
            if (end > start)
                add("DTEND", utcText(end));
        } else {
            add("DTSTART;VALUE=DATE", dateText(*day));
        }
        add("SUMMARY",
            calendarText(projectText(text(9), text(10)) + ", " + text(12) + " (" + hoursMinutes(time) + ")"));
        if (!text(2).empty())
            add("DESCRIPTION", calendarText(text(2)));
        add("CATEGORIES", calendarText(text(11)));
        add("TRANSP", "TRANSPARENT");
        add("END", "VEVENT");
    }
    if (count < EntriesInPiece) {
        m_isAtEnd = true;
        piece += "END:VCALENDAR\r\n";
    }
    return piece;
}

} // namespace localservice
