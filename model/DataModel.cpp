#include "DataModel.h"

#include "Client.h"
#include "Company.h"
#include "DayEntry.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"

#include "store/Context.h"

#include <QFile>

#include <algorithm>

using namespace Qt::StringLiterals;

namespace model {

namespace {

template <class... T>
std::unordered_map<std::string, store::ObjectFactory> factoriesOf()
{
    return {{T::EntityName, [] { return std::make_unique<T>(); }}...};
}

} // namespace

store::Model loadModel()
{
    QFile file(u":/QuillonDataModel.json"_s);
    [[maybe_unused]] const bool opened = file.open(QIODevice::ReadOnly);
    std::optional<store::Model> model = store::Model::fromJson(file.readAll());
    Q_ASSERT(opened && model);
    return std::move(*model);
}

std::unordered_map<std::string, store::ObjectFactory> objectFactories()
{
    return factoriesOf<Client, Company, DayEntry, Project, Task, TaskAssignment, User, UserAssignment>();
}

bool touchesCatalog(const store::ChangeSet& changes, const store::Model& model)
{
    const auto isCatalog = [&](store::ObjectId id) {
        const std::string& name = model.entities()[static_cast<std::size_t>(id.entity)].name;
        return name != DayEntry::EntityName && name != Company::EntityName;
    };
    return std::any_of(changes.inserted.begin(), changes.inserted.end(), isCatalog) ||
           std::any_of(changes.deleted.begin(), changes.deleted.end(), isCatalog) ||
           std::any_of(changes.updated.begin(), changes.updated.end(),
                       [&](const store::ChangeSet::Change& change) { return isCatalog(change.id); });
}

} // namespace model
