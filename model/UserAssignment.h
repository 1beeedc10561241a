#pragma once

#include "model/QuillonObject.h"

#include <optional>

namespace model {

class Project;
class User;

/// A user works on a project.
class UserAssignment final : public QuillonObject
{
public:
    static constexpr const char* entityName = "UserAssignment";

    // The ids as the service gave them, kept even where the object itself is not known.
    QString userId() const { return string("userId"); }
    void setUserId(const QString& userId) { setValue("userId", userId); }
    QString projectId() const { return string("projectId"); }
    void setProjectId(const QString& projectId) { setValue("projectId", projectId); }
    /// Per hour.
    std::optional<double> rate() const { return optionalNumber("rate"); }
    void setRate(std::optional<double> rate) { setOptionalNumber("rate", rate); }
    bool isBillable() const { return boolean("isBillable"); }
    void setIsBillable(bool isBillable) { setValue("isBillable", isBillable); }

    User* user() const;
    void setUser(User* user);
    Project* project() const;
    void setProject(Project* project);
    Company* company() const;
    void setCompany(Company* company);

    /// A "user-assignments" list.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// One that is made here has neither an id nor a `userId`. Does not save.
    static UserAssignment& findOrCreateForUser(User& user, Project& project, store::Context& context);
    /// For callers who know that there is none.
    static UserAssignment& insertForUser(User& user, Project& project, store::Context& context);
};

} // namespace model
