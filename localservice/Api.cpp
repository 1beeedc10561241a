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
    // A client counts on from the start by its own clock: a start in the future would make it count backwards.
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

Reply wrapped(std::string_view root, const tl::expected<Entry, Problem>& entry, Seconds now)
{
    if (!entry)
        return failure(entry.error());
    XmlWriter xml;
    xml.open(root);
    write(xml, "day_entry", *entry, now);
    xml.close();
    return {200, xml.document()};
}

/// A column of a list: the element's name and how its text is made.
enum class Kind
{
    Text,
    Flag,
    Money,
    Price, ///< money that only administrators may see
};
struct Field
{
    const char* name;
    Kind kind = Kind::Text;
};

void writeRow(XmlWriter& xml, SQLite::Statement& row, std::initializer_list<Field> fields, bool withPrices = false)
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
struct List
{
    const char* root;
    const char* element;
    const char* sql;
    std::initializer_list<Field> fields;
};

constexpr List Clients{"clients",
                       "client",
                       "SELECT id, name, active FROM clients WHERE account_id = ?1 AND (?2 = 0 OR id = ?2)"
                       " AND (?3 = 0 OR id IN (SELECT p.client_id FROM projects p JOIN user_assignments u"
                       "  ON u.project_id = p.id WHERE u.person_id = ?3))",
                       {{"id"}, {"name"}, {"active", Kind::Flag}}};

constexpr List Projects{"projects",
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

constexpr List Tasks{"tasks",
                     "task",
                     "SELECT id, name, rate FROM tasks WHERE account_id = ?1 AND (?2 = 0 OR id = ?2)"
                     " AND (?3 = 0 OR id IN (SELECT t.task_id FROM task_assignments t JOIN user_assignments u"
                     "  ON u.project_id = t.project_id WHERE u.person_id = ?3))",
                     {{"id"}, {"name"}, {"default-hourly-rate", Kind::Price}}};

// Includes archived people: entries and assignments name them, and clients never delete what a list leaves out.
constexpr List People{"users",
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

constexpr List UserAssignments{"user-assignments",
                               "user-assignment",
                               "SELECT id, project_id, person_id, rate FROM user_assignments"
                               " WHERE account_id = ?1 AND (?2 = 0 OR project_id = ?2)"
                               " AND (?3 = 0 OR person_id = ?3)",
                               {{"id"}, {"project-id"}, {"user-id"}, {"hourly-rate", Kind::Money}}};

constexpr List TaskAssignments{
    "task-assignments",
    "task-assignment",
    // Without archived tasks: clients would offer them. The list of tasks has them, as names for booked time.
    "SELECT id, project_id, task_id, billable, rate FROM task_assignments"
    " WHERE account_id = ?1 AND (?2 = 0 OR project_id = ?2)"
    " AND task_id IN (SELECT id FROM tasks WHERE active)"
    " AND (?3 = 0 OR project_id IN (SELECT project_id FROM user_assignments WHERE person_id = ?3))",
    {{"id"}, {"project-id"}, {"task-id"}, {"billable", Kind::Flag}, {"hourly-rate", Kind::Price}}};

/// What a request is answered from.
struct Call
{
    Storage& storage;
    const Person& person;
    const Request& request;
    Seconds now;
    std::vector<Id> numbers; ///< of the path
    Timesheet timesheet{storage, person, now};
};

/// A list, whole or limited to the number in the path; or the one record with that number.
Reply rows(const Call& call, const List& list, bool isOne)
{
    auto reply = call.storage.look([&](SQLite::Database& database) -> tl::expected<Reply, Problem> {
        SQLite::Statement rows(database, std::string(list.sql) + " ORDER BY id");
        SQLite::bind(rows, call.person.account, call.numbers.empty() ? 0 : call.numbers[0],
                     call.person.admin ? 0 : call.person.id);
        XmlWriter xml;
        if (!isOne)
            xml.open(list.root, "type=\"array\"");
        bool isThere = !isOne;
        while (rows.executeStep()) {
            isThere = true;
            xml.open(list.element);
            writeRow(xml, rows, list.fields, call.person.admin);
            xml.close();
        }
        if (!isOne)
            xml.close();
        return isThere ? Reply{200, xml.document()} : notFound();
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

Reply daily(Call& call, std::optional<Day> day)
{
    if (!day)
        return notFound();
    const auto entries = call.timesheet.days(*day, *day);
    if (!entries)
        return failure(entries.error());
    XmlWriter xml;
    xml.open("daily");
    xml.text("for_day", longDayText(*day));
    xml.open("day_entries");
    for (const auto& entry : *entries)
        write(xml, "day_entry", entry, call.now);
    xml.close();
    if (call.request.query().find("slim=1") == std::string_view::npos) {
        if (const auto written = writeProjects(call.storage, call.person, xml); !written)
            return failure(written.error());
    }
    xml.close();
    return {200, xml.document()};
}

Reply whoAmI(Call& call)
{
    const Person& person = call.person;
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

/// The fields in a request's body, the elements below `root`.
tl::expected<RequestBody, Problem> bodyOf(const Call& call, std::string_view root)
{
    if (auto body = RequestBody::read(call.request.body, root))
        return std::move(*body);
    return tl::unexpected(Problem{500, "Validation", "The request body cannot be read."});
}

tl::expected<EntryFields, Problem> fieldsOf(const Call& call)
{
    return bodyOf(call, "request").and_then([](const RequestBody& body) { return EntryFields::read(body); });
}

Reply add(Call& call)
{
    return wrapped("add", fieldsOf(call).and_then([&](const auto& fields) { return call.timesheet.add(fields); }),
                   call.now);
}

Reply update(Call& call)
{
    const auto change = [&](const EntryFields& fields) {
        EntryFields dated = fields;
        dated.asOf = readMoment(call.request.header("Date"));
        return call.timesheet.update(call.numbers[0], dated).map_error([](const Refusal& refusal) {
            return refusal.problem;
        });
    };
    return wrapped("add", fieldsOf(call).and_then(change), call.now);
}

Reply remove(Call& call)
{
    const auto outcome = call.timesheet.remove(call.numbers[0]);
    // Already deleted is as good as deleted.
    if (!outcome && outcome.error().problem.kind != "NotFound")
        return failure(outcome.error().problem);
    XmlWriter xml;
    xml.open("result");
    xml.close();
    return {outcome ? 200 : 404, xml.document()};
}

Reply synchronize(Call& call)
{
    const auto body = bodyOf(call, "day_entry");
    if (!body)
        return failure(body.error());
    const auto outcome = call.timesheet.synchronize(call.numbers[0], *body);
    if (!outcome && !outcome.error().current)
        return failure(outcome.error().problem);
    // A stale request is answered with the current entry, so that the client is up to date at once.
    XmlWriter xml;
    write(xml, "day_entry", outcome ? *outcome : *outcome.error().current, call.now);
    return {outcome ? 200 : outcome.error().problem.status, xml.document()};
}

struct Route
{
    std::string_view method;
    std::string_view path; ///< "#" stands for a number
    Reply (*answer)(Call& call);
};

template <const List& list>
Reply all(Call& call)
{
    return rows(call, list, false);
}

template <const List& list>
Reply one(Call& call)
{
    return rows(call, list, true);
}

constexpr Route Routes[]{
    {"GET", "/account/who_am_i", whoAmI},
    {"GET", "/daily", [](Call& call) { return daily(call, localDay(call.now)); }},
    {"GET", "/daily/#/#", [](Call& call) { return daily(call, dayOfYear(call.numbers[0], call.numbers[1])); }},
    {"POST", "/daily/add", add},
    {"GET", "/daily/timer/#",
     [](Call& call) { return wrapped("timer", call.timesheet.toggle(call.numbers[0]), call.now); }},
    {"POST", "/daily/update/#", update},
    {"GET", "/daily/delete/#", remove},
    {"DELETE", "/daily/delete/#", remove},
    {"POST", "/hc/day_entry/#", synchronize},
    {"GET", "/clients", all<Clients>},
    {"GET", "/clients/#", one<Clients>},
    {"GET", "/projects", all<Projects>},
    {"GET", "/projects/#", one<Projects>},
    {"GET", "/projects/#/user_assignments", all<UserAssignments>},
    {"GET", "/projects/#/task_assignments", all<TaskAssignments>},
    {"GET", "/user_assignments", all<UserAssignments>},
    {"GET", "/task_assignments", all<TaskAssignments>},
    {"GET", "/tasks", all<Tasks>},
    {"GET", "/tasks/#", one<Tasks>},
    {"GET", "/people", all<People>},
    {"GET", "/people/#", one<People>},
};

/// No challenge header: a browser that asked for the password and kept it would send it along with requests that any
/// web page makes to this service.
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
    // Otherwise clients would forget who they are.
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
    for (const Route& route : Routes) {
        auto numbers = numbersIn(request.path(), route.path);
        if (!numbers || request.method != route.method)
            continue;
        const Seconds now = std::chrono::floor<std::chrono::seconds>(m_clock()).time_since_epoch().count();
        Call call{m_storage, person, request, now, std::move(*numbers)};
        return route.answer(call);
    }
    return notFound();
}

} // namespace localservice
