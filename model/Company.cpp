#include "Company.h"

#include "Client.h"
#include "DateComparisons.h"
#include "DayEntry.h"
#include "Host.h"
#include "Project.h"
#include "Task.h"
#include "User.h"
#include "Xml.h"

#include "settings/QuillonPreferences.h"
#include "store/Utc.h"

#include <algorithm>
#include <functional>
#include <map>
#include <numeric>

namespace model {

using Operator = store::Condition::Operator;

std::optional<std::int64_t> Company::cacheVersion() const
{
    if (store::isNull(value("cacheVersion")))
        return std::nullopt;
    return integer("cacheVersion");
}

void Company::setCacheVersion(std::optional<std::int64_t> cacheVersion)
{
    setValue("cacheVersion", cacheVersion ? store::Value(*cacheVersion) : store::Value());
}

Company* Company::findBySubdomain(const QString& subdomain, store::Context& context)
{
    return fetchFirst<Company>(context, store::where("subdomain", subdomain));
}

Company* Company::findBySubdomain(const QString& subdomain)
{
    store::Context* context = Host::currentContext();
    return context ? findBySubdomain(subdomain, *context) : nullptr;
}

Company& Company::findOrCreateCompany(const QString& subdomain, store::Context& context)
{
    if (Company* company = findBySubdomain(subdomain, context))
        return *company;
    auto& company = static_cast<Company&>(context.insert(EntityName));
    company.setValue("subdomain", subdomain);
    saveWithErrorReporting(context);
    return company;
}

Company* Company::findOrCreateCompany(const QString& subdomain)
{
    store::Context* context = Host::currentContext();
    return context ? &findOrCreateCompany(subdomain, *context) : nullptr;
}

tl::expected<Company*, XmlError> Company::buildCompanyWithSubdomain(const QString& subdomain, QByteArray fromXml,
                                                                    store::Context& context)
{
    const auto document = xml::Document::parse(std::move(fromXml));
    if (!document)
        return tl::unexpected(document.error());
    Company& company = findOrCreateCompany(subdomain, context);
    const xml::Element root = document->root();
    const xml::Element account = root.name() == "hash" ? root.child("user") : xml::Element();
    // Any other document, such as an error report, does not describe an account: known values stay.
    if (!account)
        return &company;

    company.setValue("timestampTimers", account.descendant("timestamp-timers").isTrue());
    company.setValue("timezone", account.descendant("timezone").text());
    company.setValue("isAdminUser", account.descendant("admin").isTrue());
    company.setValue("userId", account.descendant("id").text());

    auto& user = company.findOrCreateById<User>(company.userId(), context);
    if (user.email().isEmpty())
        user.setEmail(settings::QuillonPreferences::sharedPreferences().emailInUse());
    user.setCompany(&company);
    saveWithErrorReporting(context);
    return &company;
}

store::Object* Company::find(std::string_view entity, const QString& idString, store::Context& context) const
{
    return context.fetchFirst(entity, store::where("company", this) && store::where("idString", idString));
}

store::Object* Company::findObject(std::string_view entity, const QString& idString, store::Context& context) const
{
    // Its own first: it is found by an index, and is nearly always the one meant.
    store::Object* own = find(entity, idString, context);
    return own ? own : context.fetchFirst(entity, store::where("idString", idString));
}

QuillonObject& Company::findOrCreateById(const QString& idString, store::Context& context, std::string_view entity)
{
    store::Object* found = find(entity, idString, context);
    return found ? static_cast<QuillonObject&>(*found) : insertWithId(idString, context, entity);
}

QuillonObject& Company::findOrCreateByName(const QString& name, store::Context& context, std::string_view entity)
{
    if (store::Object* found = context.fetchFirst(entity, store::where("company", this) && store::where("name", name)))
        return static_cast<QuillonObject&>(*found);
    auto& made = static_cast<QuillonObject&>(context.insert(entity));
    made.setValue("name", name);
    made.setCompany(this);
    return made;
}

QuillonObject& Company::insertWithId(const QString& idString, store::Context& context, std::string_view entity)
{
    auto& made = static_cast<QuillonObject&>(context.insert(entity));
    made.setIdString(idString);
    made.setCompany(this);
    return made;
}

namespace {

/// As it is stored.
QDateTime wallClockOf(QDate day)
{
    return {day, QTime(0, 0), store::Utc};
}

std::vector<DayEntry*> asEntries(const std::vector<store::Object*>& objects)
{
    std::vector<DayEntry*> entries;
    entries.reserve(objects.size());
    for (store::Object* object : objects)
        entries.push_back(static_cast<DayEntry*>(object));
    return entries;
}

store::FetchRequest entriesOfDay(const Company& company, QDate date)
{
    return {DayEntry::EntityName,
            store::where("company", &company) && store::where("spentAt", Operator::GreaterOrEqual, wallClockOf(date)) &&
                store::where("spentAt", Operator::Less, wallClockOf(date.addDays(1))) &&
                store::where("idString", Operator::NotEqual, DayEntry::NewEntryId),
            {{"idString"}, {"timerStarted"}}};
}

} // namespace

std::vector<DayEntry*> Company::dayEntriesForDate(QDate date, store::Context& context) const
{
    return date.isValid() ? asEntries(context.fetch(entriesOfDay(*this, date))) : std::vector<DayEntry*>();
}

std::vector<DayEntry*> Company::dayEntriesForDate(QDate date) const
{
    return date.isValid() ? asEntries(context().fetchStanding(entriesOfDay(*this, date))) : std::vector<DayEntry*>();
}

std::vector<DayEntry*> Company::newestDayEntries(QDate first, QDate end) const
{
    struct Newest
    {
        qint64 day, updated;
        store::ObjectId id;
    };
    const auto age = [](const Newest& each) { return std::pair(each.day, each.updated); };
    // As it is stored: to find the moment at which a day begins takes a hundred times as long.
    const auto moment = [](const store::Value& value) {
        const QDateTime* date = std::get_if<QDateTime>(&value);
        return date && date->isValid() ? date->toMSecsSinceEpoch() : 0;
    };
    std::map<std::pair<std::int64_t, std::int64_t>, Newest> newest;
    context().scan(
        DayEntry::EntityName,
        store::where("company", this) && store::where("spentAt", Operator::GreaterOrEqual, wallClockOf(first)) &&
            store::where("spentAt", Operator::Less, wallClockOf(end)),
        {"idString", "spentAt", "updatedAt"}, {"project", "task"}, [&](const store::Context::Glimpse& entry) {
            const QString* id = std::get_if<QString>(&entry.attributes[0]);
            if (!id || !DayEntry::isRealId(*id))
                return;
            Newest& known = newest[{entry.toOnes[0], entry.toOnes[1]}];
            const Newest found{moment(entry.attributes[1]), moment(entry.attributes[2]), entry.id};
            if (!known.id || age(known) < age(found))
                known = found;
        });
    std::vector<Newest> sorted;
    for (const auto& [booked, each] : newest)
        sorted.push_back(each);
    std::ranges::sort(sorted, std::greater(), age);
    std::vector<DayEntry*> entries;
    for (const Newest& each : sorted) {
        if (store::Object* entry = context().find(each.id))
            entries.push_back(static_cast<DayEntry*>(entry));
    }
    return entries;
}

DayEntry* Company::runningDayEntry() const
{
    const std::vector<store::Object*> running = context().fetchStanding(
        {DayEntry::EntityName,
         store::where("company", this) && store::where("timerStarted", Operator::NotEqual, store::Value()),
         {{"timerStarted", false}}});
    return running.empty() ? nullptr : static_cast<DayEntry*>(running.front());
}

double Company::numberTotalForDate(QDate date) const
{
    const std::vector<DayEntry*> entries = dayEntriesForDate(date);
    return std::accumulate(entries.begin(), entries.end(), 0.0,
                           [](double sum, const DayEntry* entry) { return sum + entry->hours().value_or(0); });
}

namespace {

DayEntry* firstRunning(const std::vector<DayEntry*>& entries)
{
    const auto running =
        std::find_if(entries.begin(), entries.end(), [](DayEntry* entry) { return entry->isRunning(); });
    return running == entries.end() ? nullptr : *running;
}

} // namespace

DayEntry* Company::mostRecentDayEntry() const
{
    const QDate today = localDay(now());
    const std::uint64_t revision = context().revision({DayEntry::EntityName});
    if (!m_mostRecent || m_mostRecent->day != today || m_mostRecent->revision != revision)
        m_mostRecent = {today, revision, findMostRecentDayEntry(today)};
    return m_mostRecent->entry;
}

DayEntry* Company::findMostRecentDayEntry(QDate today) const
{
    const std::vector<DayEntry*> entries = dayEntriesForDate(today);
    if (DayEntry* running = firstRunning(entries))
        return running;
    // The last of several equally recent ones; one without a date is the oldest.
    DayEntry* recent = nullptr;
    for (DayEntry* entry : entries) {
        const QDateTime updated = entry->updatedAt();
        if (!recent || !recent->updatedAt().isValid() || (updated.isValid() && updated >= recent->updatedAt()))
            recent = entry;
    }
    return recent ? recent : mostRecentRunningDayEntryFromYesterday();
}

DayEntry* Company::mostRecentRunningDayEntryFromToday() const
{
    return firstRunning(dayEntriesForDate(localDay(now())));
}

DayEntry* Company::mostRecentRunningDayEntryFromYesterday() const
{
    return firstRunning(dayEntriesForDate(localDay(now()).addDays(-1)));
}

void Company::clearAllData()
{
    const auto removeAll = [this](const auto& objects) {
        for (store::Object* object : objects)
            context().remove(*object);
    };
    removeAll(projects());
    removeAll(tasks());
    removeAll(dayEntries());
    removeAll(users());
    removeAll(clients());
}

} // namespace model
