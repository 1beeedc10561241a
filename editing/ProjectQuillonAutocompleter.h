#pragma once

#include "editing/QuillonAutocompleter.h"
#include "model/Project.h"
#include "model/User.h"

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
    QuillonAutocompleterResultsController::Results suggestionsForText(const QString& text) override;
    model::QuillonObject* findSelectionFromCurrentText(const QString& text) override;

protected:
    void prepare() override { static_cast<void>(assignedProjects()); }
    void fillMenu(PickerMenu& menu) override;
    void itemSelectedFromMenu(qint64 tag) override;
    QString missingText() const override { return tr("No project chosen"); }
    std::pair<QString, QString> manager() const override
    {
        return {tr("Manage Projects"), QStringLiteral("/projects")};
    }

private:
    /// The entry's; null: none.
    const model::User* user() const;
    std::vector<model::Project*> assignedProjects() const;
};

} // namespace editing
