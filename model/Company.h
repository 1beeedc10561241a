#pragma once

#include "model/QuillonObject.h"

#include <QDate>

#include <optional>
#include <string_view>

namespace model {

class Client;
class DayEntry;
class Project;
class Task;
class User;

/// One account of the service: the root of everything that is cached for it.
class Company final : public QuillonObject
{
public:
    static constexpr const char* EntityName = "Company";

    /// The key that identifies a company.
    QString subdomain() const { return string("subdomain"); }
    /// Entries are recorded as start and end times instead of durations.
    bool hasTimestampTimers() const { return boolean("timestampTimers"); }
    /// The id of the signed-in user.
    QString userId() const { return string("userId"); }
    /// The last one seen from the service.
    std::optional<std::int64_t> cacheVersion() const;
    void setCacheVersion(std::optional<std::int64_t> cacheVersion);

    std::vector<DayEntry*> dayEntries() const { return toMany<DayEntry>("dayEntries"); }
    std::vector<Project*> projects() const { return toMany<Project>("projects"); }
    std::vector<Task*> tasks() const { return toMany<Task>("tasks"); }
    std::vector<User*> users() const { return toMany<User>("users"); }
    std::vector<Client*> clients() const { return toMany<Client>("clients"); }

    // Without a context: in the main context; null when there is none.
    static Company* findBySubdomain(const QString& subdomain, store::Context& context);
    static Company* findBySubdomain(const QString& subdomain);
    /// Saves if it creates one.
    static Company& findOrCreateCompany(const QString& subdomain, store::Context& context);
    static Company* findOrCreateCompany(const QString& subdomain);

    /// Imports the account's description ("/account/who_am_i"). Never null when there is no error.
    static tl::expected<Company*, XmlError> buildCompanyWithSubdomain(const QString& subdomain, QByteArray fromXml,
                                                                      store::Context& context);

    /// This company's object with that id; null: none.
    store::Object* find(std::string_view entity, const QString& idString, store::Context& context) const;
    /// The first object with that id in any company, preferably this one.
    store::Object* findObject(std::string_view entity, const QString& idString, store::Context& context) const;
    /// This company's object with that id, created with id and company only if missing. Never saves.
    QuillonObject& findOrCreateById(const QString& idString, store::Context& context, std::string_view entity);
    /// The same by name.
    QuillonObject& findOrCreateByName(const QString& name, store::Context& context, std::string_view entity);
    /// A new object with that id, for callers that know there is none.
    QuillonObject& insertWithId(const QString& idString, store::Context& context, std::string_view entity);

    template <class T>
    T* find(const QString& idString, store::Context& context) const
    {
        return static_cast<T*>(find(T::EntityName, idString, context));
    }
    template <class T>
    T* findObject(const QString& idString, store::Context& context) const
    {
        return static_cast<T*>(findObject(T::EntityName, idString, context));
    }
    template <class T>
    T& findOrCreateById(const QString& idString, store::Context& context)
    {
        return static_cast<T&>(findOrCreateById(idString, context, T::EntityName));
    }
    template <class T>
    T& findOrCreateByName(const QString& name, store::Context& context)
    {
        return static_cast<T&>(findOrCreateByName(name, context, T::EntityName));
    }
    template <class T>
    T& insertWithId(const QString& idString, store::Context& context)
    {
        return static_cast<T&>(insertWithId(idString, context, T::EntityName));
    }

    /// The entries of a local calendar day without the placeholder, by id as text ("100" before "99"), then by start
    /// of the timer. Empty for an invalid date. Without a context: in the company's own.
    std::vector<DayEntry*> dayEntriesForDate(QDate date, store::Context& context) const;
    std::vector<DayEntry*> dayEntriesForDate(QDate date) const;
    /// The newest of each project and task that the service knows, from the first local day on and before the end, the
    /// newest first. Makes objects of no others: weeks of entries would stay in memory.
    std::vector<DayEntry*> newestDayEntries(QDate first, QDate end) const;
    /// The one whose timer runs, on whatever day; the one started last if the cache has several. Null: none.
    DayEntry* runningDayEntry() const;
    /// Hours.
    double numberTotalForDate(QDate date) const;

    /// The entry that the status item shows: today's running one, else today's most recently updated one, else
    /// yesterday's running one. Null: none.
    DayEntry* mostRecentDayEntry() const;
    DayEntry* mostRecentRunningDayEntryFromToday() const;
    DayEntry* mostRecentRunningDayEntryFromYesterday() const;

    /// Deletes projects, tasks, entries, users and clients; the company stays. Does not save.
    void clearAllData();

private:
    DayEntry* findMostRecentDayEntry(QDate today) const;

    /// It is asked for several times after each change.
    struct MostRecent
    {
        QDate day;
        std::uint64_t revision; ///< of the entries in the context
        DayEntry* entry;
    };
    mutable std::optional<MostRecent> m_mostRecent;
};

} // namespace model
