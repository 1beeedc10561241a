#include "Sheet.h"

#include "Catalog.h"
#include "EntryFields.h"
#include "Escaping.h"
#include "LineCounter.h"
#include "NameText.h"
#include "SheetValues.h"

#include <algorithm>
#include <cstring>
#include <libxml/xmlreader.h>
#include <memory>
#include <nlohmann/json.hpp>
#include <set>

namespace localservice {

namespace {

using Take = std::function<void(const SheetLine&)>;
using Read = tl::expected<void, LineRemark>;

constexpr std::size_t LongestCell = 100'000;
constexpr std::size_t Samples = 50;
constexpr std::string_view OwnHeadings =
    "Date,Client,Project,Code,Task,Person,Notes,Hours,Hours and Minutes,Billable,Start,End";

tl::unexpected<LineRemark> refused(std::size_t line, std::string why)
{
    return tl::unexpected(LineRemark{line, std::move(why)});
}

// Comma-separated values

/// Lines as RFC 4180 has them, with any separator and any line ends. `take` returns false to stop.
Read readCsv(std::string_view file, char separator, const std::function<bool(const SheetLine&)>& take)
{
    std::size_t line = 1;
    std::size_t lines = 0;
    std::size_t at = 0;
    SheetLine current;
    while (at < file.size()) {
        current.number = line;
        current.cells.clear();
        for (bool isMore = true; isMore;) {
            std::string cell;
            if (at < file.size() && file[at] == '"') {
                const std::size_t begin = line;
                ++at;
                for (bool isQuoted = true; isQuoted; ++at) {
                    if (at >= file.size())
                        return refused(begin, "a quotation mark is never closed");
                    line += file[at] == '\n' ? 1 : 0;
                    if (file[at] != '"')
                        cell += file[at];
                    else if (at + 1 < file.size() && file[at + 1] == '"')
                        cell += file[++at];
                    else
                        isQuoted = false;
                }
                if (at < file.size() && file[at] != separator && file[at] != '\n' && file[at] != '\r')
                    return refused(line, "there is more after a closing quotation mark");
            } else {
                const char ends[] = {separator, '\n', '\r', '\0'};
                const auto end = std::min(file.find_first_of(ends, at), file.size());
                cell = file.substr(at, end - at);
                at = end;
            }
            if (cell.size() > LongestCell)
                return refused(current.number, "a cell is too long");
            current.cells.push_back(std::move(cell));
            if (current.cells.size() > Sheet::MostColumns)
                return refused(current.number, "there are too many columns");
            isMore = at < file.size() && file[at] == separator;
            at += isMore ? 1 : 0;
        }
        if (at < file.size() && file[at] == '\r')
            ++at;
        if (at < file.size() && file[at] == '\n')
            ++at;
        ++line;
        if (current.cells.size() == 1 && current.cells[0].find_first_not_of(" \t") == std::string::npos)
            continue;
        if (++lines > Sheet::MostLines)
            return refused(current.number, "there are too many lines");
        if (!take(current))
            return {};
    }
    return {};
}

/// The separator that cuts the first lines into the most columns, alike in all of them.
char separatorOf(std::string_view file)
{
    char best = ',';
    std::size_t most = 1;
    for (const char separator : {',', ';', '\t'}) {
        std::size_t fewest = Sheet::MostColumns;
        std::size_t lines = 0;
        const auto read = readCsv(file, separator, [&](const SheetLine& line) {
            fewest = std::min(fewest, line.cells.size());
            return ++lines < 20;
        });
        if (read && lines > 0 && fewest > most) {
            best = separator;
            most = fewest;
        }
    }
    return best;
}

// Hamster's XML

struct FreeReader
{
    void operator()(xmlTextReader* reader) const { xmlFreeTextReader(reader); }
};

const std::vector<std::string> HamsterColumns{"activity",   "category", "description",     "tags",
                                              "start_time", "end_time", "duration_minutes"};

Read readHamster(std::string_view file, const Take& take)
{
    // Without a document type there are no entities but the five of XML itself.
    const auto doctype = file.find("<!DOCTYPE");
    if (doctype != std::string_view::npos)
        return refused(1 + static_cast<std::size_t>(
                               std::count(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(doctype), '\n')),
                       "a document type is not accepted");
    const std::unique_ptr<xmlTextReader, FreeReader> reader(
        xmlReaderForMemory(file.data(), static_cast<int>(file.size()), nullptr, "UTF-8",
                           XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING));
    const auto line = [&] {
        return static_cast<std::size_t>(std::max(1, xmlTextReaderGetParserLineNumber(reader.get())));
    };
    std::size_t lines = 0;
    int result = 1;
    while (reader && (result = xmlTextReaderRead(reader.get())) == 1) {
        if (xmlTextReaderDepth(reader.get()) > 3)
            return refused(line(), "this is nested too deeply");
        if (xmlTextReaderNodeType(reader.get()) != XML_READER_TYPE_ELEMENT ||
            std::strcmp(reinterpret_cast<const char*>(xmlTextReaderConstLocalName(reader.get())), "activity") != 0)
            continue;
        if (++lines > Sheet::MostLines)
            return refused(line(), "there are too many lines");
        SheetLine current{line(), {}};
        for (const auto& column : HamsterColumns) {
            const std::string name = column == "activity" ? "name" : column;
            xmlChar* value = xmlTextReaderGetAttribute(reader.get(), reinterpret_cast<const xmlChar*>(name.c_str()));
            current.cells.emplace_back(value ? reinterpret_cast<const char*>(value) : "");
            xmlFree(value);
            if (current.cells.back().size() > LongestCell)
                return refused(line(), "a text is too long");
        }
        take(current);
    }
    if (!reader || result != 0)
        return refused(reader ? line() : 1, "this is not XML");
    return {};
}

// The JSON of timewarrior

const std::vector<std::string> TimewarriorColumns{"start",      "end",        "first tag",
                                                  "second tag", "other tags", "annotation"};

/// A list of records whose only list is that of their tags.
class TimewarriorReader final : public nlohmann::json_sax<nlohmann::json>
{
public:
    TimewarriorReader(const std::size_t& line, const Take& take) : m_line(line), m_take(take) {}

    bool null() override { return true; }
    bool boolean(bool) override { return true; }
    bool number_integer(std::int64_t) override { return true; }
    bool number_unsigned(std::uint64_t) override { return true; }
    bool number_float(double, const std::string&) override { return true; }
    bool string(std::string& value) override
    {
        if (value.size() > LongestCell)
            return refuse("a text is too long");
        if (m_depth == 3 && m_key == "tags") {
            auto& cell = m_current.cells[static_cast<std::size_t>(std::min(m_tags++, 2)) + 2];
            cell += (cell.empty() ? "" : ", ") + value;
        } else if (m_depth == 2) {
            const auto column = std::find(TimewarriorColumns.begin(), TimewarriorColumns.end(), m_key);
            if (column != TimewarriorColumns.end())
                m_current.cells[static_cast<std::size_t>(column - TimewarriorColumns.begin())] = std::move(value);
        }
        return true;
    }
    bool binary(nlohmann::json::binary_t&) override { return false; }
    bool start_object(std::size_t) override
    {
        m_current = {m_line, std::vector<std::string>(TimewarriorColumns.size())};
        m_tags = 0;
        return ++m_depth == 2 || refuse("there is a record where none can be");
    }
    bool end_object() override
    {
        --m_depth;
        if (++m_lines > Sheet::MostLines)
            return refuse("there are too many lines");
        m_take(m_current);
        return true;
    }
    bool start_array(std::size_t) override
    {
        ++m_depth;
        return m_depth == 1 || (m_depth == 3 && m_key == "tags") || refuse("there is a list where none can be");
    }
    bool end_array() override
    {
        --m_depth;
        return true;
    }
    bool key(std::string& value) override
    {
        m_key = value;
        return true;
    }
    bool parse_error(std::size_t, const std::string&, const nlohmann::detail::exception&) override
    {
        return refuse("this is not JSON");
    }

    Read end() const
    {
        if (m_problem)
            return tl::unexpected(*m_problem);
        return {};
    }

private:
    bool refuse(std::string why)
    {
        if (!m_problem)
            m_problem = LineRemark{m_line, std::move(why)};
        return false;
    }

    const std::size_t& m_line;
    const Take& m_take;
    SheetLine m_current;
    std::string m_key;
    int m_depth = 0;
    int m_tags = 0;
    std::size_t m_lines = 0;
    std::optional<LineRemark> m_problem;
};

Read readTimewarrior(std::string_view file, const Take& take)
{
    std::size_t line = 1;
    TimewarriorReader reader(line, take);
    nlohmann::json::sax_parse(LineCounter(file.data(), line), LineCounter(file.data() + file.size(), line), &reader);
    return reader.end();
}

// What columns mean

struct Heading
{
    Role role;
    std::string_view words; ///< each between blanks
};

constexpr std::array Headings{
    Heading{Role::Day, "|date|day|start date|datum|tag|fecha|"},
    Heading{Role::Start, "|start|start time|start_time|started|from|begin|beginning|von|beginn|"},
    Heading{Role::End, "|end|end time|end_time|ended|to|until|stop|bis|ende|"},
    Heading{Role::Hours,
            "|hours|duration|time|duration (h)|duration (decimal)|time (h)|time (decimal)|stunden|dauer|zeit|"},
    Heading{Role::Minutes, "|minutes|duration_minutes|minuten|"},
    Heading{Role::Client, "|client|customer|kunde|"},
    Heading{Role::Project, "|project|projekt|category|first tag|"},
    Heading{Role::Code, "|code|project code|projektcode|"},
    Heading{Role::Task, "|task|activity|service|second tag|aufgabe|t\u00e4tigkeit|"},
    Heading{Role::Notes, "|notes|note|description|comment|annotation|beschreibung|notiz|notizen|bemerkung|kommentar|"},
    Heading{Role::Tags, "|tags|labels|other tags|"},
    Heading{Role::Person, "|person|user|employee|mitarbeiter|"},
    Heading{Role::Billable, "|billable|billable?|abrechenbar|"},
};

Role roleOf(std::string heading)
{
    heading = nameText(heading);
    for (char& c : heading)
        c = c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c;
    for (const auto& known : Headings) {
        if (!heading.empty() && known.words.find("|" + heading + "|") != std::string_view::npos)
            return known.role;
    }
    return Role::None;
}

/// Whether nearly all that is in a column of the samples is of a kind.
bool isColumnOf(const Sheet& sheet, std::size_t column, const std::function<bool(const std::string&)>& isKind)
{
    std::size_t filled = 0;
    std::size_t fitting = 0;
    for (const auto& cells : sheet.samples) {
        if (column >= cells.size() || cells[column].empty())
            continue;
        ++filled;
        fitting += isKind(cells[column]) ? 1 : 0;
    }
    return filled > 0 && fitting * 10 >= filled * 9;
}

/// By the first numbers of all dates: one above twelve is no month.
void guessOrder(std::string_view file, const Sheet& sheet, Meaning& meaning)
{
    std::optional<std::size_t> column;
    for (const Role role : {Role::Day, Role::Start}) {
        const auto found = std::find(meaning.roles.begin(), meaning.roles.end(), role);
        if (!column && found != meaning.roles.end())
            column = static_cast<std::size_t>(found - meaning.roles.begin());
    }
    bool isDayFirst = false;
    bool isMonthFirst = false;
    bool isYearFirst = false;
    bool hasPoints = false;
    const auto read = readLines(file, sheet, [&](const SheetLine& line) {
        const auto numbers = column && *column < line.cells.size() ? dateNumbers(line.cells[*column]) : std::nullopt;
        if (!numbers)
            return;
        isYearFirst = isYearFirst || numbers->first > 31;
        isDayFirst = isDayFirst || (numbers->first > 12 && numbers->first <= 31);
        isMonthFirst = isMonthFirst || (numbers->first <= 12 && numbers->second > 12);
        hasPoints = hasPoints || numbers->separator == '.';
    });
    meaning.isOrderSure = !read || isYearFirst || isDayFirst != isMonthFirst || hasPoints || !column;
    meaning.order = isYearFirst                                 ? DateOrder::YearFirst
                    : isMonthFirst && !isDayFirst && !hasPoints ? DateOrder::MonthFirst
                                                                : DateOrder::DayFirst;
}

} // namespace

std::string utf8Of(std::string_view file)
{
    const auto append = [](std::string& text, char32_t c) {
        if (c < 0x80) {
            text += static_cast<char>(c);
        } else if (c < 0x800) {
            text += static_cast<char>(0xC0U | (c >> 6U));
            text += static_cast<char>(0x80U | (c & 0x3FU));
        } else if (c < 0x10000) {
            text += static_cast<char>(0xE0U | (c >> 12U));
            text += static_cast<char>(0x80U | ((c >> 6U) & 0x3FU));
            text += static_cast<char>(0x80U | (c & 0x3FU));
        } else {
            text += static_cast<char>(0xF0U | (c >> 18U));
            text += static_cast<char>(0x80U | ((c >> 12U) & 0x3FU));
            text += static_cast<char>(0x80U | ((c >> 6U) & 0x3FU));
            text += static_cast<char>(0x80U | (c & 0x3FU));
        }
    };
    std::string text;
    const bool isLittle = file.starts_with("\xFF\xFE");
    if (isLittle || file.starts_with("\xFE\xFF")) {
        const auto unit = [&](std::size_t at) {
            const auto one = static_cast<unsigned char>(file[at]);
            const auto other = static_cast<unsigned char>(file[at + 1]);
            return isLittle ? static_cast<char32_t>(one | other << 8U) : static_cast<char32_t>(one << 8U | other);
        };
        for (std::size_t at = 2; at + 1 < file.size(); at += 2) {
            char32_t c = unit(at);
            if (c >= 0xD800 && c < 0xDC00 && at + 3 < file.size()) {
                at += 2;
                c = 0x10000 + ((c - 0xD800) << 10U) + (unit(at) & 0x3FFU);
            }
            append(text, c);
        }
        return text;
    }
    if (file.starts_with("\xEF\xBB\xBF"))
        file.remove_prefix(3);
    bool isUtf8 = true;
    for (auto rest = file; isUtf8 && !rest.empty();) {
        const auto lead = static_cast<unsigned char>(rest.front());
        const auto length = lead < 0x80 ? 1 : characterLength(rest);
        isUtf8 = length > 0;
        rest.remove_prefix(isUtf8 ? length : 0);
    }
    if (isUtf8)
        return std::string(file);
    // What Windows-1252 has where Latin-1 has control characters.
    constexpr std::u32string_view upper =
        U"\u20AC\u0081\u201A\u0192\u201E\u2026\u2020\u2021\u02C6\u2030\u0160\u2039\u0152"
        U"\u008D\u017D\u008F\u0090\u2018\u2019\u201C\u201D\u2022\u2013\u2014\u02DC\u2122"
        U"\u0161\u203A\u0153\u009D\u017E\u0178";
    for (const char byte : file) {
        const auto c = static_cast<unsigned char>(byte);
        append(text, c >= 0x80 && c < 0xA0 ? upper[c - 0x80U] : c);
    }
    return text;
}

tl::expected<Sheet, LineRemark> recognise(std::string_view file)
{
    if (const auto zero = file.find('\0'); zero != std::string_view::npos)
        return refused(1 + static_cast<std::size_t>(
                               std::count(file.begin(), file.begin() + static_cast<std::ptrdiff_t>(zero), '\n')),
                       "this is no text");
    const auto first = file.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return refused(1, "the file is empty");
    Sheet sheet;
    if (file[first] == '<') {
        sheet.kind = Sheet::Kind::Hamster;
        sheet.columns = HamsterColumns;
        sheet.hasHeadings = false;
    } else if (file[first] == '[') {
        sheet.kind = Sheet::Kind::Timewarrior;
        sheet.columns = TimewarriorColumns;
        sheet.hasHeadings = false;
    } else if (file[first] == '{') {
        return refused(1, "this JSON is neither from Quillon nor from “timew export”");
    } else {
        sheet.kind = file.starts_with(OwnHeadings) ? Sheet::Kind::OwnCsv : Sheet::Kind::Csv;
        sheet.separator = sheet.kind == Sheet::Kind::OwnCsv ? ',' : separatorOf(file);
        SheetLine head;
        const auto read = readCsv(file, sheet.separator, [&](const SheetLine& line) {
            head = line;
            return false;
        });
        if (!read)
            return tl::unexpected(read.error());
        const auto isValue = [](const std::string& cell) {
            return readWhen(cell, DateOrder::DayFirst).has_value() || readDuration(cell).has_value();
        };
        sheet.hasHeadings = std::none_of(head.cells.begin(), head.cells.end(), isValue);
        for (std::size_t i = 0; i < head.cells.size(); ++i) {
            const auto name = sheet.hasHeadings ? nameText(head.cells[i]) : std::string();
            sheet.columns.push_back(name.empty() ? "Column " + std::to_string(i + 1) : name);
        }
    }
    // All of it is looked at once: what is broken further down is refused now.
    auto read = readLines(file, sheet, [&](const SheetLine& line) {
        if (sheet.samples.size() < Samples)
            sheet.samples.push_back(line.cells);
    });
    if (!read)
        return tl::unexpected(read.error());
    if (sheet.samples.empty())
        return refused(0, "there are no entries in it");
    return sheet;
}

Read readLines(std::string_view file, const Sheet& sheet, const Take& take)
{
    if (sheet.kind == Sheet::Kind::Hamster)
        return readHamster(file, take);
    if (sheet.kind == Sheet::Kind::Timewarrior)
        return readTimewarrior(file, take);
    bool isHeading = sheet.hasHeadings;
    return readCsv(file, sheet.separator, [&](const SheetLine& line) {
        if (!std::exchange(isHeading, false))
            take(line);
        return true;
    });
}

Meaning guess(std::string_view file, const Sheet& sheet)
{
    Meaning meaning;
    std::set<Role> used;
    for (const auto& column : sheet.columns) {
        Role role = roleOf(column);
        if (role != Role::None && role != Role::Notes && !used.insert(role).second)
            role = Role::None;
        meaning.roles.push_back(role);
    }
    const auto assign = [&](Role role, const std::function<bool(const std::string&)>& isKind) {
        for (std::size_t i = 0; i < sheet.columns.size(); ++i) {
            if (meaning.roles[i] == Role::None && isColumnOf(sheet, i, isKind)) {
                meaning.roles[i] = role;
                return;
            }
        }
    };
    const bool isTold = sheet.kind != Sheet::Kind::Csv;
    if (!isTold && !used.contains(Role::Day) && !used.contains(Role::Start))
        assign(Role::Day, [](const std::string& cell) {
            return readWhen(cell, DateOrder::DayFirst).has_value() || readWhen(cell, DateOrder::MonthFirst).has_value();
        });
    if (!isTold && !used.contains(Role::Hours) && !used.contains(Role::Minutes) && !used.contains(Role::End))
        assign(Role::Hours, [](const std::string& cell) { return readDuration(cell).has_value(); });
    guessOrder(file, sheet, meaning);
    return meaning;
}

namespace {

/// Makes entries of lines.
class LineReader
{
public:
    LineReader(const Sheet& sheet, const Meaning& meaning, bool keepsTimes)
        : m_sheet(sheet), m_meaning(meaning), m_keepsTimes(keepsTimes)
    {
        m_result.homeless = nameText(meaning.client).empty() ? Meaning().client : nameText(meaning.client);
    }

    void take(const SheetLine& line)
    {
        m_line = &line;
        Incoming::Entry entry;
        std::string wrong = setTime(entry);
        const auto name = [&](Role role, const std::string& instead, std::size_t longest = Catalog::LongestName) {
            auto text = nameText(value(role));
            if (characterCount(text) > longest && wrong.empty())
                wrong = "a name is too long";
            return text.empty() ? nameText(instead) : text;
        };
        const auto client = name(Role::Client, "");
        const auto project = name(Role::Project, m_meaning.project);
        const auto code = name(Role::Code, "", Catalog::LongestCode);
        const auto task = name(Role::Task, m_meaning.task);
        if (wrong.empty() && (project.empty() || task.empty()))
            wrong = project.empty() ? "there is no project" : "there is no task";
        const auto billable = readYesOrNo(value(Role::Billable));
        if (wrong.empty() && !value(Role::Billable).empty() && !billable)
            wrong = "“" + value(Role::Billable) + "” is neither yes nor no";
        if (!wrong.empty()) {
            m_result.unreadable.push_back({line.number, wrong});
            return;
        }
        entry.notes = notes();
        entry.project = projectOf(client, project, code, billable.value_or(true));
        entry.task = add(m_tasks, task, m_result.tasks, {task});
        if (const auto person = nameText(value(Role::Person)); !person.empty())
            entry.person = personOf(person);
        offer(entry, billable);
        m_result.entries.push_back(std::move(entry));
    }

    Incoming end() { return std::move(m_result); }

private:
    /// The text in the column of that role; of our own files without the apostrophe that keeps spreadsheets off it.
    std::string value(Role role) const
    {
        for (std::size_t i = 0; i < m_meaning.roles.size() && i < m_line->cells.size(); ++i) {
            if (m_meaning.roles[i] == role)
                return cell(i);
        }
        return {};
    }

    std::string cell(std::size_t column) const
    {
        const auto& text = m_line->cells[column];
        return m_sheet.kind == Sheet::Kind::OwnCsv ? withoutApostrophes(text) : text;
    }

    std::string notes() const
    {
        std::string result;
        for (const Role role : {Role::Notes, Role::Tags}) {
            for (std::size_t i = 0; i < m_meaning.roles.size() && i < m_line->cells.size(); ++i) {
                if (m_meaning.roles[i] != role || m_line->cells[i].empty())
                    continue;
                const std::string whole = cell(i);
                std::string text;
                for (std::string_view rest = whole; const auto next = nextCharacter(rest);)
                    text += next->code == '\r' ? std::string_view() : next->bytes;
                result += (result.empty() || text.empty() ? "" : "\n") + text;
            }
        }
        return result;
    }

    /// Day and time; why they cannot be read, if so.
    std::string setTime(Incoming::Entry& entry)
    {
        const auto dayText = value(Role::Day);
        const auto startText = value(Role::Start);
        const auto endText = value(Role::End);
        const auto day = readWhen(dayText, m_meaning.order);
        const auto start = readWhen(startText, m_meaning.order);
        const auto end = readWhen(endText, m_meaning.order);
        if (!dayText.empty() && !day)
            return "“" + dayText + "” is no date";
        if (!day && !start)
            return startText.empty() ? "there is no date" : "“" + startText + "” is no date";
        entry.day = day ? day->day : start->day;
        const auto began = start ? start->clock : readClockTime(startText);
        const auto ended = end ? end->clock : readClockTime(endText);
        if ((!startText.empty() && !start && !began) || (!endText.empty() && !end && !ended))
            return "“" + (!startText.empty() && !start && !began ? startText : endText) + "” is no time";
        const auto hoursText = value(Role::Hours);
        const auto minutesText = value(Role::Minutes);
        if (!hoursText.empty() || !minutesText.empty()) {
            const auto time = hoursText.empty() ? readMinutes(minutesText) : readDuration(hoursText);
            if (!time)
                return "“" + (hoursText.empty() ? minutesText : hoursText) + "” is no duration";
            entry.seconds = *time;
        } else if (began && ended) {
            const auto days = start && end
                                  ? (std::chrono::sys_days(end->day) - std::chrono::sys_days(start->day)).count()
                                  : (*ended < *began ? 1 : 0);
            entry.seconds = start && start->moment && end && end->moment ? *end->moment - *start->moment
                                                                         : *ended - *began + Seconds{86400} * days;
        } else {
            return began && endText.empty() ? "it has not ended" : "there is neither a duration nor start and end";
        }
        if (entry.seconds < 0)
            return "it ends before it starts";
        if (entry.seconds > Seconds{24} * 3600)
            return "it has more than 24 hours";
        if (m_keepsTimes && began && ended) {
            entry.startedAt = static_cast<Minutes>(*began / 60);
            entry.endedAt = static_cast<Minutes>(*ended / 60);
        }
        if (entry.seconds == 0)
            doubt("it has no time");
        if (entry.day.year() < std::chrono::year(1990) || entry.day.year() > std::chrono::year(2100))
            doubt("it is in the year " + std::to_string(static_cast<int>(entry.day.year())));
        return {};
    }

    void doubt(std::string text) { m_result.doubts.push_back({m_line->number, std::move(text)}); }

    template <typename Thing>
    static std::size_t add(std::unordered_map<std::string, std::size_t>& places, const std::string& key,
                           std::vector<Thing>& things, Thing thing)
    {
        const auto [found, isNew] = places.try_emplace(key, things.size());
        if (isNew)
            things.push_back(std::move(thing));
        return found->second;
    }

    std::size_t projectOf(const std::string& client, const std::string& name, const std::string& code, bool billable)
    {
        const std::size_t owner = client.empty() ? Incoming::None : add(m_clients, client, m_result.clients, {client});
        return add(m_projects, client + '\n' + name + '\n' + code, m_result.projects,
                   Incoming::Project{.client = owner, .name = name, .code = code, .billable = billable});
    }

    std::size_t personOf(const std::string& name)
    {
        // One who is not here is not made from a line of a file.
        return add(m_people, name, m_result.people, Incoming::Person{.email = "", .firstName = name});
    }

    void offer(const Incoming::Entry& entry, std::optional<bool> billable)
    {
        auto& project = m_result.projects[entry.project];
        project.billable = project.billable || billable.value_or(true);
        const auto [found, isNew] = m_offers.try_emplace({entry.project, entry.task}, m_result.offers.size());
        if (isNew)
            m_result.offers.push_back({entry.project, entry.task, billable.value_or(true)});
        else if (billable && m_result.offers[found->second].billable != *billable)
            doubt("the same task of the project is billable elsewhere in the file, and not here: it becomes billable");
        m_result.offers[found->second].billable = m_result.offers[found->second].billable || billable.value_or(false);
        if (m_assigned.emplace(entry.project, entry.person).second)
            m_result.assignments.push_back({entry.project, entry.person});
    }

    const Sheet& m_sheet;
    const Meaning& m_meaning;
    const bool m_keepsTimes;
    const SheetLine* m_line = nullptr;
    Incoming m_result;
    std::unordered_map<std::string, std::size_t> m_clients, m_projects, m_tasks, m_people;
    std::map<std::pair<std::size_t, std::size_t>, std::size_t> m_offers;
    std::set<std::pair<std::size_t, std::size_t>> m_assigned;
};

} // namespace

tl::expected<Incoming, LineRemark> readSheet(std::string_view file, const Sheet& sheet, const Meaning& meaning,
                                             bool keepsTimes)
{
    LineReader reader(sheet, meaning, keepsTimes);
    return readLines(file, sheet, [&](const SheetLine& line) { reader.take(line); }).map([&] { return reader.end(); });
}

} // namespace localservice
