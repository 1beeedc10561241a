#include "editing/TaskQuillonAutocompleter.h"

#include <algorithm>

using namespace Qt::StringLiterals;

namespace editing {

TaskQuillonAutocompleter::TaskQuillonAutocompleter() : QuillonAutocompleter(tr("Task"), tr("Choose Task")) {}

model::Task* TaskQuillonAutocompleter::selectedTask() const
{
    return static_cast<model::Task*>(selectedValue());
}

void TaskQuillonAutocompleter::setProject(model::Project* project)
{
    m_project = project;
    reloadData();
}

void TaskQuillonAutocompleter::chooseForProject(model::Project* project)
{
    setProject(project);
    const std::vector<model::Task*> tasks = assignedTasks();
    const auto same = std::find_if(tasks.begin(), tasks.end(),
                                   [name = text()](const model::Task* task) { return task->name() == name; });
    setSelectedValue(same != tasks.end() ? *same : tasks.empty() ? nullptr : tasks.front());
}

void TaskQuillonAutocompleter::setEntry(model::DayEntry* entry)
{
    setEntryOnly(entry);
    setProject(entry ? entry->project() : nullptr);
    setSelectedValue(entry ? entry->task() : nullptr);
    reloadData();
}

QuillonAutocompleterResultsController::Results TaskQuillonAutocompleter::suggestionsForText(const QString& text)
{
    QuillonAutocompleterResultsController::Results results;
    if (const model::Project* project = m_project.get()) {
        for (const auto& [label, tasks] : project->tasksWithMatchingNamesGroupedByBillable(text))
            results.try_emplace(label == "Billable"_L1 ? tr("Billable") : tr("Non-Billable"), tasks.begin(),
                                tasks.end());
    }
    return results;
}

model::QuillonObject* TaskQuillonAutocompleter::findSelectionFromCurrentText(const QString& text)
{
    return withName(assignedTasks(), text);
}

void TaskQuillonAutocompleter::fillMenu(PickerMenu& menu)
{
    const model::Project* project = m_project.get();
    if (!project)
        return;
    const auto addGroup = [&](const QString& title, const std::vector<model::Task*>& tasks) {
        if (!tasks.empty())
            menu.addHeader(title);
        for (const model::Task* task : tasks)
            menu.addItem(task->name(), tag(*task));
    };
    addGroup(tr("Billable"), project->billableTasks());
    addGroup(tr("Non-Billable"), project->nonBillableTasks());
}

void TaskQuillonAutocompleter::itemSelectedFromMenu(qint64 tag)
{
    setSelectedValue(withTag(assignedTasks(), tag));
}

std::vector<model::Task*> TaskQuillonAutocompleter::assignedTasks() const
{
    const model::Project* project = m_project.get();
    return project ? project->assignedTasks() : std::vector<model::Task*>();
}

} // namespace editing
