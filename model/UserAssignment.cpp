#include "UserAssignment.h"

#include "Company.h"
#include "ListImport.h"
#include "Project.h"
#include "User.h"

namespace model {

User* UserAssignment::user() const
{
    return static_cast<User*>(toOne("user"));
}

void UserAssignment::setUser(User* user)
{
    setToOne("user", user);
}

Project* UserAssignment::project() const
{
    return static_cast<Project*>(toOne("project"));
}

void UserAssignment::setProject(Project* project)
{
    setToOne("project", project);
}

Company* UserAssignment::company() const
{
    return static_cast<Company*>(toOne("company"));
}

void UserAssignment::setCompany(Company* company)
{
    setToOne("company", company);
}

tl::expected<void, XmlError> UserAssignment::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    return importList(
        std::move(utf8), context, "user-assignments", "user-assignment", false, [&](xml::Element element) {
            auto& assignment = company.findOrCreateById<UserAssignment>(element.descendant("id").text(), context);
            assignment.setProjectId(element.descendant("project-id").text());
            assignment.setUserId(element.descendant("user-id").text());
            assignment.setRate(element.descendant("hourly-rate").number());
            assignment.setProject(company.findObject<Project>(assignment.projectId(), context));
            assignment.setUser(company.findObject<User>(assignment.userId(), context));
        });
}

UserAssignment& UserAssignment::findOrCreateForUser(User& user, Project& project, store::Context& context)
{
    Company* company = user.company();
    if (auto* found =
            fetchFirst<UserAssignment>(context, store::where("company", company) && store::where("project", &project) &&
                                                    store::where("user", &user)))
        return *found;
    return insertForUser(user, project, context);
}

UserAssignment& UserAssignment::insertForUser(User& user, Project& project, store::Context& context)
{
    auto& assignment = static_cast<UserAssignment&>(context.insert(entityName));
    assignment.setProject(&project);
    assignment.setUser(&user);
    assignment.setProjectId(project.idString());
    assignment.setCompany(user.company());
    return assignment;
}

} // namespace model
