#include "AssignedProjects.h"

#include "Client.h"
#include "Company.h"
#include "Project.h"

using namespace Qt::StringLiterals;

namespace model {

namespace {

/// Sign by sign, as comparisons that ignore case do it. QString::toCaseFolded changes lengths.
QString folded(const QString& text)
{
    QString result = text;
    for (qsizetype i = 0; i < result.size(); ++i) {
        const QChar sign = result.at(i);
        if (sign.isHighSurrogate() && i + 1 < result.size() && result.at(i + 1).isLowSurrogate()) {
            const char32_t small = QChar::toCaseFolded(QChar::surrogateToUcs4(sign, result.at(i + 1)));
            result[i] = QChar(QChar::highSurrogate(small));
            result[++i] = QChar(QChar::lowSurrogate(small));
        } else {
            result[i] = sign.toCaseFolded();
        }
    }
    return result;
}

} // namespace

AssignedProjects::AssignedProjects(const User& user)
{
    // All of them are loaded at once, not one by one as each is asked for its name.
    if (const Company* company = user.company()) {
        static_cast<void>(company->projects());
        static_cast<void>(company->clients());
    }
    const std::vector<Project*> projects = user.assignedProjects();
    m_items.reserve(projects.size());
    for (Project* project : projects) {
        const Client* client = project->client();
        const QString name = client ? client->name() : QString();
        m_items.push_back({project, name.isNull() ? u""_s : name, folded(project->displayName())});
    }
}

std::vector<Project*> AssignedProjects::all() const
{
    std::vector<Project*> projects;
    projects.reserve(m_items.size());
    for (const Item& item : m_items) {
        if (Project* project = item.project.get())
            projects.push_back(project);
    }
    return projects;
}

User::ProjectsByClient AssignedProjects::matching(const QString& filter) const
{
    const QString searched = folded(filter);
    User::ProjectsByClient groups;
    auto group = groups.end();
    for (const Item& item : m_items) {
        Project* project = item.searched.contains(searched) ? item.project.get() : nullptr;
        if (!project)
            continue;
        if (group == groups.end() || group->first != item.client)
            group = groups.try_emplace(groups.end(), item.client);
        group->second.push_back(project);
    }
    return groups;
}

} // namespace model
