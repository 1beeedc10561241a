#pragma once

#include "Xml.h"

#include "store/Value.h"

#include <QHash>
#include <QString>

#include <optional>
#include <unordered_set>
#include <utility>

namespace store {
class Context;
}

namespace model {

class Client;
class Company;
class Project;
class Task;
class User;

/// Takes in the projects of a day sheet with their tasks and assignments, and drops those that it does not hold.
///
/// Loads the company's catalog once and looks everything up in memory: a sheet of a large account names ten thousand
/// tasks.
class CatalogImport
{
public:
    /// `user` is who the projects are assigned to; without one nothing is assigned.
    CatalogImport(Company& company, User* user, store::Context& context);

    void importProject(xml::Element element);
    /// Deletes the projects and tasks that were there before and were not imported.
    void removeStale();

    // By id, all that there are after `removeStale`.
    const QHash<QString, Project*>& projects() const { return m_projects; }
    const QHash<QString, Task*>& tasks() const { return m_tasks; }

private:
    Client& clientOf(xml::Element projectElement);
    void importTask(xml::Element element, Project& project);
    void assign(Task& task, Project& project, bool billable);

    /// What is stored of the assignment of a task to a project.
    struct Assignment
    {
        store::ObjectId id;
        std::optional<bool> isBillable;
    };

    Company& m_company;
    User* m_user;
    store::Context& m_context;
    QHash<QString, Project*> m_projects;
    QHash<QString, Task*> m_tasks;
    QHash<QString, Client*> m_clientsById;
    QHash<QString, Client*> m_clientsByName;
    std::unordered_set<Project*> m_assigned;                        ///< to the user
    QHash<std::pair<qint64, qint64>, Assignment> m_taskAssignments; ///< by rows of project and task
    std::unordered_set<Project*> m_staleProjects;
    std::unordered_set<Task*> m_staleTasks;
};

} // namespace model
