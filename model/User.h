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
    static constexpr const char* EntityName = "User";

    QString email() const { return string("email"); }
    void setEmail(const QString& email) { setValue("email", email); }

    std::vector<UserAssignment*> userAssignments() const { return toMany<UserAssignment>("userAssignments"); }
    std::vector<DayEntry*> dayEntries() const { return toMany<DayEntry>("dayEntries"); }

    QString description() const override;

    /// Null: none. Without a context: in the main context.
    static User* findByEmail(const QString& email, const Company& company, store::Context& context);
    static User* findByEmail(const QString& email, const Company& company);

    /// By the name of their client, then by their own.
    std::vector<Project*> assignedProjects() const;
    /// Whether it is one of those; reads no other.
    bool isAssignedTo(const Project& project) const;
    /// Name of the client → projects. Projects without a client, or with one without a name, stand under an empty name.
    using ProjectsByClient = std::map<QString, std::vector<Project*>>;
    /// The assigned projects whose display name contains `filter`, ignoring case; all for an empty filter. Fast enough
    /// for every key press: names are read and folded once, until something changes.
    ProjectsByClient projectsWithMatchingNamesGroupedByClient(const QString& filter) const;
    ProjectsByClient groupByClientName(const std::vector<Project*>& projects) const;

    /// A "users" list, or a single "user".
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);

private:
    /// A project with what it is sorted and found by.
    struct Listed
    {
        Project* project;
        QString name;
        QString searched; ///< the display name, folded
    };
    /// By the name of their client, then by their own.
    const std::map<QString, std::vector<Listed>>& assigned() const;

    mutable std::map<QString, std::vector<Listed>> m_assigned;
    mutable std::optional<std::uint64_t> m_assignedAt; ///< the context's revision they belong to
    mutable std::map<std::int64_t, bool> m_known;      ///< whether a project is assigned, by its row
    mutable std::optional<std::uint64_t> m_knownAt;
};

} // namespace model
