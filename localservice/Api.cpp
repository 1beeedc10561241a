#include "Api.h"

#include "Storage.h"
#include "XmlWriter.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace localservice {

namespace {

using Cell = SQLite::Column;

std::string numberText(double value)
{
    std::array<char, 64> text{};
    std::snprintf(text.data(), text.size(), "%.2f", value);
    return text.data();
}

Reply failure(const Problem& problem)
{
    XmlWriter xml;
    xml.open("error");
    xml.text("kind", problem.kind);
    xml.text("message", problem.message);
    xml.close();
    return {problem.status, xml.document()};
}

Reply notFound()
{
    return failure({404, "NotFound", "There is nothing at this address."});
}

void write(XmlWriter& xml, std::string_view root, const Entry& entry, Seconds now)
{
    xml.open(root);
    xml.text("id", std::to_string(entry.id));
    xml.text("user_id", std::to_string(entry.person));
    xml.text("spent_at", isoDayText(entry.day));
    xml.text("project_id", std::to_string(entry.project));
    xml.text("project", entry.projectName);
    xml.text("client", entry.clientName);
    xml.text("task_id", std::to_string(entry.task));
    xml.text("task", entry.taskName);
    xml.text("hours", hoursText(entry.total(now)));
    xml.text("hours_without_timer", hoursText(entry.base));
    // A client counts on from the start by its own clock: a start after now would count backwards there.
    if (entry.timerStarted)
        xml.text("timer_started_at", momentText(std::min(now, *entry.timerStarted)));
    if (entry.startedAt)
        xml.text("started_at", clockText(*entry.startedAt));
    if (entry.endedAt)
        xml.text("ended_at", clockText(*entry.endedAt));
    xml.text("notes", entry.notes);
    xml.flag("is_locked", entry.lockedReason.has_value());
    if (entry.lockedReason)
        xml.text("locked_reason", *entry.lockedReason);
    xml.flag("is_billed", entry.billed);
    xml.text("created_at", momentText(entry.created));
    xml.text("updated_at", momentText(entry.updated));
    xml.close();
}

Reply wrapped(std::string_view root, const tl::expected<Entry, Problem>& entry, Seconds now, int status = 200)
{
    if (!entry)
        return failure(entry.error());
    XmlWriter xml;
    xml.open(root);
    write(xml, "day_entry", *entry, now);
    xml.close();
    return {status, xml.document()};
}

/// A column of a list: the element's name and how its text is made.
enum class Kind
{
    Text,
    Flag,
    Money,
    Price, ///< money that is told to administrators alone
};
struct Field
{
    const char* name;
    Kind kind = Kind::Text;
};

void writeRow(XmlWriter& xml, SQLite::Statement& row, const std::vector<Field>& fields, bool withPrices = false)
{
    int index = 0;
    for (const auto& field : fields) {
        const Cell cell = row.getColumn(index++);
        switch (field.kind) {
        case Kind::Text:
            xml.text(field.name, cell.getString());
            break;
        case Kind::Flag:
            xml.flag(field.name, cell.getInt() != 0);
            break;
        case Kind::Price:
            if (!withPrices)
                break;
            [[fallthrough]];
        case Kind::Money:
            xml.text(field.name, numberText(cell.getDouble()));
            break;
        }
    }
}

/// One of the plain lists, whose rows are read by `sql` ("… WHERE account_id = ?1 AND (?2 = 0 OR some_id = ?2) AND
/// (?3 = 0 OR …)"). ?3 is who asks, 0 for administrators: others read what is their own, and what they may book on, as
/// on the pages.
struct ListKind
{
    const char* root;
    const char* element;
    const char* sql;
    std::vector<Field> fields;
};

const ListKind& clientList()
{
    static const ListKind kind{"clients",
                               "client",
                               "SELECT id, name, active FROM clients WHERE account_id = ?1 AND (?2 = 0 OR id = ?2)"
                               " AND (?3 = 0 OR id IN (SELECT p.client_id FROM projects p JOIN user_assignments u"
                               "  ON u.project_id = p.id WHERE u.person_id = ?3))",
                               {{"id"}, {"name"}, {"active", Kind::Flag}}};
    return kind;
}

const ListKind& projectList()
{
    static const ListKind kind{"projects",
                               "project",
                               "SELECT id, name, code, billable, bill_by, rate, active, client_id FROM projects"
                               " WHERE account_id = ?1 AND (?2 = 0 OR id = ?2) AND (?3 = 0 OR id IN"
                               "  (SELECT project_id FROM user_assignments WHERE person_id = ?3))",
                               {{"id"},
                                {"name"},
                                {"code"},
                                {"billable", Kind::Flag},
                                {"bill-by"},
                                {"hourly-rate", Kind::Price},
                                {"active", Kind::Flag},
                                {"client-id"}}};
    return kind;
}

const ListKind& taskList()
{
    static const ListKind kind{"tasks",
                               "task",
                               "SELECT id, name, rate FROM tasks WHERE account_id = ?1 AND (?2 = 0 OR id = ?2)"
                               " AND (?3 = 0 OR id IN (SELECT t.task_id FROM task_assignments t JOIN user_assignments u"
                               "  ON u.project_id = t.project_id WHERE u.person_id = ?3))",
                               {{"id"}, {"name"}, {"default-hourly-rate", Kind::Price}}};
    return kind;
}

const ListKind& personList()
{
    // Archived people stay in it: entries and assignments name them, and clients never delete what a list leaves out.
    static const ListKind kind{"users",
                               "user",
                               "SELECT id, email, first_name, last_name, admin, active, rate FROM people"
                               " WHERE account_id = ?1 AND (?2 = 0 OR id = ?2) AND (?3 = 0 OR id = ?3)",
                               {{"id"},
                                {"email"},
                                {"first-name"},
                                {"last-name"},
                                {"is-admin", Kind::Flag},
                                {"is-active", Kind::Flag},
                                {"default-hourly-rate", Kind::Money}}};
    return kind;
}

const ListKind& userAssignmentList()
{
    static const ListKind kind{"user-assignments",
                               "user-assignment",
                               "SELECT id, project_id, person_id, rate FROM user_assignments"
                               " WHERE account_id = ?1 AND (?2 = 0 OR project_id = ?2)"
                               " AND (?3 = 0 OR person_id = ?3)",
                               {{"id"}, {"project-id"}, {"user-id"}, {"hourly-rate", Kind::Money}}};
    return kind;
}

const ListKind& taskAssignmentList()
{
    static const ListKind kind{
        "task-assignments",
        "task-assignment",
        // Without archived tasks: clients would offer them. The list of tasks has them, as names for what was booked.
        "SELECT id, project_id, task_id, billable, rate FROM task_assignments"
        " WHERE account_id = ?1 AND (?2 = 0 OR project_id = ?2)"
        " AND task_id IN (SELECT id FROM tasks WHERE active)"
        " AND (?3 = 0 OR project_id IN (SELECT project_id FROM user_assignments WHERE person_id = ?3))",
        {{"id"}, {"project-id"}, {"task-id"}, {"billable", Kind::Flag}, {"hourly-rate", Kind::Price}}};
    return kind;
}

Reply list(Storage& storage, const Person& person, const ListKind& kind, Id only = 0)
{
    auto reply = storage.look([&](SQLite::Database& database) -> tl::expected<Reply, Problem> {
        SQLite::Statement rows(database, std::string(kind.sql) + " ORDER BY id");
        SQLite::bind(rows, person.account, only, person.admin ? 0 : person.id);
        XmlWriter xml;
        xml.open(kind.root, "type=\"array\"");
        while (rows.executeStep()) {
            xml.open(kind.element);
            writeRow(xml, rows, kind.fields, person.admin);
            xml.close();
        }
        xml.close();
        return Reply{200, xml.document()};
    });
    return reply ? *reply : failure(reply.error());
}

Reply single(Storage& storage, const Person& person, const ListKind& kind, Id id)
{
    auto reply = storage.look([&](SQLite::Database& database) -> tl::expected<Reply, Problem> {
        SQLite::Statement row(database, kind.sql);
        SQLite::bind(row, person.account, id, person.admin ? 0 : person.id);
        if (id == 0 || !row.executeStep())
            return notFound();
        XmlWriter xml;
        xml.open(kind.element);
        writeRow(xml, row, kind.fields, person.admin);
        xml.close();
        return Reply{200, xml.document()};
    });
    return reply ? *reply : failure(reply.error());
}

/// The projects that a person can book on, each with its tasks.
tl::expected<void, Problem> writeProjects(Storage& storage, const Person& person, XmlWriter& xml)
{
    return storage.look([&](SQLite::Database& database) -> tl::expected<void, Problem> {
        SQLite::Statement projects(database, "SELECT p.id, p.name, p.code, c.name, p.billable FROM projects p"
                                             " JOIN clients c ON c.id = p.client_id"
                                             " JOIN user_assignments u ON u.project_id = p.id AND u.person_id = ?"
                                             " WHERE p.active ORDER BY c.name, p.name, p.id");
        SQLite::Statement tasks(database, "SELECT t.id, t.name, a.billable AND p.billable FROM task_assignments a"
                                          " JOIN tasks t ON t.id = a.task_id JOIN projects p ON p.id = a.project_id"
                                          " WHERE a.project_id = ? AND t.active"
                                          " ORDER BY t.name, t.id");
        projects.bind(1, person.id);
        xml.open("projects");
        while (projects.executeStep()) {
            xml.open("project");
            writeRow(xml, projects, {{"id"}, {"name"}, {"code"}, {"client"}, {"billable", Kind::Flag}});
            tasks.reset();
            tasks.bind(1, projects.getColumn(0).getInt64());
            xml.open("tasks");
            while (tasks.executeStep()) {
                xml.open("task");
                writeRow(xml, tasks, {{"id"}, {"name"}, {"billable", Kind::Flag}});
                xml.close();
            }
            xml.close();
            xml.close();
        }
        xml.close();
        return {};
    });
}

Reply daily(Storage& storage, const Person& person, Seconds now, Day day, bool slim)
{
    const auto entries = Timesheet(storage, person, now).day(day);
    if (!entries)
        return failure(entries.error());
    XmlWriter xml;
    xml.open("daily");
    xml.text("for_day", longDayText(day));
    xml.open("day_entries");
    for (const auto& entry : *entries)
        write(xml, "day_entry", entry, now);
    xml.close();
    if (!slim) {
        if (const auto written = writeProjects(storage, person, xml); !written)
            return failure(written.error());
    }
    xml.close();
    return {200, xml.document()};
}

Reply whoAmI(const Person& person)
{
    XmlWriter xml;
    xml.open("hash");
    xml.open("company");
    xml.text("name", person.accountName);
    xml.flag("active", true);
    xml.close();
    xml.open("user");
    xml.text("id", std::to_string(person.id));
    xml.text("email", person.email);
    xml.text("first-name", person.firstName);
    xml.text("last-name", person.lastName);
    xml.flag("admin", person.admin);
    xml.text("timezone", person.timezone);
    xml.flag("timestamp-timers", person.timestampTimers);
    xml.close();
    xml.close();
    return {200, xml.document()};
}

Reply removed(const tl::expected<Id, Refusal>& outcome)
{
    // Gone is what was asked for, whoever was first.
    if (!outcome && outcome.error().problem.kind != "NotFound")
        return failure(outcome.error().problem);
    XmlWriter xml;
    xml.open("result");
    xml.close();
    return {outcome ? 200 : 404, xml.document()};
}

Reply synchronized(const tl::expected<Entry, Refusal>& outcome, Seconds now)
{
    if (!outcome && !outcome.error().current)
        return failure(outcome.error().problem);
    // A stale request is answered with the entry as it is, so that the client is up to date at once.
    XmlWriter xml;
    write(xml, "day_entry", outcome ? *outcome : *outcome.error().current, now);
    return {outcome ? 200 : outcome.error().problem.status, xml.document()};
}

bool isSlim(const Request& request)
{
    return request.query().find("slim=1") != std::string_view::npos;
}

/// No challenge header: a browser that asked for the password and kept it would send it along with what any web page
/// asks of this service.
tl::unexpected<Reply> stranger(int status = 401, Headers headers = {})
{
    headers.emplace_back("Content-Type", "text/plain; charset=utf-8");
    return tl::unexpected(Reply{status, "Authentication failed for API request.", std::move(headers)});
}

} // namespace

Api::Api(Storage& storage, Clock clock, PasswordSignIn& signIn, std::string_view ownerPassword)
    : m_storage(storage), m_clock(std::move(clock)), m_signIn(signIn),
      m_ownerDigest(ownerPassword.empty() ? std::string() : digestOf(ownerPassword))
{
}

tl::expected<Person, Reply> Api::signedIn(const Request& request)
{
    const auto credentials = BasicCredentials::fromHeader(request.header("Authorization"));
    if (!credentials)
        return stranger();
    if (digestOf(credentials->password) == m_ownerDigest) {
        const auto owner =
            m_storage.look([&](SQLite::Database& database) -> tl::expected<std::optional<Person>, Problem> {
                return ownerOf(database, request.subdomain());
            });
        if (!owner)
            return tl::unexpected(failure(owner.error()));
        return *owner ? tl::expected<Person, Reply>(**owner) : stranger();
    }
    auto person = m_signIn.person(request, credentials->email, credentials->password);
    if (person)
        return std::move(*person);
    // Or clients would forget who they are.
    if (const auto& problem = person.error().problem)
        return tl::unexpected(failure(*problem));
    const auto wait = person.error().tryAgainIn;
    return wait ? stranger(429, {{"Retry-After", std::to_string(wait->count())}}) : stranger();
}

Reply Api::answer(const Request& request)
{
    if (const auto trouble = m_storage.whyUnreadable())
        return failure(*trouble);
    const auto person = signedIn(request);
    if (!person)
        return person.error();
    // Read before the reply is made: a version that is too old makes the client ask again, one that is too new would
    // make it miss a change.
    const auto version = m_storage.look([&](SQLite::Database& database) -> tl::expected<Id, Problem> {
        SQLite::Statement query(database, "SELECT cache_version FROM accounts WHERE id = ?");
        query.bind(1, person->account);
        return query.executeStep() ? query.getColumn(0).getInt64() : Id{0};
    });
    Reply reply = answerTo(*person, request);
    if (version)
        reply.headers.emplace_back("X-Company-Cache-Version", std::to_string(*version));
    return reply;
}

Reply Api::answerTo(const Person& person, const Request& request)
{
    const Seconds now = std::chrono::floor<std::chrono::seconds>(m_clock()).time_since_epoch().count();
    const auto path = request.pieces();
    const auto is = [&](std::string_view method, std::initializer_list<std::string_view> wanted) {
        return (method.empty() || request.method == method) && path.size() == wanted.size() &&
               std::equal(path.begin(), path.end(), wanted.begin(),
                          [](auto piece, auto name) { return name == "#" ? idIn(piece) > 0 : piece == name; });
    };
    const auto number = [&](std::size_t index) { return idIn(path[index]); };
    const auto body = [&](std::string_view root) { return RequestBody::read(request.body, root); };
    const Problem unreadable{500, "Validation", "The request body cannot be read."};
    const auto fields = [&]() -> tl::expected<EntryFields, Problem> {
        const auto read = body("request");
        return read ? EntryFields::read(*read) : tl::unexpected(unreadable);
    };
    Timesheet timesheet(m_storage, person, now);

    if (is("GET", {"account", "who_am_i"}))
        return whoAmI(person);
    if (is("GET", {"daily"}))
        return daily(m_storage, person, now, localDay(now), isSlim(request));
    if (is("GET", {"daily", "#", "#"})) {
        const auto day = number(1) <= 366 && number(2) <= 9999
                             ? dayOfYear(static_cast<int>(number(1)), static_cast<int>(number(2)))
                             : std::nullopt;
        return day ? daily(m_storage, person, now, *day, isSlim(request)) : notFound();
    }
    if (is("POST", {"daily", "add"})) {
        return wrapped("add", fields().and_then([&](const auto& entry) { return timesheet.add(entry); }), now);
    }
    if (is("GET", {"daily", "timer", "#"}))
        return wrapped("timer", timesheet.toggle(number(2)), now);
    if (is("POST", {"daily", "update", "#"})) {
        const auto change = [&](const auto& entry) {
            return timesheet.update(number(2), entry).map_error([](const Refusal& refusal) { return refusal.problem; });
        };
        return wrapped("add", fields().and_then(change), now);
    }
    if (is("GET", {"daily", "delete", "#"}) || is("DELETE", {"daily", "delete", "#"}))
        return removed(timesheet.remove(number(2)));
    if (is("POST", {"hc", "day_entry", "#"})) {
        const auto known = body("day_entry");
        return known ? synchronized(timesheet.synchronize(number(2), *known), now) : failure(unreadable);
    }
    if (is("GET", {"clients"}))
        return list(m_storage, person, clientList());
    if (is("GET", {"clients", "#"}))
        return single(m_storage, person, clientList(), number(1));
    if (is("GET", {"projects"}))
        return list(m_storage, person, projectList());
    if (is("GET", {"projects", "#"}))
        return single(m_storage, person, projectList(), number(1));
    if (is("GET", {"projects", "#", "user_assignments"}))
        return list(m_storage, person, userAssignmentList(), number(1));
    if (is("GET", {"projects", "#", "task_assignments"}))
        return list(m_storage, person, taskAssignmentList(), number(1));
    if (is("GET", {"user_assignments"}))
        return list(m_storage, person, userAssignmentList());
    if (is("GET", {"task_assignments"}))
        return list(m_storage, person, taskAssignmentList());
    if (is("GET", {"tasks"}))
        return list(m_storage, person, taskList());
    if (is("GET", {"tasks", "#"}))
        return single(m_storage, person, taskList(), number(1));
    if (is("GET", {"people"}))
        return list(m_storage, person, personList());
    if (is("GET", {"people", "#"}))
        return single(m_storage, person, personList(), number(1));
    return notFound();
}

} // namespace localservice
