#pragma once

#include "model/QuillonObject.h"

namespace model::xml {
class Element;
}

namespace model {

class DayEntry;
class Import;
class TaskAssignment;

/// A kind of work, offered on projects by assignments.
class Task final : public QuillonObject
{
public:
    static constexpr const char* EntityName = "Task";

    QString name() const { return string("name"); }
    void setName(const QString& name) { setValue("name", name); }
    std::vector<TaskAssignment*> taskAssignments() const { return toMany<TaskAssignment>("taskAssignments"); }
    std::vector<DayEntry*> dayEntries() const { return toMany<DayEntry>("dayEntries"); }

    QString displayName() const override { return name(); }
    QString description() const override;

    /// Order of the names, ignoring case: negative, zero or positive.
    int taskCaseInsenstiveCompare(const Task& other) const;

    /// A "tasks" list.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// One "task" element, of a list or of a day sheet. Does not save.
    static Task& parseTask(xml::Element element, Import& import);
    static Task& createWithName(const QString& name, const QString& idString, Import& import);
};

} // namespace model
