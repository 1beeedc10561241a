#pragma once

#include "Company.h"
#include "Xml.h"

#include <QDateTime>
#include <QHash>

#include <functional>
#include <optional>
#include <string_view>
#include <tuple>
#include <utility>

namespace model {

class TaskAssignment;
class UserAssignment;

/// One response of the service on its way into a company. Looks everything up once; after `loadCatalog`, only in
/// memory: a large account's sheet names ten thousand tasks.
class Import
{
    Q_DISABLE_COPY_MOVE(Import)
public:
    Import(Company& company, store::Context& context) : m_company(company), m_context(context) {}

    Company& company() const { return m_company; }
    store::Context& context() const { return m_context; }

    /// Loads the company's clients, projects and tasks at once.
    void loadCatalog();
    /// Takes what was fetched before, so that it need not be looked up one by one.
    template <class T>
    void take(const std::vector<T*>& fetched)
    {
        for (T* object : fetched)
            std::get<Known<T>>(m_known).byId.insert(object->idString(), object);
    }

    /// The company's object with that id; null: none.
    template <class T>
    T* find(const QString& idString)
    {
        auto& known = std::get<Known<T>>(m_known);
        const auto found = known.byId.constFind(idString);
        if (found != known.byId.cend())
            return *found;
        return known.byId[idString] = known.areAll ? nullptr : m_company.find<T>(idString, m_context);
    }
    // As those of `Company`.
    template <class T>
    T& findOrCreateById(const QString& idString)
    {
        if (T* found = find<T>(idString))
            return *found;
        return *(std::get<Known<T>>(m_known).byId[idString] = &m_company.insertWithId<T>(idString, m_context));
    }
    template <class T>
    T* findObject(const QString& idString)
    {
        T* own = find<T>(idString);
        return own ? own : m_company.findObject<T>(idString, m_context);
    }
    Client& findOrCreateByName(const QString& name);
    /// The `spentAt` of an entry of that day, as sheets write it; invalid: unreadable. Keeps the last one: entries of a
    /// sheet share their day, and each question to the time zone looks for a change of the system's.
    QDateTime wallClockOfDay(const QString& text);

    /// Deletes the object.
    template <class T>
    void remove(T& object)
    {
        std::get<Known<T>>(m_known).byId.remove(object.idString());
        m_context.remove(object);
    }

    /// The stored values of an assignment. There are far more of these than of anything else, and they hardly ever
    /// change: no object is made for an unchanged one.
    struct Assignment
    {
        store::ObjectId id; ///< null: there is none
        std::optional<bool> isBillable;
    };
    // Of the assignment of a user or task to a project. Valid until the next one is requested.
    Assignment& assignment(const User& user, const Project& project);
    Assignment& assignment(const Task& task, const Project& project);

private:
    template <class T>
    struct Known
    {
        QHash<QString, T*> byId; ///< null: known to be missing
        bool areAll = false;     ///< what is not among them is not there
    };
    template <class T>
    void know(const std::vector<T*>& all);

    using Assignments = QHash<std::pair<qint64, qint64>, Assignment>; ///< by rows of what is assigned and the project
    Assignment& assignment(std::optional<Assignments>& known, std::string_view entity, const char* relationship,
                           store::ObjectId assigned, store::ObjectId project);

    Company& m_company;
    store::Context& m_context;
    std::tuple<Known<Client>, Known<DayEntry>, Known<Project>, Known<Task>, Known<TaskAssignment>, Known<User>,
               Known<UserAssignment>>
        m_known;
    /// A hash takes an empty name for a null one: the difference is part of the key.
    QHash<std::pair<bool, QString>, Client*> m_clientsByName;
    QString m_dayText;
    QDateTime m_wallClockOfDay;
    // Loaded on first use.
    std::optional<Assignments> m_userAssignments;
    std::optional<Assignments> m_taskAssignments;
};

/// Reads a response whose root `list` holds elements `item`, passes each on and saves once, even without any.
/// `mayBeSingle`: a root `item` counts as the only one.
tl::expected<void, XmlError> importList(QByteArray utf8, Company& company, store::Context& context,
                                        std::string_view list, std::string_view item,
                                        const std::function<void(xml::Element, Import&)>& take,
                                        bool mayBeSingle = false);

} // namespace model
