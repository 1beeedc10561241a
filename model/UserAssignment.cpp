#include "UserAssignment.h"

#include "Import.h"
#include "Project.h"
#include "User.h"

namespace model {

tl::expected<void, XmlError> UserAssignment::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    const auto take = [](xml::Element element, Import& import) {
        auto& assignment = import.findOrCreateById<UserAssignment>(element.descendant("id").text());
        assignment.setValue("projectId", element.descendant("project-id").text());
        assignment.setValue("userId", element.descendant("user-id").text());
        assignment.setValue("rate", element.descendant("hourly-rate").number());
        assignment.setProject(import.findObject<Project>(assignment.projectId()));
        assignment.setUser(import.findObject<User>(assignment.userId()));
    };
    return importList(std::move(utf8), company, context, "user-assignments", "user-assignment", take);
}

UserAssignment& UserAssignment::findOrCreateForUser(User& user, Project& project, Import& import)
{
    Import::Assignment& known = import.assignment(user, project);
    if (auto* found = static_cast<UserAssignment*>(import.context().find(known.id)))
        return *found;
    auto& made = static_cast<UserAssignment&>(import.context().insert(EntityName));
    made.setProject(&project);
    made.setUser(&user);
    made.setValue("projectId", project.idString());
    made.setCompany(user.company());
    known.id = made.id();
    return made;
}

} // namespace model
