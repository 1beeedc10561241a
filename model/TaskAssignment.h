#pragma once

#include "model/QuillonObject.h"

namespace model {

class Import;
class Project;
class Task;
class User;

/// A project offers a task.
class TaskAssignment final : public QuillonObject
{
public:
    static constexpr const char* EntityName = "TaskAssignment";

    // The ids as the service gave them, kept even where the object itself is unknown.
    QString projectId() const { return string("projectId"); }
    QString taskId() const { return string("taskId"); }
    bool billableBool() const { return boolean("isBillable"); }

    Project* project() const { return toOne<Project>("project"); }
    void setProject(Project* project) { setToOne("project", project); }
    Task* task() const { return toOne<Task>("task"); }
    void setTask(Task* task) { setToOne("task", task); }

    /// The task's; null without one.
    QString name() const;

    /// A "task-assignments" list.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// In the user's company. The caller decides whether it is billable. Does not save.
    static TaskAssignment& findOrCreateForUser(User& user, Project& project, Task& task, Import& import);
};

} // namespace model
