#include "AccountFile.h"

#include "Catalog.h"
#include "LineCounter.h"
#include "NameText.h"
#include "People.h"
#include "Sql.h"

#include <array>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace localservice {

namespace {

constexpr std::string_view Format = "quillon-timesheet";
constexpr int Version = 1;
constexpr std::size_t PieceSize = 64UL * 1024;
constexpr Seconds LongestTime = 1'000'000'000;

std::string quoted(const std::string& text)
{
    return nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

/// "2024-03-05T08:15:40Z"
std::string utcText(Seconds moment)
{
    const std::chrono::sys_seconds time{std::chrono::seconds(moment)};
    const auto day = std::chrono::floor<std::chrono::days>(time);
    const std::chrono::hh_mm_ss clock(time - day);
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "T%02d:%02d:%02dZ", static_cast<int>(clock.hours().count()),
                  static_cast<int>(clock.minutes().count()), static_cast<int>(clock.seconds().count()));
    return isoDayText(day) + text.data();
}

std::string minutesText(Minutes minutes)
{
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), "%02d:%02d", minutes / 60 % 24, minutes % 60);
    return text.data();
}

/// A record on a line of its own.
class Line
{
public:
    Line& text(std::string_view key, const std::string& value) { return raw(key, quoted(value)); }
    Line& number(std::string_view key, Id value) { return raw(key, std::to_string(value)); }
    Line& real(std::string_view key, double value)
    {
        return value == 0 ? *this : raw(key, nlohmann::json(value).dump());
    }
    Line& flag(std::string_view key, bool value) { return raw(key, value ? "true" : "false"); }
    Line& raw(std::string_view key, const std::string& value)
    {
        m_line += m_line.empty() ? "{\"" : ", \"";
        (m_line += key) += "\": ";
        m_line += value;
        return *this;
    }
    std::string end() const { return m_line + "}"; }

private:
    std::string m_line;
};

} // namespace

class AccountWriter::State
{
public:
    State(const std::string& dataFile, Id account, Seconds now)
        : m_database(dataFile, SQLite::OPEN_READONLY, 5000), m_snapshot(m_database), m_account(account), m_now(now)
    {
        // Within its transaction it sees one state of the data, whatever is changed while the pieces are fetched.
        begin();
    }

    std::string next()
    {
        std::string piece = std::exchange(m_head, {});
        while (piece.size() < PieceSize && m_section < Sections.size()) {
            if (!m_query)
                openSection(piece);
            if (m_query->executeStep()) {
                piece += m_isFirst ? "\n  " : ",\n  ";
                m_isFirst = false;
                piece += (this->*Sections[m_section].write)(*m_query);
            } else {
                piece += m_isFirst ? "]" : "\n]";
                m_query.reset();
                piece += ++m_section < Sections.size() ? ",\n" : "\n}\n";
            }
        }
        return piece;
    }

private:
    using Row = SQLite::Statement;
    struct Section
    {
        const char* name;
        const char* sql;
        std::string (State::*write)(Row&);
    };
    static const std::array<Section, 7> Sections;

    void begin()
    {
        SQLite::Statement account(m_database, "SELECT name, timestamp_timers FROM accounts WHERE id = ?");
        account.bind(1, m_account);
        account.executeStep();
        m_head = "{\n\"format\": " + quoted(std::string(Format)) + ",\n\"version\": " + std::to_string(Version) +
                 ",\n\"exported\": \"" + utcText(m_now) + "\",\n\"zone\": " + quoted(localZoneName()) +
                 ",\n\"account\": " + quoted(account.getColumn(0).getString()) +
                 ",\n\"start_and_end_times\": " + (account.getColumn(1).getInt() != 0 ? "true" : "false") + ",\n";
    }

    void openSection(std::string& piece)
    {
        const auto& section = Sections[m_section];
        m_query = std::make_unique<SQLite::Statement>(m_database, section.sql);
        m_query->bind(1, m_account);
        m_isFirst = true;
        piece += "\"" + std::string(section.name) + "\": [";
    }

    /// Within the file records have numbers of their own, from 1.
    Id place(int kind, Id id)
    {
        return m_places[static_cast<std::size_t>(kind)]
            .try_emplace(id, m_places[static_cast<std::size_t>(kind)].size() + 1)
            .first->second;
    }

    enum Kind
    {
        People,
        Clients,
        Projects,
        Tasks,
    };

    std::string person(Row& row)
    {
        return Line()
            .number("id", place(People, row.getColumn(0).getInt64()))
            .text("email", row.getColumn(1).getString())
            .text("first_name", row.getColumn(2).getString())
            .text("last_name", row.getColumn(3).getString())
            .flag("administrator", row.getColumn(4).getInt() != 0)
            .flag("active", row.getColumn(5).getInt() != 0)
            .real("rate", row.getColumn(6).getDouble())
            .end();
    }
    std::string client(Row& row)
    {
        return Line()
            .number("id", place(Clients, row.getColumn(0).getInt64()))
            .text("name", row.getColumn(1).getString())
            .flag("active", row.getColumn(2).getInt() != 0)
            .end();
    }
    std::string project(Row& row)
    {
        return Line()
            .number("id", place(Projects, row.getColumn(0).getInt64()))
            .number("client", place(Clients, row.getColumn(1).getInt64()))
            .text("name", row.getColumn(2).getString())
            .text("code", row.getColumn(3).getString())
            .flag("billable", row.getColumn(4).getInt() != 0)
            .text("bill_by", row.getColumn(5).getString())
            .real("rate", row.getColumn(6).getDouble())
            .flag("active", row.getColumn(7).getInt() != 0)
            .end();
    }
    std::string task(Row& row)
    {
        return Line()
            .number("id", place(Tasks, row.getColumn(0).getInt64()))
            .text("name", row.getColumn(1).getString())
            .real("rate", row.getColumn(2).getDouble())
            .flag("active", row.getColumn(3).getInt() != 0)
            .end();
    }
    std::string offer(Row& row)
    {
        return Line()
            .number("project", place(Projects, row.getColumn(0).getInt64()))
            .number("task", place(Tasks, row.getColumn(1).getInt64()))
            .flag("billable", row.getColumn(2).getInt() != 0)
            .real("rate", row.getColumn(3).getDouble())
            .end();
    }
    std::string assignment(Row& row)
    {
        return Line()
            .number("project", place(Projects, row.getColumn(0).getInt64()))
            .number("person", place(People, row.getColumn(1).getInt64()))
            .real("rate", row.getColumn(2).getDouble())
            .end();
    }
    std::string entry(Row& row)
    {
        const Seconds run = row.getColumn(6).isNull() ? 0 : std::max<Seconds>(0, m_now - row.getColumn(6).getInt64());
        Line line;
        line.number("person", place(People, row.getColumn(0).getInt64()))
            .number("project", place(Projects, row.getColumn(1).getInt64()))
            .number("task", place(Tasks, row.getColumn(2).getInt64()))
            .text("day", row.getColumn(3).getString())
            .text("notes", row.getColumn(4).getString())
            .number("seconds", row.getColumn(5).getInt64() + run);
        for (const auto& [column, key] : {std::pair{7, "started_at"}, {8, "ended_at"}}) {
            if (!row.getColumn(column).isNull())
                line.text(key, minutesText(row.getColumn(column).getInt()));
        }
        if (!row.getColumn(9).isNull())
            line.text("locked", row.getColumn(9).getString());
        if (row.getColumn(10).getInt() != 0)
            line.flag("billed", true);
        return line.text("created", utcText(row.getColumn(11).getInt64()))
            .text("updated", utcText(row.getColumn(12).getInt64()))
            .end();
    }

    SQLite::Database m_database;
    SQLite::Transaction m_snapshot;
    const Id m_account;
    const Seconds m_now;
    std::string m_head;
    std::size_t m_section = 0;
    bool m_isFirst = true;
    std::array<std::unordered_map<Id, Id>, 4> m_places;
    std::unique_ptr<SQLite::Statement> m_query; ///< last: ended before the transaction
};

const std::array<AccountWriter::State::Section, 7> AccountWriter::State::Sections{{
    {"people",
     "SELECT id, email, first_name, last_name, admin, active, rate FROM people WHERE account_id = ? ORDER BY id",
     &State::person},
    {"clients", "SELECT id, name, active FROM clients WHERE account_id = ? ORDER BY id", &State::client},
    {"projects",
     "SELECT id, client_id, name, code, billable, bill_by, rate, active FROM projects WHERE account_id = ? ORDER BY id",
     &State::project},
    {"tasks", "SELECT id, name, rate, active FROM tasks WHERE account_id = ? ORDER BY id", &State::task},
    {"task_assignments",
     "SELECT project_id, task_id, billable, rate FROM task_assignments WHERE account_id = ? ORDER BY id",
     &State::offer},
    {"person_assignments", "SELECT project_id, person_id, rate FROM user_assignments WHERE account_id = ? ORDER BY id",
     &State::assignment},
    {"entries",
     "SELECT person_id, project_id, task_id, spent_at, notes, seconds, timer_started, started_at, ended_at,"
     " locked_reason, billed, created_at, updated_at FROM entries"
     " WHERE person_id IN (SELECT id FROM people WHERE account_id = ?) ORDER BY id",
     &State::entry},
}};

AccountWriter::AccountWriter(const std::string& dataFile, Id account, Seconds now)
    : m_state(std::make_unique<State>(dataFile, account, now))
{
}

AccountWriter::~AccountWriter() = default;

std::string AccountWriter::next()
{
    return m_state->next();
}

namespace {

/// A value of a record: whatever JSON has but lists and records.
struct Value
{
    std::optional<std::string> text = {};
    std::optional<Id> number = {};
    std::optional<double> real = {};
    std::optional<bool> flag = {};
};

using Record = std::map<std::string, Value, std::less<>>;

/// Takes the file apart as it is parsed: an object of lists of flat records, and nothing deeper.
class Reader final : public nlohmann::json_sax<nlohmann::json>
{
public:
    explicit Reader(const std::size_t& line) : m_line(line) {}

    bool null() override { return take({}); }
    bool boolean(bool value) override { return take({.flag = value}); }
    bool number_integer(std::int64_t value) override
    {
        return take({.number = value, .real = static_cast<double>(value)});
    }
    bool number_unsigned(std::uint64_t value) override
    {
        return value > static_cast<std::uint64_t>(std::numeric_limits<Id>::max())
                   ? refuse("a number is too large")
                   : number_integer(static_cast<Id>(value));
    }
    bool number_float(double value, const std::string&) override { return take({.real = value}); }
    bool string(std::string& value) override { return take({.text = std::move(value)}); }
    bool binary(nlohmann::json::binary_t&) override { return false; }
    bool start_object(std::size_t) override
    {
        ++m_depth;
        m_record.clear();
        return m_depth == 1 || (m_depth == 3 && !m_section.empty()) || refuse("there is a record where none can be");
    }
    bool end_object() override { return m_depth-- == 3 ? add() : true; }
    bool start_array(std::size_t) override
    {
        m_section = m_key;
        return ++m_depth == 2 || refuse("there is a list where none can be");
    }
    bool end_array() override
    {
        --m_depth;
        m_section.clear();
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

    tl::expected<Incoming, LineRemark> end()
    {
        if (!m_problem && !m_hasVersion)
            refuse("the file does not say which version it has");
        if (!m_problem)
            resolve();
        if (m_problem)
            return tl::unexpected(*m_problem);
        return std::move(m_result);
    }

private:
    bool refuse(std::string why, std::size_t line = 0)
    {
        if (!m_problem)
            m_problem = LineRemark{line != 0 ? line : m_line, std::move(why)};
        return false;
    }

    bool take(Value value)
    {
        if (m_depth == 3) {
            m_record[m_key] = std::move(value);
            return true;
        }
        if (m_depth != 1)
            return refuse("a record is missing");
        if (m_key == "format" && value.text != Format)
            return refuse("this is no file of Quillon’s time");
        if (m_key == "version") {
            m_hasVersion = true;
            if (value.number != Version)
                return refuse("a newer version of Quillon wrote this file");
        }
        return true;
    }

    // The values of the record.

    std::string text(std::string_view key) const
    {
        const auto found = m_record.find(key);
        std::string result;
        if (found != m_record.end() && found->second.text) {
            std::string_view rest = *found->second.text;
            while (const auto next = nextCharacter(rest))
                result += next->bytes;
        }
        return result;
    }
    std::string name(std::string_view key, std::size_t longest = Catalog::LongestName)
    {
        auto result = nameText(text(key));
        if (characterCount(result) > longest)
            refuse("a name is too long");
        return result;
    }
    std::string neededName(std::string_view key)
    {
        auto result = name(key);
        if (result.empty())
            refuse("a name is missing");
        return result;
    }
    bool flag(std::string_view key, bool usual) const
    {
        const auto found = m_record.find(key);
        return found != m_record.end() && found->second.flag ? *found->second.flag : usual;
    }
    double rate() const
    {
        const auto found = m_record.find(std::string_view("rate"));
        return found != m_record.end() && found->second.real ? *found->second.real : 0;
    }
    Id number(std::string_view key)
    {
        const auto found = m_record.find(key);
        if (found == m_record.end() || !found->second.number || *found->second.number < 0) {
            refuse("“" + std::string(key) + "” is no number");
            return 0;
        }
        return *found->second.number;
    }
    Seconds moment(std::string_view key)
    {
        const auto written = text(key);
        if (written.empty())
            return 0;
        const auto day = written.size() == 20 && written[10] == 'T' && written[19] == 'Z'
                             ? readDay(std::string_view(written).substr(0, 10))
                             : std::nullopt;
        const auto clock = day ? readClock(std::string_view(written).substr(11, 5)) : std::nullopt;
        const auto seconds = day ? std::string_view(written).substr(17, 2) : std::string_view();
        if (!clock || seconds.find_first_not_of("0123456789") != std::string_view::npos) {
            refuse("“" + std::string(key) + "” is no time");
            return 0;
        }
        return std::chrono::sys_seconds(std::chrono::sys_days(*day)).time_since_epoch().count() + Seconds{60} * *clock +
               Seconds{seconds[0] - '0'} * 10 + (seconds[1] - '0');
    }
    std::optional<Minutes> minutes(std::string_view key)
    {
        const auto written = text(key);
        const auto read = readClock(written);
        if (!written.empty() && !read)
            refuse("“" + std::string(key) + "” is no time of day");
        return read;
    }

    bool add()
    {
        if (m_section == "people")
            addPerson();
        else if (m_section == "clients")
            define(m_clients, m_result.clients, {neededName("name"), flag("active", true)});
        else if (m_section == "tasks")
            define(m_tasks, m_result.tasks, {neededName("name"), rate(), flag("active", true)});
        else if (m_section == "projects")
            define(m_projects, m_result.projects,
                   {refer("client"), neededName("name"), name("code", Catalog::LongestCode), flag("billable", true),
                    m_record.contains(std::string_view("bill_by")) ? text("bill_by") : "Tasks", rate(),
                    flag("active", true)});
        else if (m_section == "task_assignments")
            m_result.offers.push_back({refer("project"), refer("task"), flag("billable", true), rate()});
        else if (m_section == "person_assignments")
            m_result.assignments.push_back({refer("project"), refer("person"), rate()});
        else if (m_section == "entries")
            addEntry();
        return !m_problem;
    }

    /// For now the number in the file; `resolve` makes it a place.
    std::size_t refer(std::string_view key) { return static_cast<std::size_t>(number(key)); }

    using Numbers = std::unordered_map<std::size_t, std::size_t>;

    template <typename Thing>
    void define(Numbers& numbers, std::vector<Thing>& things, Thing thing)
    {
        if (!numbers.emplace(refer("id"), things.size()).second)
            refuse("there are two of one number");
        things.push_back(std::move(thing));
    }

    void addPerson()
    {
        Incoming::Person person{name("email", People::LongestEmail),
                                name("first_name", People::LongestName),
                                name("last_name", People::LongestName),
                                flag("administrator", false),
                                flag("active", true),
                                rate()};
        if (person.email.find('@') == std::string::npos)
            refuse("a person has no email address");
        define(m_people, m_result.people, std::move(person));
    }

    void addEntry()
    {
        Incoming::Entry entry;
        entry.person = refer("person");
        entry.project = refer("project");
        entry.task = refer("task");
        const auto day = readDay(text("day"));
        if (!day)
            refuse("the day cannot be read");
        entry.day = day.value_or(Day());
        entry.notes = text("notes");
        entry.seconds = number("seconds");
        if (entry.seconds > LongestTime)
            refuse("the time is too long");
        entry.startedAt = minutes("started_at");
        entry.endedAt = minutes("ended_at");
        if (m_record.contains(std::string_view("locked")))
            entry.lockedReason = text("locked");
        entry.billed = flag("billed", false);
        entry.created = moment("created");
        entry.updated = moment("updated");
        m_entryLines.push_back(m_line);
        m_result.entries.push_back(std::move(entry));
    }

    void resolve()
    {
        const auto to = [&](std::size_t& number, const Numbers& numbers, const char* what, std::size_t line = 0) {
            const auto found = numbers.find(number);
            if (found == numbers.end())
                refuse("there is no " + std::string(what) + " " + std::to_string(number), line);
            number = found == numbers.end() ? 0 : found->second;
        };
        for (auto& project : m_result.projects)
            to(project.client, m_clients, "client");
        for (auto& offer : m_result.offers) {
            to(offer.project, m_projects, "project");
            to(offer.task, m_tasks, "task");
        }
        for (auto& assignment : m_result.assignments) {
            to(assignment.project, m_projects, "project");
            to(assignment.person, m_people, "person");
        }
        for (std::size_t i = 0; i < m_result.entries.size(); ++i) {
            auto& entry = m_result.entries[i];
            to(entry.person, m_people, "person", m_entryLines[i]);
            to(entry.project, m_projects, "project", m_entryLines[i]);
            to(entry.task, m_tasks, "task", m_entryLines[i]);
        }
    }

    const std::size_t& m_line;
    std::optional<LineRemark> m_problem;
    int m_depth = 0;
    std::string m_key;
    std::string m_section;
    Record m_record;
    bool m_hasVersion = false;
    Numbers m_people, m_clients, m_projects, m_tasks;
    std::vector<std::size_t> m_entryLines;
    Incoming m_result;
};

} // namespace

bool isAccountFile(std::string_view file)
{
    return file.substr(0, 200).find(Format) != std::string_view::npos;
}

tl::expected<Incoming, LineRemark> readAccountFile(std::string_view file)
{
    std::size_t line = 1;
    Reader reader(line);
    nlohmann::json::sax_parse(LineCounter(file.data(), line), LineCounter(file.data() + file.size(), line), &reader);
    return reader.end();
}

} // namespace localservice
