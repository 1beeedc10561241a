#pragma once

#include "model/QuillonObject.h"

#include <optional>

namespace model {

class Project;
class Task;
class User;

/// A project offers a task.
class TaskAssignment final : public QuillonObject
{
public:
    static constexpr const char* entityName = "TaskAssignment";

    // The ids as the service gave them, kept even where the object itself is not known.
    QString projectId() const { return string("projectId"); }
    void setProjectId(const QString& projectId) { setValue("projectId", projectId); }
    QString taskId() const { return string("taskId"); }
    void setTaskId(const QString& taskId) { setValue("taskId", taskId); }
    /// Per hour.
    std::optional<double> rate() const { return optionalNumber("rate"); }
    void setRate(std::optional<double> rate) { setOptionalNumber("rate", rate); }
    bool isBillable() const { return boolean("isBillable"); }
    bool billableBool() const { return isBillable(); }
    void setIsBillable(bool isBillable) { setValue("isBillable", isBillable); }

    Project* project() const;
    void setProject(Project* project);
    Task* task() const;
    void setTask(Task* task);
    Company* company() const;
    void setCompany(Company* company);

    /// The task's; null without one.
    QString name() const;

    /// A "task-assignments" list.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// In the user's company. Leaves `isBillable` to the caller. Does not save.
    static TaskAssignment& findOrCreateForUser(User& user, Project& project, Task& task, store::Context& context);
    /// For callers who know that there is none.
    static TaskAssignment& insertForUser(User& user, Project& project, Task& task, store::Context& context);
};

} // namespace model
