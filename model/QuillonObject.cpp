#include "QuillonObject.h"

#include "Client.h"
#include "Company.h"
#include "DayEntry.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"

using namespace Qt::StringLiterals;

namespace model {

QString QuillonObject::description() const
{
    return u"%1 | ID: %2"_s.arg(QString::fromStdString(entity().name), described("idString"));
}

// NOLINTNEXTLINE(performance-unnecessary-value-param): the entities that read one take it over
tl::expected<void, XmlError> QuillonObject::parseXml(QByteArray, Company&, store::Context&)
{
    return {};
}

void QuillonObject::saveWithErrorReporting(store::Context& context)
{
    // The outcome does not matter: the next refresh fills the cache again.
    static_cast<void>(context.save());
}

std::optional<double> QuillonObject::optionalNumber(std::string_view attribute) const
{
    if (store::isNull(value(attribute)))
        return std::nullopt;
    return number(attribute);
}

void QuillonObject::setOptionalNumber(std::string_view attribute, std::optional<double> number)
{
    setValue(attribute, number ? store::Value(*number) : store::Value());
}

QString QuillonObject::described(std::string_view attribute) const
{
    const store::Value& described = value(attribute);
    if (store::isNull(described))
        return u"(null)"_s;
    if (const auto* text = std::get_if<QString>(&described))
        return *text;
    return QString::number(number(attribute), 'g', 16);
}

template <class T>
T* QuillonObject::toOne(std::string_view relationship) const
{
    return static_cast<T*>(Object::toOne(relationship));
}

template <class T>
void QuillonObject::setToOne(std::string_view relationship, T* destination)
{
    Object::setToOne(relationship, destination);
}

template <class T>
std::vector<T*> QuillonObject::toMany(std::string_view relationship) const
{
    std::vector<T*> typed;
    const std::vector<Object*> objects = Object::toMany(relationship);
    typed.reserve(objects.size());
    for (Object* object : objects)
        typed.push_back(static_cast<T*>(object));
    return typed;
}

template Client* QuillonObject::toOne(std::string_view) const;
template Company* QuillonObject::toOne(std::string_view) const;
template Project* QuillonObject::toOne(std::string_view) const;
template Task* QuillonObject::toOne(std::string_view) const;
template User* QuillonObject::toOne(std::string_view) const;
template void QuillonObject::setToOne(std::string_view, Client*);
template void QuillonObject::setToOne(std::string_view, Company*);
template void QuillonObject::setToOne(std::string_view, Project*);
template void QuillonObject::setToOne(std::string_view, Task*);
template void QuillonObject::setToOne(std::string_view, User*);
template std::vector<Client*> QuillonObject::toMany(std::string_view) const;
template std::vector<DayEntry*> QuillonObject::toMany(std::string_view) const;
template std::vector<Project*> QuillonObject::toMany(std::string_view) const;
template std::vector<Task*> QuillonObject::toMany(std::string_view) const;
template std::vector<TaskAssignment*> QuillonObject::toMany(std::string_view) const;
template std::vector<User*> QuillonObject::toMany(std::string_view) const;
template std::vector<UserAssignment*> QuillonObject::toMany(std::string_view) const;

} // namespace model
