#pragma once

#include "model/QuillonObject.h"

#include <optional>

namespace model::xml {
class Element;
}

namespace model {

class DayEntry;
class TaskAssignment;

/// A kind of work, offered on projects by assignments.
class Task final : public QuillonObject
{
public:
    static constexpr const char* entityName = "Task";

    QString name() const { return string("name"); }
    void setName(const QString& name) { setValue("name", name); }
    /// Per hour, unless the project says otherwise.
    std::optional<double> rate() const { return optionalNumber("rate"); }
    void setRate(std::optional<double> rate) { setOptionalNumber("rate", rate); }

    Company* company() const;
    void setCompany(Company* company);
    std::vector<TaskAssignment*> taskAssignments() const;
    std::vector<DayEntry*> dayEntries() const;

    QString displayName() const override { return name(); }
    QString description() const override;

    /// Order of the names, ignoring case: negative, zero or positive.
    int taskCaseInsenstiveCompare(const Task& other) const;

    /// A "tasks" list.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// One "task" element, of a list or of a day sheet. Does not save.
    static Task& parseTask(xml::Element element, Company& company, store::Context& context);
    static Task& createWithName(const QString& name, const QString& idString, Company& company,
                                store::Context& context);

    /// Takes over what a "task" element says of the task itself.
    void readElement(xml::Element element);

    /// Of this instance alone, never stored.
    bool isDeactivated = false;
};

} // namespace model
