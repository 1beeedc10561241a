#include "User.h"

#include "Client.h"
#include "Host.h"
#include "Import.h"
#include "Project.h"
#include "UserAssignment.h"

#include <algorithm>
#include <unordered_map>
#include <utility>

using namespace Qt::StringLiterals;

namespace model {

namespace {

/// Character by character, like case-insensitive comparisons. QString::toCaseFolded changes lengths.
QString folded(const QString& text)
{
    QString result = text;
    for (qsizetype i = 0; i < result.size(); ++i) {
        const QChar character = result.at(i);
        if (character.isHighSurrogate() && i + 1 < result.size() && result.at(i + 1).isLowSurrogate()) {
            const char32_t small = QChar::toCaseFolded(QChar::surrogateToUcs4(character, result.at(i + 1)));
            result[i] = QChar(QChar::highSurrogate(small));
            result[++i] = QChar(QChar::lowSurrogate(small));
        } else {
            result[i] = character.toCaseFolded();
        }
    }
    return result;
}

} // namespace

QString User::description() const
{
    return u"Email: %1 | firstName: %2 | lastName: %3 | ID: %4 | defaultRate: %5"_s.arg(
        described("email"), described("firstName"), described("lastName"), described("idString"),
        described("defaultRate"));
}

User* User::findByEmail(const QString& email, const Company& company, store::Context& context)
{
    return fetchFirst<User>(context, store::where("company", &company) && store::where("email", email));
}

User* User::findByEmail(const QString& email, const Company& company)
{
    store::Context* context = Host::currentContext();
    return context ? findByEmail(email, company, *context) : nullptr;
}

std::vector<Project*> User::assignedProjects() const
{
    std::vector<Project*> projects;
    for (const auto& [client, listed] : assigned()) {
        for (const Listed& each : listed)
            projects.push_back(each.project);
    }
    return projects;
}

bool User::isAssignedTo(const Project& project) const
{
    // The menu asks for the same few after every merge; finding one goes through all of this person's.
    const std::uint64_t revision = context().revision({UserAssignment::EntityName, Project::EntityName});
    if (std::exchange(m_knownAt, revision) != revision)
        m_known.clear();
    const auto [known, isNew] = m_known.try_emplace(project.id().row);
    if (isNew) {
        known->second =
            fetchFirst<UserAssignment>(context(), store::where("user", this) && store::where("project", &project));
    }
    return known->second;
}

User::ProjectsByClient User::projectsWithMatchingNamesGroupedByClient(const QString& filter) const
{
    const QString searched = folded(filter);
    ProjectsByClient groups;
    for (const auto& [client, listed] : assigned()) {
        std::vector<Project*> matching;
        for (const Listed& each : listed) {
            if (each.searched.contains(searched))
                matching.push_back(each.project);
        }
        if (!matching.empty())
            groups.try_emplace(groups.end(), client, std::move(matching));
    }
    return groups;
}

User::ProjectsByClient User::groupByClientName(const std::vector<Project*>& projects) const
{
    ProjectsByClient groups;
    // There are far fewer clients than projects.
    std::unordered_map<const Client*, std::vector<Project*>*> groupOf;
    for (Project* project : projects) {
        const Client* client = project->client();
        std::vector<Project*>*& group = groupOf[client];
        if (!group) {
            const QString name = client ? client->name() : QString();
            group = &groups[name.isNull() ? u""_s : name];
        }
        group->push_back(project);
    }
    return groups;
}

const std::map<QString, std::vector<User::Listed>>& User::assigned() const
{
    // Before anything is read: what fails is not kept.
    const std::uint64_t revision =
        context().revision({EntityName, UserAssignment::EntityName, Project::EntityName, Client::EntityName});
    if (std::exchange(m_assignedAt, revision) == revision)
        return m_assigned;
    // All of them are loaded at once rather than one by one for their names.
    if (const Company* company = this->company()) {
        static_cast<void>(company->projects());
        static_cast<void>(company->clients());
    }
    std::vector<Project*> projects;
    for (const UserAssignment* assignment : userAssignments()) {
        if (Project* project = assignment->project())
            projects.push_back(project);
    }
    m_assigned.clear();
    for (const auto& [client, ofClient] : groupByClientName(projects)) {
        auto& listed = m_assigned.try_emplace(m_assigned.end(), client)->second;
        for (Project* project : ofClient)
            listed.push_back({project, project->name(), folded(project->displayName())});
        std::stable_sort(listed.begin(), listed.end(),
                         [](const Listed& left, const Listed& right) { return left.name < right.name; });
    }
    return m_assigned;
}

tl::expected<void, XmlError> User::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    const auto take = [](xml::Element element, Import& import) {
        auto& user = import.findOrCreateById<User>(element.descendant("id").text());
        user.setValue("firstName", element.descendant("first-name").text());
        user.setValue("lastName", element.descendant("last-name").text());
        user.setEmail(element.descendant("email").text());
        user.setValue("defaultRate", element.descendant("default-hourly-rate").number());
    };
    return importList(std::move(utf8), company, context, "users", "user", take, true);
}

} // namespace model
