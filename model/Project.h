#pragma once

#include "model/QuillonObject.h"

#include <map>

namespace model::xml {
class Element;
}

namespace model {

class Client;
class DayEntry;
class Import;
class Task;
class TaskAssignment;
class UserAssignment;

/// What time is booked on.
class Project final : public QuillonObject
{
public:
    static constexpr const char* EntityName = "Project";

    QString name() const { return string("name"); }
    void setName(const QString& name) { setValue("name", name); }
    QString code() const { return string("code"); }

    Client* client() const { return toOne<Client>("client"); }
    void setClient(Client* client) { setToOne("client", client); }
    std::vector<DayEntry*> dayEntries() const { return toMany<DayEntry>("dayEntries"); }
    std::vector<TaskAssignment*> taskAssignments() const { return toMany<TaskAssignment>("taskAssignments"); }
    std::vector<UserAssignment*> userAssignments() const { return toMany<UserAssignment>("userAssignments"); }
    // In no guaranteed order.
    std::vector<TaskAssignment*> billableTaskAssignments() const;
    std::vector<TaskAssignment*> nonBillableTaskAssignments() const;

    /// The name, behind the code in brackets when there is one.
    QString displayName() const override;
    QString description() const override;

    /// In no guaranteed order.
    std::vector<Task*> assignedTasks() const;
    // By name.
    std::vector<Task*> billableTasks() const { return sortedTasksWithBillable(true); }
    std::vector<Task*> nonBillableTasks() const { return sortedTasksWithBillable(false); }
    std::vector<Task*> sortedTasksWithBillable(bool billable) const;
    /// Tasks whose name contains `filter`, ignoring case, under "Billable" and "Non-Billable"; a group that would be
    /// empty is missing. All tasks by name for an empty filter, else in no guaranteed order.
    std::map<QString, std::vector<Task*>> tasksWithMatchingNamesGroupedByBillable(const QString& filter) const;

    /// A "projects" list, or a single "project".
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// One "project" element, of a list or of a day sheet. Does not save.
    static Project& parseProject(xml::Element element, Import& import);
    static Project& createWithName(const QString& name, const QString& idString, Import& import);
};

} // namespace model
