#include "User.h"

#include "AssignedProjects.h"
#include "Client.h"
#include "Company.h"
#include "DayEntry.h"
#include "Host.h"
#include "ListImport.h"
#include "Project.h"
#include "UserAssignment.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace model {

namespace {

QString clientName(const Project& project)
{
    const Client* client = project.client();
    return client ? client->name() : QString();
}

void sortByClientName(std::vector<Project*>& projects)
{
    std::vector<std::pair<QString, Project*>> named;
    named.reserve(projects.size());
    for (Project* project : projects)
        named.emplace_back(clientName(*project), project);
    std::stable_sort(named.begin(), named.end(),
                     [](const auto& left, const auto& right) { return left.first < right.first; });
    std::transform(named.begin(), named.end(), projects.begin(), [](const auto& pair) { return pair.second; });
}

} // namespace

Company* User::company() const
{
    return static_cast<Company*>(toOne("company"));
}

void User::setCompany(Company* company)
{
    setToOne("company", company);
}

std::vector<UserAssignment*> User::userAssignments() const
{
    return members<UserAssignment>("userAssignments");
}

std::vector<DayEntry*> User::dayEntries() const
{
    return members<DayEntry>("dayEntries");
}

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
    store::Context* context = Host::current() ? Host::current()->mainContext() : nullptr;
    return context ? findByEmail(email, company, *context) : nullptr;
}

std::vector<Project*> User::assignedProjects() const
{
    std::vector<Project*> projects;
    for (const UserAssignment* assignment : userAssignments()) {
        if (Project* project = assignment->project())
            projects.push_back(project);
    }
    sortByClientName(projects);
    return projects;
}

User::ProjectsByClient User::projectsWithMatchingNamesGroupedByClient(const QString& filter) const
{
    return AssignedProjects(*this).matching(filter);
}

User::ProjectsByClient User::groupByClientName(std::vector<Project*> projects) const
{
    sortByClientName(projects);
    ProjectsByClient groups;
    for (Project* project : projects) {
        const QString name = clientName(*project);
        groups[name.isNull() ? u""_s : name].push_back(project);
    }
    return groups;
}

tl::expected<void, XmlError> User::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    return importList(std::move(utf8), context, "users", "user", true, [&](xml::Element element) {
        auto& user = company.findOrCreateById<User>(element.descendant("id").text(), context);
        user.setFirstName(element.descendant("first-name").text());
        user.setLastName(element.descendant("last-name").text());
        user.setEmail(element.descendant("email").text());
        user.setDefaultRate(element.descendant("default-hourly-rate").number());
    });
}

} // namespace model
