#pragma once

#include "editing/QuillonAutocompleter.h"
#include "model/AssignedProjects.h"
#include "model/Project.h"

#include <optional>

namespace editing {

/// Chooses among the projects assigned to the entry's user.
class ProjectQuillonAutocompleter final : public QuillonAutocompleter
{
    Q_OBJECT
public:
    ProjectQuillonAutocompleter();

    /// Null: none.
    model::Project* selectedProject() const;

    void setEntry(model::DayEntry* entry) override;
    void reloadData() override;
    QuillonAutocompleterResultsController::Results suggestionsForText(const QString& text) override;
    model::QuillonObject* findSelectionFromCurrentText(const QString& text) override;

protected:
    void fillMenu(PickerMenu& menu) override;
    void itemSelectedFromMenu(qint64 tag) override;
    QString missingText() const override { return tr("No project chosen"); }
    std::pair<QString, QString> manager() const override
    {
        return {tr("Manage Projects"), QStringLiteral("/projects")};
    }

private:
    const model::AssignedProjects& assignedProjects();

    /// Of the catalog as it is, made when first needed.
    std::optional<model::AssignedProjects> m_assignedProjects;
    store::Ref<model::User> m_assignedTo;
};

} // namespace editing
