#pragma once

#include "editing/QuillonAutocompleter.h"
#include "model/Project.h"
#include "model/Task.h"

namespace editing {

/// Chooses among the tasks assigned to one project.
class TaskQuillonAutocompleter final : public QuillonAutocompleter
{
    Q_OBJECT
public:
    TaskQuillonAutocompleter();

    /// Null: none.
    model::Task* selectedTask() const;
    model::Project* project() const { return m_project.get(); }
    /// The choice stays.
    void setProject(model::Project* project);
    /// For when another project was chosen: selects the project's task with the name in the field, else its first task,
    /// else none.
    void chooseForProject(model::Project* project);

    void setEntry(model::DayEntry* entry) override;
    QuillonAutocompleterResultsController::Results suggestionsForText(const QString& text) override;
    model::QuillonObject* findSelectionFromCurrentText(const QString& text) override;

protected:
    void fillMenu(PickerMenu& menu) override;
    void itemSelectedFromMenu(qint64 tag) override;
    QString missingText() const override { return tr("No task chosen"); }
    std::pair<QString, QString> manager() const override
    {
        // Without a project there are no tasks: the project comes first.
        return m_project ? std::pair(tr("Manage Tasks"), QStringLiteral("/tasks")) : std::pair<QString, QString>();
    }

private:
    std::vector<model::Task*> assignedTasks() const;

    store::Ref<model::Project> m_project;
};

} // namespace editing
