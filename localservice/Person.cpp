#include "Person.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <SQLiteCpp/VariadicBind.h>

namespace localservice {

namespace {

constexpr const char* SelectPerson =
    "SELECT p.id, p.account_id, p.email, p.first_name, p.last_name, p.admin, p.rate, p.password_hash,"
    " a.name, a.timezone, a.timestamp_timers FROM people p JOIN accounts a ON a.id = p.account_id WHERE p.active AND ";

std::optional<Person> only(SQLite::Statement& query)
{
    if (!query.executeStep())
        return {};
    return Person{query.getColumn(0).getInt64(),  query.getColumn(1).getInt64(),    query.getColumn(2).getString(),
                  query.getColumn(3).getString(), query.getColumn(4).getString(),   query.getColumn(5).getInt() != 0,
                  query.getColumn(6).getDouble(), query.getColumn(7).getString(),   query.getColumn(8).getString(),
                  query.getColumn(9).getString(), query.getColumn(10).getInt() != 0};
}

} // namespace

std::optional<Person> personByEmail(SQLite::Database& database, const std::string& email, const std::string& subdomain)
{
    SQLite::Statement query(database, std::string(SelectPerson) +
                                          "p.email = ?1 AND (a.subdomain = ?2"
                                          " OR (?2 = '' AND (SELECT COUNT(*) FROM accounts) = 1))");
    SQLite::bind(query, email, subdomain);
    return only(query);
}

std::optional<Person> ownerOf(SQLite::Database& database, const std::string& subdomain)
{
    SQLite::Statement query(
        database, std::string(SelectPerson) +
                      "p.id = (SELECT MIN(o.id) FROM people o WHERE o.account_id = a.id) AND a.subdomain = ?");
    query.bind(1, subdomain);
    return only(query);
}

std::optional<Person> personById(SQLite::Database& database, Id id)
{
    SQLite::Statement query(database, std::string(SelectPerson) + "p.id = ?");
    query.bind(1, id);
    return only(query);
}

} // namespace localservice
