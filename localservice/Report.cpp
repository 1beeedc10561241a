#include "Report.h"

#include "NameText.h"
#include "People.h"
#include "Storage.h"

#include <algorithm>
#include <array>
#include <cstdio>
#include <set>
#include <unordered_map>

namespace localservice {

/// Which combinations of project and task are billable. One no longer offered counts like its project.
class Billable
{
public:
    Billable(SQLite::Database& database, Id account)
    {
        SQLite::Statement projects(database, "SELECT id, billable FROM projects WHERE account_id = ?");
        projects.bind(1, account);
        while (projects.executeStep())
            m_projects[projects.getColumn(0).getInt64()] = projects.getColumn(1).getInt() != 0;
        SQLite::Statement offers(database, "SELECT project_id, task_id FROM task_assignments"
                                           " WHERE account_id = ? AND NOT billable");
        offers.bind(1, account);
        while (offers.executeStep())
            m_unbillable.emplace(offers.getColumn(0).getInt64(), offers.getColumn(1).getInt64());
    }

    bool operator()(Id project, Id task) const
    {
        const auto found = m_projects.find(project);
        return found != m_projects.end() && found->second && !m_unbillable.contains({project, task});
    }

private:
    std::unordered_map<Id, bool> m_projects;
    std::set<std::pair<Id, Id>> m_unbillable;
};

namespace {

constexpr std::size_t PieceOfFile = std::size_t{64} * 1024;
constexpr int MostDaysOfPiece = 366;

/// A pattern for LIKE ESCAPE '\\' that finds the text anywhere.
std::string anywhere(std::string_view text)
{
    std::string pattern = "%";
    for (const char c : text) {
        if (c == '%' || c == '_' || c == '\\')
            pattern += '\\';
        pattern += c;
    }
    return pattern + "%";
}

/// What the filter leaves of the entries `e`, but for what is billable.
SQLite::Statement select(SQLite::Database& database, const std::string& what, const ReportFilter& filter,
                         const std::string& order = {})
{
    std::string sql = "SELECT " + what +
                      " WHERE e.person_id IN (SELECT id FROM people WHERE account_id = ?1"
                      " AND (?2 = 0 OR id = ?2)) AND e.spent_at BETWEEN ?3 AND ?4";
    const auto narrow = [&](bool wanted, const char* condition) { sql += wanted ? condition : ""; };
    narrow(filter.client != 0, " AND e.project_id IN (SELECT id FROM projects WHERE client_id = ?5)");
    narrow(filter.project != 0, " AND e.project_id = ?6");
    narrow(filter.task != 0, " AND e.task_id = ?7");
    // Always there, for all parameters to be.
    sql += filter.notes.empty() ? " AND ?8 = '%%'" : " AND e.notes LIKE ?8 ESCAPE '\\'";
    SQLite::Statement query(database, sql + order);
    SQLite::bind(query, filter.account, filter.person, isoDayText(filter.from), isoDayText(filter.to), filter.client,
                 filter.project, filter.task, anywhere(filter.notes));
    return query;
}

Seconds runOf(const SQLite::Column& timerStarted, Seconds now)
{
    return timerStarted.isNull() ? 0 : std::max<Seconds>(0, now - timerStarted.getInt64());
}

/// "2024-03-05" as 20240305: all that this needs of a day, 200,000 times.
int digitsIn(const char* day)
{
    int digits = 0;
    for (; *day; ++day)
        digits = *day == '-' ? digits : digits * 10 + (*day - '0');
    return digits;
}

void sortBySize(std::vector<ReportLine>& lines)
{
    std::stable_sort(lines.begin(), lines.end(), [](const auto& left, const auto& right) {
        return left.amount.all != right.amount.all ? left.amount.all > right.amount.all : left.name < right.name;
    });
}

std::string clock(const SQLite::Column& minutes)
{
    if (minutes.isNull())
        return {};
    std::array<char, 24> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d", minutes.getInt() / 60 % 24, minutes.getInt() % 60);
    return text.data();
}

/// Plain, full-width and small: each of them begins a formula in some spreadsheet.
bool beginsFormula(char32_t c)
{
    constexpr std::u32string_view signs = U"=+-@\uFF1D\uFF0B\uFF0D\uFF20\uFE66\uFE62\uFE63\uFE6B";
    return signs.find(c) != std::u32string_view::npos;
}

/// Whether a hyphen and what follows it is a list item in someone's notes, with nothing in it that could be a call.
bool isListItem(char32_t sign, std::string_view rest)
{
    const auto line = rest.substr(0, rest.find_first_of("\r\n;\t"));
    // The lead byte of all full-width characters.
    return sign == '-' && line.starts_with(' ') && line.find_first_of("=+@(|!") == std::string_view::npos &&
           line.find('\xEF') == std::string_view::npos;
}

} // namespace

Amount& Amount::operator+=(const Amount& other)
{
    all += other.all;
    billable += other.billable;
    return *this;
}

Report Report::of(SQLite::Database& database, const ReportFilter& filter)
{
    struct Work
    {
        bool isBillable = false;
        Amount amount = {};
    };
    struct Hash
    {
        std::size_t operator()(const std::pair<Id, Id>& key) const
        {
            return std::hash<Id>()(key.first * 0x9E3779B1 + key.second);
        }
    };
    Report report;
    const Billable isBillable(database, filter.account);
    std::unordered_map<std::pair<Id, Id>, Work, Hash> work; ///< by project and task
    std::unordered_map<int, Amount> days;                   ///< by their digits
    std::unordered_map<Id, Amount> people;
    // Summed up here: the database would first sort all entries. Notes are in no index: to read all entries in turn
    // takes less time than to look up each.
    auto query = select(database,
                        "e.person_id, e.spent_at, e.project_id, e.task_id, e.seconds, e.timer_started FROM entries e" +
                            std::string(filter.notes.empty() ? "" : " NOT INDEXED"),
                        filter);
    int dayDigits = 0;
    Amount* day = nullptr;
    Id personId = 0;
    Amount* person = nullptr;
    while (query.executeStep()) {
        const std::pair booked{query.getColumn(2).getInt64(), query.getColumn(3).getInt64()};
        auto [found, isNew] = work.try_emplace(booked);
        if (isNew)
            found->second.isBillable = isBillable(booked.first, booked.second);
        if (filter.billable && *filter.billable != found->second.isBillable)
            continue;
        const auto timer = query.getColumn(5);
        const Seconds run = runOf(timer, filter.now);
        Amount amount{query.getColumn(4).getInt64() + run, 0};
        amount.billable = found->second.isBillable ? amount.all : 0;
        report.runningTimers += timer.isNull() ? 0 : 1;
        report.running += run;
        report.total += amount;
        found->second.amount += amount;
        // They mostly come person by person and in order of days.
        if (const Id id = query.getColumn(0).getInt64(); !person || personId != id) {
            personId = id;
            person = &people[id];
        }
        *person += amount;
        if (const int digits = digitsIn(query.getColumn(1).getText()); !day || dayDigits != digits) {
            dayDigits = digits;
            day = &days[digits];
        }
        *day += amount;
    }
    using namespace std::chrono;
    for (const auto& [digits, amount] : days) {
        if (amount.all > 0)
            report.days[year(digits / 10000) / (digits / 100 % 100) / (digits % 100)] = amount;
    }

    std::unordered_map<Id, Amount> projects;
    std::unordered_map<Id, Amount> tasks;
    for (const auto& [booked, done] : work) {
        projects[booked.first] += done.amount;
        tasks[booked.second] += done.amount;
    }
    const auto lines = [&](const char* sql, const std::unordered_map<Id, Amount>& amounts,
                           std::vector<ReportLine>& to) {
        SQLite::Statement names(database, sql);
        names.bind(1, filter.account);
        while (names.executeStep()) {
            const auto found = amounts.find(names.getColumn(0).getInt64());
            if (found == amounts.end() || found->second.all == 0)
                continue;
            to.push_back({found->first, names.getColumn(1).getString(), names.getColumn(2).getString(),
                          names.getColumn(3).getString(), found->second});
        }
        sortBySize(to);
    };
    lines("SELECT p.id, p.name, c.name, p.code FROM projects p JOIN clients c ON c.id = p.client_id"
          " WHERE p.account_id = ?",
          projects, report.projects);
    std::unordered_map<Id, Amount> clients;
    SQLite::Statement owners(database, "SELECT id, client_id FROM projects WHERE account_id = ?");
    owners.bind(1, filter.account);
    while (owners.executeStep()) {
        if (const auto found = projects.find(owners.getColumn(0).getInt64()); found != projects.end())
            clients[owners.getColumn(1).getInt64()] += found->second;
    }
    lines("SELECT id, name, '', '' FROM clients WHERE account_id = ?", clients, report.clients);
    lines("SELECT id, name, '', '' FROM tasks WHERE account_id = ?", tasks, report.tasks);
    lines("SELECT id, CASE WHEN TRIM(first_name || last_name) = '' THEN email"
          " ELSE TRIM(first_name || ' ' || last_name) END, '', '' FROM people WHERE account_id = ?",
          people, report.people);
    return report;
}

std::string csvCell(std::string_view text)
{
    std::string cell;
    std::size_t start = 0; ///< where in the cell some spreadsheet may see one begin
    bool isAtStart = true; ///< nothing that it would look at has come since then
    while (const auto next = nextCharacter(text)) {
        const char32_t c = next->code;
        const bool outside = c == '\t' || c == '\r' || c == '\n';
        if (isAtStart && ((beginsFormula(c) && !(start > 0 && isListItem(c, text))) || (outside && cell.empty()))) {
            cell.insert(start, 1, '\'');
            isAtStart = false;
        }
        cell += next->bytes;
        if (c == '"')
            cell += '"';
        // A spreadsheet that separates by semicolons, as many countries do, sees our lines as one cell each and takes
        // our quotation marks for text: there, these begin a new one.
        if (outside || c == ';') {
            isAtStart = true;
            start = cell.size();
        } else {
            isAtStart = isAtStart && (isBlank(c) || isInvisible(c) || isControl(c));
        }
    }
    return cell.find_first_of(",\"\r\n\t") == std::string::npos ? cell : '"' + cell + '"';
}

CsvFile::CsvFile(ReportFilter filter) : m_rest(std::move(filter)) {}

/// No day before the first entry and after the last is looked at.
void CsvFile::begin(SQLite::Database& database)
{
    m_isBillable = std::make_shared<const Billable>(database, m_rest.account);
    auto query = select(database, "MIN(e.spent_at), MAX(e.spent_at) FROM entries e", m_rest);
    query.executeStep();
    m_rest.from = readDay(query.getColumn(0).getString()).value_or(plus(m_rest.to, 1));
    m_rest.to = readDay(query.getColumn(1).getString()).value_or(m_rest.to);
}

std::string CsvFile::next(SQLite::Database& database)
{
    std::string csv;
    if (!m_isBillable) {
        csv = "\xEF\xBB\xBF"
              "Date,Client,Project,Code,Task,Person,Notes,Hours,Hours and Minutes,Billable,Start,End\r\n";
        begin(database);
    }
    while (!isAtEnd() && csv.size() < PieceOfFile) {
        const Day last = std::min(plus(m_rest.from, m_days - 1), m_rest.to);
        const auto before = csv.size();
        appendDays(csv, database, last);
        m_rest.from = plus(last, 1);
        const auto size = csv.size() - before;
        m_days = std::clamp(size < PieceOfFile / 4 ? m_days * 2
                            : size > PieceOfFile   ? m_days / 2
                                                   : m_days,
                            1, MostDaysOfPiece);
    }
    return csv;
}

void CsvFile::appendDays(std::string& csv, SQLite::Database& database, Day last) const
{
    auto some = m_rest;
    some.to = last;
    auto query = select(database,
                        "e.spent_at, c.name, p.name, p.code, t.name, o.first_name, o.last_name, o.email, e.notes,"
                        " e.seconds, e.timer_started, e.project_id, e.task_id, e.started_at, e.ended_at"
                        " FROM entries e JOIN projects p ON p.id = e.project_id JOIN clients c ON c.id = p.client_id"
                        " JOIN tasks t ON t.id = e.task_id JOIN people o ON o.id = e.person_id",
                        some, " ORDER BY e.spent_at, e.person_id, e.id");
    while (query.executeStep()) {
        const bool billable = (*m_isBillable)(query.getColumn(11).getInt64(), query.getColumn(12).getInt64());
        if (m_rest.billable && *m_rest.billable != billable)
            continue;
        const auto text = [&](int column) { return query.getColumn(column).getString(); };
        const Seconds time = query.getColumn(9).getInt64() + runOf(query.getColumn(10), m_rest.now);
        csv += text(0);
        for (const int column : {1, 2, 3, 4})
            (csv += ',') += csvCell(text(column));
        for (const auto& cell : {fullName(text(5), text(6), text(7)), text(8)})
            (csv += ',') += csvCell(cell);
        ((csv += ',') += hoursText(time)) += ',';
        ((csv += hoursMinutes(time)) += ',') += billable ? "yes" : "no";
        ((csv += ',') += clock(query.getColumn(13))) += ',';
        (csv += clock(query.getColumn(14))) += "\r\n";
    }
}

} // namespace localservice
