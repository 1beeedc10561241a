#include "People.h"

#include "NameText.h"
#include "Storage.h"
#include "pages/Sessions.h"

#include <algorithm>
#include <set>

namespace localservice {

namespace {

Problem invalid(std::string message, std::string field = {})
{
    return {422, "Validation", std::move(message), std::move(field)};
}

Problem unknown()
{
    return {404, "NotFound", "This person does not exist."};
}

bool isEmail(std::string_view text)
{
    const auto at = text.find('@');
    // In what programs send to sign in, a colon ends the name.
    const bool odd = std::any_of(text.begin(), text.end(), [](char c) {
        return static_cast<unsigned char>(c) <= ' ' || c == '\x7F' || c == ':' || c == ',' || c == '<' || c == '>';
    });
    return !odd && at != std::string_view::npos && at > 0 && at + 1 < text.size() &&
           text.find('@', at + 1) == std::string_view::npos;
}

constexpr const char* SelectMember =
    "SELECT p.id, p.email, p.first_name, p.last_name, p.admin, p.active, p.password_hash <> '',"
    " COALESCE(SUM(e.seconds + CASE WHEN e.timer_started < ?4 THEN ?4 - e.timer_started ELSE 0 END), 0),"
    " EXISTS (SELECT 1 FROM entries t WHERE t.person_id = p.id AND t.timer_started IS NOT NULL)"
    " FROM people p LEFT JOIN entries e ON e.person_id = p.id AND e.spent_at BETWEEN ?2 AND ?3"
    " WHERE p.account_id = ?1 AND (?5 = 0 OR p.id = ?5) GROUP BY p.id"
    " ORDER BY NOT p.active, p.first_name COLLATE NOCASE, p.last_name COLLATE NOCASE, p.id";

Member memberOf(SQLite::Statement& row)
{
    Member member;
    member.id = row.getColumn(0).getInt64();
    member.email = row.getColumn(1).getString();
    member.firstName = row.getColumn(2).getString();
    member.lastName = row.getColumn(3).getString();
    member.admin = row.getColumn(4).getInt() != 0;
    member.active = row.getColumn(5).getInt() != 0;
    member.hasPassword = row.getColumn(6).getInt() != 0;
    member.booked = row.getColumn(7).getInt64();
    member.running = row.getColumn(8).getInt() != 0;
    return member;
}

} // namespace

std::string fullName(const std::string& firstName, const std::string& lastName, const std::string& email)
{
    const std::string name = firstName + (firstName.empty() || lastName.empty() ? "" : " ") + lastName;
    return name.empty() ? email : name;
}

std::string Member::name() const
{
    return fullName(firstName, lastName, email);
}

std::vector<Member> People::all(Day first, Day last, Seconds now)
{
    SQLite::Statement query(m_database, SelectMember);
    SQLite::bind(query, m_account, isoDayText(first), isoDayText(last), now, 0);
    std::vector<Member> members;
    while (query.executeStep())
        members.push_back(memberOf(query));
    return members;
}

tl::expected<Member, Problem> People::find(Id person)
{
    SQLite::Statement query(m_database, SelectMember);
    SQLite::bind(query, m_account, "", "", 0, person);
    if (person > 0 && query.executeStep())
        return memberOf(query);
    return tl::unexpected(unknown());
}

People::Done People::check(PersonDetails& details, Id itself)
{
    details.firstName = nameText(details.firstName);
    details.lastName = nameText(details.lastName);
    if (details.firstName.empty())
        return tl::unexpected(invalid("A person needs a name.", "first-name"));
    for (const auto& [name, field] : {std::pair{&details.firstName, "first-name"}, {&details.lastName, "last-name"}}) {
        if (characterCount(*name) > LongestName)
            return tl::unexpected(invalid("This name is too long. It can have 100 characters.", field));
    }
    if (details.email.size() > LongestEmail || !isEmail(details.email))
        return tl::unexpected(invalid("Enter an address such as name@example.com.", "email"));
    SQLite::Statement query(m_database, "SELECT first_name, last_name, email, active FROM people"
                                        " WHERE account_id = ? AND email = ? AND id <> ?");
    SQLite::bind(query, m_account, details.email, itself);
    if (query.executeStep()) {
        const auto name = fullName(query.getColumn(0).getString(), query.getColumn(1).getString(), details.email);
        const bool active = query.getColumn(3).getInt() != 0;
        return tl::unexpected(invalid(active ? "This address already belongs to " + name + "."
                                             : "This address belongs to " + name +
                                                   ", who is archived. You can restore them in the list of people.",
                                      "email"));
    }
    return {};
}

bool People::isOnlyAdministrator(Id person)
{
    SQLite::Statement query(m_database, "SELECT MAX(id = ?2), COUNT(*) FROM people"
                                        " WHERE account_id = ?1 AND admin AND active");
    SQLite::bind(query, m_account, person);
    return query.executeStep() && query.getColumn(0).getInt() == 1 && query.getColumn(1).getInt() == 1;
}

tl::expected<Id, Problem> People::add(const PersonDetails& details, const std::string& hash)
{
    PersonDetails checked = details;
    if (const auto right = check(checked, 0); !right)
        return tl::unexpected(right.error());
    SQLite::Statement insert(m_database, "INSERT INTO people (account_id, email, first_name, last_name, admin, rate,"
                                         " password_hash) VALUES (?, ?, ?, ?, ?, 0, ?)");
    SQLite::bind(insert, m_account, checked.email, checked.firstName, checked.lastName, int{checked.admin}, hash);
    insert.exec();
    return m_database.getLastInsertRowid();
}

People::Done People::change(Id person, const PersonDetails& details)
{
    if (const auto found = find(person); !found)
        return tl::unexpected(found.error());
    PersonDetails checked = details;
    if (auto right = check(checked, person); !right)
        return right;
    if (!checked.admin && isOnlyAdministrator(person))
        return tl::unexpected(
            invalid("An account needs an administrator. Make someone else an administrator first.", "admin"));
    SQLite::Statement update(m_database, "UPDATE people SET email = ?, first_name = ?, last_name = ?, admin = ?"
                                         " WHERE id = ?");
    SQLite::bind(update, checked.email, checked.firstName, checked.lastName, int{checked.admin}, person);
    update.exec();
    return {};
}

People::Done People::setPassword(Id person, const std::string& hash, std::string_view except)
{
    SQLite::Statement update(m_database, "UPDATE people SET password_hash = ? WHERE id = ? AND account_id = ?");
    SQLite::bind(update, hash, person, m_account);
    if (update.exec() != 1)
        return tl::unexpected(unknown());
    Sessions::endAllOf(m_database, person, except);
    return {};
}

People::Done People::archive(Id person, Id by, Seconds now)
{
    if (const auto found = find(person); !found)
        return tl::unexpected(found.error());
    if (isOnlyAdministrator(person))
        return tl::unexpected(invalid("An account needs an administrator. Make someone else an administrator first."));
    if (person == by)
        return tl::unexpected(invalid("You cannot archive yourself. Another administrator can."));
    SQLite::Statement stop(m_database,
                           "UPDATE entries SET seconds = seconds + MAX(0, ?2 - timer_started), timer_started = NULL,"
                           " ended_at = CASE WHEN started_at IS NULL THEN NULL ELSE ?3 END, updated_at = ?2"
                           " WHERE person_id = ?1 AND timer_started IS NOT NULL");
    SQLite::bind(stop, person, now, localMinutes(now));
    stop.exec();
    Sessions::endAllOf(m_database, person);
    m_database.exec("UPDATE people SET active = 0 WHERE id = " + std::to_string(person));
    return {};
}

People::Done People::restore(Id person)
{
    SQLite::Statement update(m_database, "UPDATE people SET active = 1 WHERE id = ? AND account_id = ?");
    SQLite::bind(update, person, m_account);
    if (update.exec() != 1)
        return tl::unexpected(unknown());
    return {};
}

std::vector<BookableProject> People::projects(Id person)
{
    SQLite::Statement query(m_database, "SELECT p.id, p.name, p.code, c.name, p.active, u.id IS NOT NULL"
                                        " FROM projects p JOIN clients c ON c.id = p.client_id"
                                        " LEFT JOIN user_assignments u ON u.project_id = p.id AND u.person_id = ?2"
                                        " WHERE p.account_id = ?1 AND (p.active OR u.id IS NOT NULL)"
                                        " ORDER BY c.name COLLATE NOCASE, c.id, p.name COLLATE NOCASE, p.id");
    SQLite::bind(query, m_account, person);
    std::vector<BookableProject> projects;
    while (query.executeStep()) {
        projects.push_back(
            {query.getColumn(0).getInt64(), projectText(query.getColumn(2).getString(), query.getColumn(1).getString()),
             query.getColumn(3).getString(), query.getColumn(4).getInt() != 0, query.getColumn(5).getInt() != 0});
    }
    return projects;
}

People::Done People::setProjects(Id person, const std::vector<Id>& projects)
{
    if (const auto found = find(person); !found)
        return tl::unexpected(found.error());
    const std::set<Id> wanted(projects.begin(), projects.end());
    SQLite::Statement assign(m_database, "INSERT INTO user_assignments (account_id, project_id, person_id, rate)"
                                         " VALUES (?, ?, ?, 0)");
    SQLite::Statement release(m_database, "DELETE FROM user_assignments WHERE project_id = ? AND person_id = ?");
    for (const auto& project : this->projects(person)) {
        const bool assigned = wanted.contains(project.id);
        if (!project.active || assigned == project.assigned)
            continue;
        // Changes only what differs: each change makes clients fetch the catalog again.
        SQLite::Statement& statement = assigned ? assign : release;
        statement.reset();
        if (assigned)
            SQLite::bind(statement, m_account, project.id, person);
        else
            SQLite::bind(statement, project.id, person);
        statement.exec();
    }
    return {};
}

std::string People::wrongWithPassword(std::string_view password)
{
    if (characterCount(password) < FewestPasswordCharacters)
        return "Use at least 10 characters. Several words in a row are easy to remember.";
    if (password.size() > LongestPassword)
        return "This password is too long.";
    return {};
}

} // namespace localservice
