#pragma once

#include "model/QuillonObject.h"

#include <map>
#include <optional>

namespace model::xml {
class Element;
}

namespace model {

class Client;
class DayEntry;
class Task;
class TaskAssignment;
class UserAssignment;

/// What time is booked on.
class Project final : public QuillonObject
{
public:
    static constexpr const char* entityName = "Project";

    QString name() const { return string("name"); }
    void setName(const QString& name) { setValue("name", name); }
    QString code() const { return string("code"); }
    void setCode(const QString& code) { setValue("code", code); }
    bool isBillable() const { return boolean("isBillable"); }
    void setIsBillable(bool isBillable) { setValue("isBillable", isBillable); }
    /// The service's word for how the project is billed.
    QString billBy() const { return string("billBy"); }
    void setBillBy(const QString& billBy) { setValue("billBy", billBy); }
    /// Per hour.
    std::optional<double> rate() const { return optionalNumber("rate"); }
    void setRate(std::optional<double> rate) { setOptionalNumber("rate", rate); }
    bool isActive() const { return boolean("isActive"); }
    void setIsActive(bool isActive) { setValue("isActive", isActive); }

    Company* company() const;
    void setCompany(Company* company);
    Client* client() const;
    void setClient(Client* client);
    std::vector<DayEntry*> dayEntries() const;
    std::vector<TaskAssignment*> taskAssignments() const;
    std::vector<UserAssignment*> userAssignments() const;
    // In no promised order.
    std::vector<TaskAssignment*> billableTaskAssignments() const;
    std::vector<TaskAssignment*> nonBillableTaskAssignments() const;

    /// The name, behind the code in brackets when there is one.
    QString displayName() const override;
    QString description() const override;

    /// In no promised order.
    std::vector<Task*> assignedTasks() const;
    // By name.
    std::vector<Task*> billableTasks() const { return sortedTasksWithBillable(true); }
    std::vector<Task*> nonBillableTasks() const { return sortedTasksWithBillable(false); }
    std::vector<Task*> sortedTasksWithBillable(bool billable) const;
    /// Tasks whose name contains `filter`, in any case, under "Billable" and "Non-Billable"; a group that would be
    /// empty is missing. All tasks by name for an empty filter, else in no promised order.
    std::map<QString, std::vector<Task*>> tasksWithMatchingNamesGroupedByBillable(const QString& filter) const;

    /// A "projects" list, or a single "project".
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// One "project" element, of a list or of a day sheet. Does not save.
    static Project& parseProject(xml::Element element, Company& company, store::Context& context);
    static Project& createWithName(const QString& name, const QString& idString, Company& company,
                                   store::Context& context);

    /// Takes over what a "project" element says of the project itself.
    void readElement(xml::Element element);
};

} // namespace model
