#include "TaskAssignment.h"

#include "Company.h"
#include "ListImport.h"
#include "Project.h"
#include "Task.h"
#include "User.h"

namespace model {

Project* TaskAssignment::project() const
{
    return static_cast<Project*>(toOne("project"));
}

void TaskAssignment::setProject(Project* project)
{
    setToOne("project", project);
}

Task* TaskAssignment::task() const
{
    return static_cast<Task*>(toOne("task"));
}

void TaskAssignment::setTask(Task* task)
{
    setToOne("task", task);
}

Company* TaskAssignment::company() const
{
    return static_cast<Company*>(toOne("company"));
}

void TaskAssignment::setCompany(Company* company)
{
    setToOne("company", company);
}

QString TaskAssignment::name() const
{
    const Task* assigned = task();
    return assigned ? assigned->name() : QString();
}

tl::expected<void, XmlError> TaskAssignment::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    return importList(
        std::move(utf8), context, "task-assignments", "task-assignment", false, [&](xml::Element element) {
            auto& assignment = company.findOrCreateById<TaskAssignment>(element.descendant("id").text(), context);
            assignment.setProjectId(element.descendant("project-id").text());
            assignment.setTaskId(element.descendant("task-id").text());
            assignment.setRate(element.descendant("hourly-rate").number());
            assignment.setProject(company.findObject<Project>(assignment.projectId(), context));
            assignment.setTask(company.findObject<Task>(assignment.taskId(), context));
        });
}

TaskAssignment& TaskAssignment::findOrCreateForUser(User& user, Project& project, Task& task, store::Context& context)
{
    Company* company = user.company();
    // Found by the objects themselves, so that the task and project of one that is found are right already.
    if (auto* found =
            fetchFirst<TaskAssignment>(context, store::where("company", company) && store::where("project", &project) &&
                                                    store::where("task", &task)))
        return *found;
    return insertForUser(user, project, task, context);
}

TaskAssignment& TaskAssignment::insertForUser(User& user, Project& project, Task& task, store::Context& context)
{
    auto& assignment = static_cast<TaskAssignment&>(context.insert(entityName));
    assignment.setProject(&project);
    assignment.setTask(&task);
    assignment.setProjectId(project.idString());
    assignment.setTaskId(task.idString());
    assignment.setCompany(user.company());
    return assignment;
}

} // namespace model
