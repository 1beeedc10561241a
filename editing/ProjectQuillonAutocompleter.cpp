#include "editing/ProjectQuillonAutocompleter.h"

#include "model/Client.h"

#include <algorithm>

namespace editing {

ProjectQuillonAutocompleter::ProjectQuillonAutocompleter() : QuillonAutocompleter(tr("Project"), tr("Choose Project"))
{
}

model::Project* ProjectQuillonAutocompleter::selectedProject() const
{
    return static_cast<model::Project*>(selectedValue());
}

void ProjectQuillonAutocompleter::setEntry(model::DayEntry* entry)
{
    setEntryOnly(entry);
    setSelectedValue(entry ? entry->project() : nullptr);
    QuillonAutocompleter::reloadData();
}

QuillonAutocompleterResultsController::Results ProjectQuillonAutocompleter::suggestionsForText(const QString& text)
{
    QuillonAutocompleterResultsController::Results results;
    if (const model::User* user = this->user()) {
        for (const auto& [client, projects] : user->projectsWithMatchingNamesGroupedByClient(text))
            results.try_emplace(results.end(), client, projects.begin(), projects.end());
    }
    return results;
}

model::QuillonObject* ProjectQuillonAutocompleter::findSelectionFromCurrentText(const QString& text)
{
    return withName(assignedProjects(), text);
}

void ProjectQuillonAutocompleter::fillMenu(PickerMenu& menu)
{
    const std::vector<model::Project*> projects = assignedProjects();
    for (auto group = projects.begin(); group != projects.end();) {
        const model::Client* client = (*group)->client();
        const auto end =
            std::find_if(group, projects.end(), [&](const model::Project* other) { return other->client() != client; });
        std::vector<std::pair<QString, model::Project*>> named;
        for (; group != end; ++group)
            named.emplace_back((*group)->name(), *group);
        std::stable_sort(named.begin(), named.end(), [](const auto& left, const auto& right) {
            return left.first.compare(right.first, Qt::CaseInsensitive) < 0;
        });
        menu.addHeader(client ? client->name() : QString());
        for (const auto& [name, project] : named)
            menu.addItem(project->displayName(), tag(*project));
    }
}

void ProjectQuillonAutocompleter::itemSelectedFromMenu(qint64 tag)
{
    setSelectedValue(withTag(assignedProjects(), tag));
}

const model::User* ProjectQuillonAutocompleter::user() const
{
    return entry() ? entry()->user() : nullptr;
}

std::vector<model::Project*> ProjectQuillonAutocompleter::assignedProjects() const
{
    const model::User* user = this->user();
    return user ? user->assignedProjects() : std::vector<model::Project*>();
}

} // namespace editing
