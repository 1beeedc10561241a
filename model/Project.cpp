#include "Project.h"

#include "Client.h"
#include "Import.h"
#include "Task.h"
#include "TaskAssignment.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace model {

namespace {

std::vector<TaskAssignment*> assignments(const std::vector<store::Object*>& objects)
{
    std::vector<TaskAssignment*> typed;
    typed.reserve(objects.size());
    for (store::Object* object : objects)
        typed.push_back(static_cast<TaskAssignment*>(object));
    return typed;
}

/// Their tasks, as far as known.
std::vector<Task*> tasksOf(const std::vector<TaskAssignment*>& assignments)
{
    std::vector<Task*> tasks;
    for (const TaskAssignment* assignment : assignments) {
        if (Task* task = assignment->task())
            tasks.push_back(task);
    }
    return tasks;
}

} // namespace

std::vector<TaskAssignment*> Project::billableTaskAssignments() const
{
    return assignments(fetched("billableTaskAssignments"));
}

std::vector<TaskAssignment*> Project::nonBillableTaskAssignments() const
{
    return assignments(fetched("nonBillableTaskAssignments"));
}

QString Project::displayName() const
{
    const QString code = this->code();
    return code.isEmpty() ? name() : u"[%1] %2"_s.arg(code, name());
}

QString Project::description() const
{
    const auto given = [this](std::string_view flag) { return store::isNull(value(flag)) ? u"NO"_s : u"YES"_s; };
    return u"Name: %1 | ID: %2 | Billable Flag: %3 | Active Flag: %4"_s.arg(described("name"), described("idString"),
                                                                            given("isBillable"), given("isActive"));
}

std::vector<Task*> Project::assignedTasks() const
{
    return tasksOf(taskAssignments());
}

std::vector<Task*> Project::sortedTasksWithBillable(bool billable) const
{
    std::vector<Task*> tasks = tasksOf(billable ? billableTaskAssignments() : nonBillableTaskAssignments());
    std::stable_sort(tasks.begin(), tasks.end(),
                     [](const Task* left, const Task* right) { return left->name() < right->name(); });
    return tasks;
}

std::map<QString, std::vector<Task*>> Project::tasksWithMatchingNamesGroupedByBillable(const QString& filter) const
{
    const auto matching = [&](bool billable) {
        if (filter.isEmpty())
            return sortedTasksWithBillable(billable);
        std::vector<Task*> tasks = tasksOf(billable ? billableTaskAssignments() : nonBillableTaskAssignments());
        std::erase_if(tasks, [&](const Task* task) { return !task->name().contains(filter, Qt::CaseInsensitive); });
        return tasks;
    };
    std::map<QString, std::vector<Task*>> groups;
    if (std::vector<Task*> billable = matching(true); !billable.empty())
        groups.emplace(u"Billable"_s, std::move(billable));
    if (std::vector<Task*> nonBillable = matching(false); !nonBillable.empty())
        groups.emplace(u"Non-Billable"_s, std::move(nonBillable));
    return groups;
}

tl::expected<void, XmlError> Project::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    return importList(std::move(utf8), company, context, "projects", "project", &Project::parseProject, true);
}

Project& Project::parseProject(xml::Element element, Import& import)
{
    auto& project = import.findOrCreateById<Project>(element.child("id").text());
    project.setName(element.child("name").unescapedText());
    project.setValue("code", element.child("code").unescapedText());
    if (const xml::Element billable = element.child("billable"))
        project.setValue("isBillable", billable.isTrue());
    if (const xml::Element billBy = element.child("bill-by"))
        project.setValue("billBy", billBy.text());
    if (const xml::Element rate = element.child("hourly-rate"))
        project.setValue("rate", rate.number());
    // A day sheet names only usable projects, and does not say so.
    const xml::Element active = element.child("active");
    project.setValue("isActive", !active || active.isTrue());
    // A project list gives the client's id, a day sheet the name.
    const xml::Element clientId = element.child("client-id");
    project.setClient(clientId ? &import.findOrCreateById<Client>(clientId.text())
                               : &import.findOrCreateByName(element.child("client").unescapedText()));
    return project;
}

Project& Project::createWithName(const QString& name, const QString& idString, Import& import)
{
    auto& project = import.findOrCreateById<Project>(idString);
    project.setName(name);
    return project;
}

} // namespace model
