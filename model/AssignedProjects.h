#pragma once

#include "model/User.h"

#include <optional>

namespace model {

class Project;

/// The projects assigned to a user, prepared for being found at every key press: names are read and folded once.
///
/// Shows the catalog as it was when it was made, and nothing of what was deleted since. Make a new one when the catalog
/// has changed.
class AssignedProjects
{
public:
    AssignedProjects() = default;
    explicit AssignedProjects(const User& user);

    /// In the order of `User::assignedProjects`.
    std::vector<Project*> all() const;
    /// As `User::projectsWithMatchingNamesGroupedByClient`.
    User::ProjectsByClient matching(const QString& filter) const;

private:
    struct Item
    {
        store::Ref<Project> project;
        QString client;
        QString searched; ///< the display name, folded
    };
    std::vector<Item> m_items; ///< by client
};

} // namespace model
