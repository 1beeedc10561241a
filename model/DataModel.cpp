#include "DataModel.h"

#include "Client.h"
#include "Company.h"
#include "DayEntry.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"

#include <QFile>

using namespace Qt::StringLiterals;

namespace model {

namespace {

template <class... T>
std::unordered_map<std::string, store::ObjectFactory> factoriesOf()
{
    return {{T::entityName, [] { return std::make_unique<T>(); }}...};
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

} // namespace model
