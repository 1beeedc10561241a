#include "DayEntry.h"

#include "CatalogImport.h"
#include "Client.h"
#include "Company.h"
#include "DateComparisons.h"
#include "DateFormatting.h"
#include "Host.h"
#include "HoursMinutes.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"
#include "Xml.h"

#include <QHash>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <unordered_set>

using namespace Qt::StringLiterals;

namespace model {

namespace {

/// The names of an entry's elements, as the day sheet and the report spell them.
struct ElementNames
{
    std::string_view isLocked, lockedReason, projectId, userId, taskId, hoursWithoutTimer, isBilled, timerStartedAt,
        spentAt, startedAt, endedAt, updatedAt, createdAt;
};
constexpr ElementNames kSheetNames = {
    "is_locked",        "locked_reason", "project_id", "user_id",  "task_id",    "hours_without_timer", "is_billed",
    "timer_started_at", "spent_at",      "started_at", "ended_at", "updated_at", "created_at"};
constexpr ElementNames kReportNames = {
    "is-locked",        "locked-reason", "project-id", "user-id",  "task-id",    "hours-without-timer", "is-billed",
    "timer-started-at", "spent-at",      "started-at", "ended-at", "updated-at", "created-at"};

store::Value optionalTruth(std::optional<bool> truth)
{
    return truth ? store::Value(*truth) : store::Value();
}

/// Hours and minutes of a fraction, truncated, without the carry.
std::pair<int, int> split(std::optional<double> hours)
{
    const double all = std::clamp(static_cast<double>(static_cast<float>(hours.value_or(0))), -1e6, 1e6);
    const int h = static_cast<int>(all);
    return {h, static_cast<int>(std::round(static_cast<float>(all - h) * 60.0f))};
}

bool isFullHour(int minutes)
{
    return minutes != 0 && minutes % 60 == 0;
}

/// As C's "%.*f" writes it. Qt rounds what lies halfway up and not to the even digit.
QString fixedPoint(double number, int decimals)
{
    std::array<char, 400> text; // the largest number has 309 digits before the point
    const auto written =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, decimals);
    return QString::fromLatin1(text.data(), written.ptr - text.data());
}

/// The first "projects" element that holds a project. A day sheet without one says nothing about the catalog.
xml::Element catalogOf(xml::Element root)
{
    xml::Element projects = root.child("projects");
    while (projects && !projects.child("project"))
        projects = projects.next("projects");
    return projects;
}

} // namespace

/// What one import of entries looks up: the entries of a day share a few projects, tasks and users.
class DayEntry::EntryImport
{
public:
    EntryImport(Company& into, store::Context& in) : company(into), context(in) {}

    /// Notes entries that are known already.
    void know(const std::vector<DayEntry*>& entries)
    {
        for (DayEntry* entry : entries)
            m_entries.insert(entry->idString(), entry);
    }
    /// Looks for the entry now, not when it is imported: it costs least before the context has changes.
    void lookUp(const QString& id)
    {
        if (!m_entries.contains(id))
            m_entries.insert(
                id, fetchFirst<DayEntry>(context, store::where("company", &company) && store::where("idString", id)));
    }
    /// Imports the catalog that begins with this element.
    void importCatalog(xml::Element projects)
    {
        User* user = Host::current() ? Host::current()->currentUserInContext(context) : nullptr;
        CatalogImport import(company, user, context);
        for (; projects; projects = projects.next("projects")) {
            for (xml::Element element = projects.child("project"); element && !context.isStopped();
                 element = element.next("project"))
                import.importProject(element);
        }
        import.removeStale();
        m_projects = import.projects();
        m_tasks = import.tasks();
    }

    DayEntry& entry(const QString& id)
    {
        lookUp(id);
        DayEntry*& entry = m_entries[id];
        if (!entry)
            entry = &company.insertWithId<DayEntry>(id, context);
        return *entry;
    }
    // Null: none.
    Project* project(const QString& id) { return find(m_projects, id); }
    Task* task(const QString& id) { return find(m_tasks, id); }
    User* user(const QString& id) { return find(m_users, id); }

    Company& company;
    store::Context& context;

private:
    template <class T>
    T* find(QHash<QString, T*>& known, const QString& id)
    {
        T*& object = known[id];
        if (!object)
            object = company.findObject<T>(id, context);
        return object;
    }

    QHash<QString, DayEntry*> m_entries;
    QHash<QString, Project*> m_projects;
    QHash<QString, Task*> m_tasks;
    QHash<QString, User*> m_users;
};

const QString DayEntry::newEntryId = u"newEntry"_s;

void DayEntry::setIsBilled(std::optional<bool> isBilled)
{
    setValue("isBilled", optionalTruth(isBilled));
}

void DayEntry::setIsLocked(std::optional<bool> isLocked)
{
    setValue("isLocked", optionalTruth(isLocked));
}

Project* DayEntry::project() const
{
    return static_cast<Project*>(toOne("project"));
}

void DayEntry::setProject(Project* project)
{
    setToOne("project", project);
}

Task* DayEntry::task() const
{
    return static_cast<Task*>(toOne("task"));
}

void DayEntry::setTask(Task* task)
{
    setToOne("task", task);
}

User* DayEntry::user() const
{
    return static_cast<User*>(toOne("user"));
}

void DayEntry::setUser(User* user)
{
    setToOne("user", user);
}

Company* DayEntry::company() const
{
    return static_cast<Company*>(toOne("company"));
}

void DayEntry::setCompany(Company* company)
{
    setToOne("company", company);
}

double DayEntry::totalHours() const
{
    if (!isRunning())
        return hours().value_or(0);
    return hoursWithoutTimer() + static_cast<double>(timerStarted().msecsTo(now())) / 1000.0 / 3600.0;
}

QString DayEntry::hoursMinutes() const
{
    return hours() ? stringInHoursMinutesFormat(totalHours()) : u"0:00"_s;
}

int DayEntry::hourFromFractionalHours() const
{
    const auto [h, m] = split(hours());
    return isFullHour(m) ? m / 60 : h;
}

int DayEntry::minuteFromFractionalHours() const
{
    const auto [h, m] = split(hours());
    return isFullHour(m) ? 0 : m;
}

void DayEntry::updateHoursFromTimestamps()
{
    const QDateTime from = startedAt();
    const QDateTime to = stoppedAt();
    setHours(from.isValid() && to.isValid() ? static_cast<double>(from.msecsTo(to)) / 1000.0 / 3600.0 : 0.0);
}

void DayEntry::resetToDefaults()
{
    setHours(std::nullopt);
    setUser(nullptr);
    setProject(nullptr);
    setTask(nullptr);
    setStartedAt({});
    setSpentAt({});
    setStoppedAt({});
    setTimerStarted({});
    setUpdatedAt({});
    setCreatedAt({});
    setNotes(u""_s);
}

bool DayEntry::hasRealId() const
{
    const QString id = idString();
    return !id.isEmpty() && std::all_of(id.begin(), id.end(), [](QChar sign) { return sign.isDigit(); });
}

TaskAssignment* DayEntry::taskAssignment() const
{
    store::Context* context = Host::current() ? Host::current()->mainContext() : nullptr;
    return context ? fetchFirst<TaskAssignment>(*context, store::where("taskId", taskId()) &&
                                                              store::where("projectId", projectId()))
                   : nullptr;
}

UserAssignment* DayEntry::userAssignment() const
{
    store::Context* context = Host::current() ? Host::current()->mainContext() : nullptr;
    return context ? fetchFirst<UserAssignment>(*context, store::where("userId", userId()) &&
                                                              store::where("projectId", projectId()))
                   : nullptr;
}

QString DayEntry::description() const
{
    return u"ID: %1 | Project ID: %2 | User ID: %3 | Task ID: %4 | Is Billed Flag: %5 | Hours: %6"_s.arg(
        described("idString"), described("projectId"), described("userId"), described("taskId"),
        store::isNull(value("isBilled")) ? u"NO"_s : u"YES"_s, fixedPoint(totalHours(), 6));
}

QByteArray DayEntry::toXml()
{
    xml::Body request("request");
    addInnerXml(request, false);
    return request.toPrettyXml();
}

QByteArray DayEntry::toSyncXml(const QDateTime& date)
{
    xml::Body entry("day_entry");
    addInnerXml(entry, true);
    entry.addChild("timer_state", isRunning() ? u"running"_s : u"stopped"_s);
    entry.addChild("updated_at", DateFormatting::instance().datetimeStringFromDate(date));
    return entry.toPrettyXml();
}

void DayEntry::addInnerXml(xml::Body& element, bool forSync)
{
    DateFormatting& formatting = DateFormatting::instance();
    const Project* booked = project();
    const Task* done = task();
    if (hasRealId())
        element.addChild("id", idString());
    element.addChild("notes", notes());
    element.addChild("project_id", booked ? booked->idString() : QString());
    element.addChild("task_id", done ? done->idString() : QString());
    if (!spentAt().isValid())
        setSpentAt(now());
    element.addChild("spent_at", formatting.longDaydateStringFromDate(spentAt()));
    if (const float sent = static_cast<float>(hours().value_or(0)); forSync || sent > 0)
        element.addChild("hours", fixedPoint(static_cast<double>(sent), 2));
    if (const Company* account = company(); account && account->hasTimestampTimers()) {
        if (startedAt().isValid())
            element.addChild("started_at", formatting.hoursMinutesStringFromDate(startedAt()));
        if (stoppedAt().isValid())
            element.addChild("ended_at", formatting.hoursMinutesStringFromDate(stoppedAt()));
    }
}

DayEntry* DayEntry::entryWithDefaults()
{
    Host* host = Host::current();
    User* user = host ? host->currentUser() : nullptr;
    Company* company = user ? user->company() : nullptr;
    if (!company)
        return nullptr;
    auto& entry = company->findOrCreateById<DayEntry>(newEntryId, company->context());
    entry.resetToDefaults();
    if (const DayEntry* recent = company->mostRecentDayEntry()) {
        entry.setProject(recent->project());
        entry.setTask(recent->task());
    }
    entry.setUser(user);
    return &entry;
}

tl::expected<void, XmlError> DayEntry::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    auto document = xml::Document::parse(std::move(utf8));
    if (!document)
        return tl::unexpected(document.error());
    const std::string_view root = document->root().name();
    if (root == "daily")
        parseDailyXml(*document, company, context);
    else if (root == "add" || root == "timer")
        parseAddXml(*document, company, context);
    else if (root == "day_entry")
        parseSyncXml(*document, company, context);
    else
        parseReportXml(*document, company, context);
    // Saving takes memory for what is large in it; by then the document has given its own back.
    document = tl::unexpected(XmlError{});
    saveWithErrorReporting(context);
    return {};
}

void DayEntry::parseDailyXml(const xml::Document& document, Company& company, store::Context& context)
{
    const xml::Element root = document.root();
    EntryImport import(company, context);
    // A sheet that does not say its day deletes nothing.
    const QDateTime day = DateFormatting::instance().dateFromLongDaydate(root.child("for_day").text());
    const std::vector<DayEntry*> before = company.dayEntriesForDate(localDay(day), context);
    std::unordered_set<DayEntry*> stale(before.begin(), before.end());
    import.know(before);
    const xml::Element entries = root.child("day_entries");
    for (xml::Element element = entries.child("day_entry"); element && !context.isStopped();
         element = element.next("day_entry"))
        import.lookUp(element.child("id").text());
    if (const xml::Element projects = catalogOf(root))
        import.importCatalog(projects);
    for (xml::Element element = entries.child("day_entry"); element && !context.isStopped();
         element = element.next("day_entry"))
        stale.erase(&parseDayEntry(element, import, false));
    for (DayEntry* entry : stale)
        context.remove(*entry);
}

void DayEntry::parseAddXml(const xml::Document& document, Company& company, store::Context& context)
{
    const xml::Element element = document.root().child("day_entry");
    if (!element)
        return;
    const DayEntry& entry = parseDayEntry(element, company, context, false);
    if (entry.isRunning()) {
        for (store::Object* other :
             context.fetch({entityName,
                            store::where("company", &company) &&
                                store::where("timerStarted", store::Condition::Operator::NotEqual, store::Value())})) {
            if (other != &entry)
                static_cast<DayEntry*>(other)->setTimerStarted({});
        }
    }
}

void DayEntry::parseSyncXml(const xml::Document& document, Company& company, store::Context& context)
{
    parseDayEntry(document.root(), company, context, false);
}

void DayEntry::parseReportXml(const xml::Document& document, Company& company, store::Context& context)
{
    EntryImport import(company, context);
    for (xml::Element element = document.root().child("day-entry"); element && !context.isStopped();
         element = element.next("day-entry"))
        parseDayEntry(element, import, true);
}

DayEntry& DayEntry::parseDayEntry(xml::Element element, Company& company, store::Context& context, bool fromReports)
{
    EntryImport import(company, context);
    return parseDayEntry(element, import, fromReports);
}

DayEntry& DayEntry::parseDayEntry(xml::Element element, EntryImport& import, bool fromReports)
{
    Company& company = import.company;
    store::Context& context = import.context;
    const ElementNames& names = fromReports ? kReportNames : kSheetNames;
    DateFormatting& formatting = DateFormatting::instance();
    DayEntry& entry = import.entry(element.child("id").text());

    // Collected first and set once: a value that only passes through would count as a change to be saved.
    std::optional<bool> locked;
    QString lockedReason;
    if (const xml::Element isLocked = element.child(names.isLocked)) {
        locked = isLocked.isTrue();
        lockedReason = element.child(names.lockedReason).text();
    }

    entry.setProjectId(element.child(names.projectId).text());
    Project* project = import.project(entry.projectId());
    if (!project) {
        project = &createArchivedProject(element, entry.projectId(), company, context);
        locked = true;
        lockedReason = u"Project has been archived."_s;
    }
    entry.setProject(project);

    entry.setUserId(element.child(names.userId).text());
    entry.setUser(import.user(entry.userId()));

    entry.setTaskId(element.child(names.taskId).text());
    Task* task = import.task(entry.taskId());
    if (!task) {
        task = &createUnassignedTask(element, entry.taskId(), company, context);
        locked = true;
        lockedReason = u"Task has been unassigned."_s;
    }
    entry.setTask(task);
    entry.setIsLocked(locked);
    entry.setLockedReason(lockedReason);

    entry.setHours(element.child("hours").number());
    if (const xml::Element hours = element.child(names.hoursWithoutTimer))
        entry.setHoursWithoutTimer(hours.number());
    const xml::Element billed = element.child(names.isBilled);
    entry.setIsBilled(billed ? std::optional(billed.isTrue()) : std::nullopt);

    const QString timerStarted = element.child(names.timerStartedAt).text();
    if (timerStarted.isNull())
        entry.setTimerStarted({});
    else if (fromReports)
        entry.setTimerStarted(formatting.dateFromRailsDatetime(timerStarted.left(19) + u"GMT"_s));
    else
        entry.setTimerStarted(formatting.dateFromDatetime(timerStarted));

    // A date that cannot be read leaves the one before.
    if (const QDateTime day = formatting.dateFromDaydate(element.child(names.spentAt).text()); day.isValid())
        entry.setSpentAt(day);
    const auto clockTime = [&](std::string_view name) {
        const QString time = element.child(name).text();
        return time.isEmpty() ? QDateTime() : buildTimestampWithTime(time, entry.spentAt());
    };
    if (const QDateTime started = clockTime(names.startedAt); started.isValid())
        entry.setStartedAt(started);
    if (const QDateTime stopped = clockTime(names.endedAt); stopped.isValid())
        entry.setStoppedAt(stopped);
    if (const QDateTime updated = formatting.dateFromDatetime(element.child(names.updatedAt).text()); updated.isValid())
        entry.setUpdatedAt(updated);
    if (const QDateTime created = formatting.dateFromDatetime(element.child(names.createdAt).text()); created.isValid())
        entry.setCreatedAt(created);
    entry.setNotes(element.child("notes").text());
    context.confirm(entry);
    return entry;
}

QDateTime DayEntry::buildTimestampWithTime(const QString& time, const QDateTime& spentAt)
{
    DateFormatting& formatting = DateFormatting::instance();
    return formatting.dateFromStartedStoppedString(formatting.daydateStringFromDate(spentAt) + u' ' + time);
}

Task& DayEntry::createUnassignedTask(xml::Element element, const QString& idString, Company& company,
                                     store::Context& context)
{
    return Task::createWithName(element.child("task").unescapedText(), idString, company, context);
}

Project& DayEntry::createArchivedProject(xml::Element element, const QString& idString, Company& company,
                                         store::Context& context)
{
    Project& project = Project::createWithName(element.child("project").unescapedText(), idString, company, context);
    project.setClient(&company.findOrCreateByName<Client>(element.child("client").unescapedText(), context));
    return project;
}

} // namespace model
