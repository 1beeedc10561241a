#pragma once

#include "model/QuillonObject.h"

#include <map>
#include <optional>

namespace model {

class DayEntry;
class Project;
class UserAssignment;

/// A person of the account.
class User final : public QuillonObject
{
public:
    static constexpr const char* entityName = "User";

    QString email() const { return string("email"); }
    void setEmail(const QString& email) { setValue("email", email); }
    QString firstName() const { return string("firstName"); }
    void setFirstName(const QString& firstName) { setValue("firstName", firstName); }
    QString lastName() const { return string("lastName"); }
    void setLastName(const QString& lastName) { setValue("lastName", lastName); }
    /// Per hour.
    std::optional<double> defaultRate() const { return optionalNumber("defaultRate"); }
    void setDefaultRate(std::optional<double> rate) { setOptionalNumber("defaultRate", rate); }

    Company* company() const;
    void setCompany(Company* company);
    std::vector<UserAssignment*> userAssignments() const;
    std::vector<DayEntry*> dayEntries() const;

    QString description() const override;

    /// Null: none. Without a context: in the main context.
    static User* findByEmail(const QString& email, const Company& company, store::Context& context);
    static User* findByEmail(const QString& email, const Company& company);

    /// By the name of their client.
    std::vector<Project*> assignedProjects() const;
    /// Name of the client → projects. Projects without a client, or with one without a name, stand under an empty name.
    using ProjectsByClient = std::map<QString, std::vector<Project*>>;
    /// The assigned projects whose display name contains `filter`, in any case; all for an empty filter.
    ProjectsByClient projectsWithMatchingNamesGroupedByClient(const QString& filter) const;
    ProjectsByClient groupByClientName(std::vector<Project*> projects) const;

    /// A "users" list, or a single "user".
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
};

} // namespace model
