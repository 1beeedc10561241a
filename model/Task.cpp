#include "Task.h"

#include "Import.h"

using namespace Qt::StringLiterals;

namespace model {

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
    return importList(std::move(utf8), company, context, "tasks", "task", &Task::parseTask);
}

Task& Task::parseTask(xml::Element element, Import& import)
{
    Task& task = createWithName(element.child("name").unescapedText(), element.child("id").text(), import);
    if (const xml::Element rate = element.child("default-hourly-rate"))
        task.setValue("rate", rate.number());
    return task;
}

Task& Task::createWithName(const QString& name, const QString& idString, Import& import)
{
    auto& task = import.findOrCreateById<Task>(idString);
    task.setName(name);
    return task;
}

} // namespace model
