#include "Task.h"

#include "Company.h"
#include "DayEntry.h"
#include "ListImport.h"
#include "TaskAssignment.h"

using namespace Qt::StringLiterals;

namespace model {

Company* Task::company() const
{
    return static_cast<Company*>(toOne("company"));
}

void Task::setCompany(Company* company)
{
    setToOne("company", company);
}

std::vector<TaskAssignment*> Task::taskAssignments() const
{
    return members<TaskAssignment>("taskAssignments");
}

std::vector<DayEntry*> Task::dayEntries() const
{
    return members<DayEntry>("dayEntries");
}

QString Task::description() const
{
    return u"Name: %1 | ID: %2 | rate: %3"_s.arg(described("name"), described("idString"), described("rate"));
}

int Task::taskCaseInsenstiveCompare(const Task& other) const
{
    return name().compare(other.name(), Qt::CaseInsensitive);
}

tl::expected<void, XmlError> Task::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    return importList(std::move(utf8), context, "tasks", "task", false,
                      [&](xml::Element element) { parseTask(element, company, context); });
}

Task& Task::parseTask(xml::Element element, Company& company, store::Context& context)
{
    auto& task = company.findOrCreateById<Task>(element.child("id").text(), context);
    task.readElement(element);
    return task;
}

void Task::readElement(xml::Element element)
{
    setName(element.child("name").unescapedText());
    if (const xml::Element rate = element.child("default-hourly-rate"))
        setRate(rate.number());
}

Task& Task::createWithName(const QString& name, const QString& idString, Company& company, store::Context& context)
{
    auto& task = company.findOrCreateById<Task>(idString, context);
    task.setName(name);
    return task;
}

} // namespace model
