#pragma once

#include "model/QuillonObject.h"

namespace model {

class Import;
class Project;
class User;

/// A user works on a project.
class UserAssignment final : public QuillonObject
{
public:
    static constexpr const char* EntityName = "UserAssignment";

    // The ids as the service gave them, kept even where the object itself is unknown.
    QString userId() const { return string("userId"); }
    QString projectId() const { return string("projectId"); }

    User* user() const { return toOne<User>("user"); }
    void setUser(User* user) { setToOne("user", user); }
    Project* project() const { return toOne<Project>("project"); }
    void setProject(Project* project) { setToOne("project", project); }

    /// A "user-assignments" list.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// Has neither an id nor a `userId` when made here. Does not save.
    static UserAssignment& findOrCreateForUser(User& user, Project& project, Import& import);
};

} // namespace model
