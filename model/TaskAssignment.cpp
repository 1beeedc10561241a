#include "TaskAssignment.h"

#include "Import.h"
#include "Project.h"
#include "Task.h"
#include "User.h"

namespace model {

QString TaskAssignment::name() const
{
    const Task* assigned = task();
    return assigned ? assigned->name() : QString();
}

tl::expected<void, XmlError> TaskAssignment::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    const auto take = [](xml::Element element, Import& import) {
        auto& assignment = import.findOrCreateById<TaskAssignment>(element.descendant("id").text());
        assignment.setValue("projectId", element.descendant("project-id").text());
        assignment.setValue("taskId", element.descendant("task-id").text());
        assignment.setValue("rate", element.descendant("hourly-rate").number());
        assignment.setProject(import.findObject<Project>(assignment.projectId()));
        assignment.setTask(import.findObject<Task>(assignment.taskId()));
    };
    return importList(std::move(utf8), company, context, "task-assignments", "task-assignment", take);
}

TaskAssignment& TaskAssignment::findOrCreateForUser(User& user, Project& project, Task& task, Import& import)
{
    Import::Assignment& known = import.assignment(task, project);
    if (auto* found = static_cast<TaskAssignment*>(import.context().find(known.id)))
        return *found;
    // None yet, or another context has deleted it since.
    auto& made = static_cast<TaskAssignment&>(import.context().insert(EntityName));
    made.setProject(&project);
    made.setTask(&task);
    made.setValue("projectId", project.idString());
    made.setValue("taskId", task.idString());
    made.setCompany(user.company());
    known.id = made.id();
    return made;
}

} // namespace model
