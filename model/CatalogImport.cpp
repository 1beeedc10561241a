#include "CatalogImport.h"

#include "Client.h"
#include "Company.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"

namespace model {

namespace {

/// What is noted under the key; what `findOrCreate` answers, and notes, where there is nothing yet.
template <class Key, class T, class FindOrCreate>
T& noted(QHash<Key, T*>& known, const Key& key, FindOrCreate findOrCreate)
{
    T*& object = known[key];
    if (!object)
        object = &findOrCreate();
    return *object;
}

std::pair<qint64, qint64> rows(store::ObjectId project, store::ObjectId task)
{
    return {project.row, task.row};
}

} // namespace

CatalogImport::CatalogImport(Company& company, User* user, store::Context& context)
    : m_company(company), m_user(user), m_context(context)
{
    for (Project* project : company.projects()) {
        m_projects.insert(project->idString(), project);
        m_staleProjects.insert(project);
    }
    for (Task* task : company.tasks()) {
        m_tasks.insert(task->idString(), task);
        m_staleTasks.insert(task);
    }
    // Backwards, so that of several of one name or pair the first is found, as in every other look-up.
    const std::vector<Client*> clients = company.clients();
    for (auto client = clients.rbegin(); client != clients.rend(); ++client) {
        m_clientsById.insert((*client)->idString(), *client);
        m_clientsByName.insert((*client)->name(), *client);
    }
    if (!user)
        return;
    for (const UserAssignment* assignment : user->userAssignments())
        m_assigned.insert(assignment->project());
    // By far the most there is, and hardly ever changed: compared without making objects of them.
    context.scan(
        TaskAssignment::entityName, store::where("company", &company), {"isBillable"}, {"project", "task"},
        [this](const store::Context::Glimpse& assignment) {
            const bool* billable = std::get_if<bool>(&assignment.attributes[0]);
            const auto pair = std::pair(assignment.toOnes[0], assignment.toOnes[1]);
            if (!m_taskAssignments.contains(pair))
                m_taskAssignments.insert(pair, {assignment.id, billable ? std::optional(*billable) : std::nullopt});
        });
}

void CatalogImport::importProject(xml::Element element)
{
    const QString id = element.child("id").text();
    Project& project =
        noted(m_projects, id, [&]() -> Project& { return m_company.insertWithId<Project>(id, m_context); });
    project.readElement(element);
    project.setClient(&clientOf(element));
    m_staleProjects.erase(&project);
    if (m_user && m_assigned.insert(&project).second)
        UserAssignment::insertForUser(*m_user, project, m_context);
    for (xml::Element tasks = element.child("tasks"); tasks; tasks = tasks.next("tasks")) {
        for (xml::Element task = tasks.child("task"); task && !m_context.isStopped(); task = task.next("task"))
            importTask(task, project);
    }
}

void CatalogImport::importTask(xml::Element element, Project& project)
{
    const QString id = element.child("id").text();
    Task& task = noted(m_tasks, id, [&]() -> Task& { return m_company.insertWithId<Task>(id, m_context); });
    task.readElement(element);
    m_staleTasks.erase(&task);
    if (m_user)
        assign(task, project, element.child("billable").isTrue());
}

void CatalogImport::assign(Task& task, Project& project, bool billable)
{
    Assignment& known = m_taskAssignments[rows(project.id(), task.id())];
    if (known.id && known.isBillable == billable)
        return;
    auto* assignment = static_cast<TaskAssignment*>(m_context.find(known.id));
    // None yet, or another context deleted it meanwhile.
    if (!assignment)
        assignment = &TaskAssignment::insertForUser(*m_user, project, task, m_context);
    assignment->setIsBillable(billable);
    known = {assignment->id(), billable};
}

Client& CatalogImport::clientOf(xml::Element projectElement)
{
    if (const xml::Element clientId = projectElement.child("client-id")) {
        const QString id = clientId.text();
        return noted(m_clientsById, id, [&]() -> Client& { return m_company.findOrCreateById<Client>(id, m_context); });
    }
    const QString name = projectElement.child("client").unescapedText();
    return noted(m_clientsByName, name,
                 [&]() -> Client& { return m_company.findOrCreateByName<Client>(name, m_context); });
}

void CatalogImport::removeStale()
{
    for (Project* project : m_staleProjects) {
        m_projects.remove(project->idString());
        m_context.remove(*project);
    }
    for (Task* task : m_staleTasks) {
        m_tasks.remove(task->idString());
        m_context.remove(*task);
    }
}

} // namespace model
