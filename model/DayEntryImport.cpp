// How entries and the catalog of a day sheet are imported.
#include "Client.h"
#include "DateComparisons.h"
#include "DateFormatting.h"
#include "DayEntry.h"
#include "Host.h"
#include "Import.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"

#include <QCoreApplication>
#include <unordered_set>

using namespace Qt::StringLiterals;

namespace model {

namespace {

/// The names of an entry's elements in the day sheet and in the report.
struct ElementNames
{
    std::string_view isLocked, lockedReason, projectId, userId, taskId, hoursWithoutTimer, isBilled, timerStartedAt,
        spentAt, startedAt, endedAt, updatedAt, createdAt;
};
constexpr ElementNames SheetNames = {
    "is_locked",        "locked_reason", "project_id", "user_id",  "task_id",    "hours_without_timer", "is_billed",
    "timer_started_at", "spent_at",      "started_at", "ended_at", "updated_at", "created_at"};
constexpr ElementNames ReportNames = {
    "is-locked",        "locked-reason", "project-id", "user-id",  "task-id",    "hours-without-timer", "is-billed",
    "timer-started-at", "spent-at",      "started-at", "ended-at", "updated-at", "created-at"};

/// The first "projects" element that holds a project. A day sheet without one says nothing about the catalog.
xml::Element catalogOf(xml::Element root)
{
    xml::Element projects = root.child("projects");
    while (projects && !projects.child("project"))
        projects = projects.next("projects");
    return projects;
}

void importTask(xml::Element element, Project& project, User* user, std::unordered_set<Task*>& stale, Import& import)
{
    Task& task = Task::parseTask(element, import);
    stale.erase(&task);
    if (!user)
        return;
    const bool billable = element.child("billable").isTrue();
    Import::Assignment& known = import.assignment(task, project);
    if (known.id && known.isBillable == billable)
        return;
    TaskAssignment::findOrCreateForUser(*user, project, task, import).setValue("isBillable", billable);
    known.isBillable = billable;
}

/// Imports the catalog that begins with this element, and deletes what is not in it.
void importCatalog(xml::Element projects, Import& import)
{
    Host* host = Host::current();
    User* user = host ? host->currentUserInContext(import.context()) : nullptr;
    import.loadCatalog();
    const std::vector<Project*> projectsBefore = import.company().projects();
    const std::vector<Task*> tasksBefore = import.company().tasks();
    std::unordered_set<Project*> staleProjects(projectsBefore.begin(), projectsBefore.end());
    std::unordered_set<Task*> staleTasks(tasksBefore.begin(), tasksBefore.end());
    const auto isStopped = [&import] { return import.context().isStopped(); };
    for (; projects; projects = projects.next("projects")) {
        for (xml::Element element = projects.child("project"); element && !isStopped();
             element = element.next("project")) {
            Project& project = Project::parseProject(element, import);
            staleProjects.erase(&project);
            if (user && !import.assignment(*user, project).id)
                UserAssignment::findOrCreateForUser(*user, project, import);
            for (xml::Element tasks = element.child("tasks"); tasks; tasks = tasks.next("tasks")) {
                for (xml::Element task = tasks.child("task"); task && !isStopped(); task = task.next("task"))
                    importTask(task, project, user, staleTasks, import);
            }
        }
    }
    for (Project* project : staleProjects)
        import.remove(*project);
    for (Task* task : staleTasks)
        import.remove(*task);
}

} // namespace

tl::expected<void, XmlError> DayEntry::parseXml(QByteArray utf8, Company& company, store::Context& context)
{
    auto document = xml::Document::parse(std::move(utf8));
    if (!document)
        return tl::unexpected(document.error());
    Import import(company, context);
    const std::string_view root = document->root().name();
    if (root == "daily")
        parseDailyXml(*document, import);
    else if (root == "add" || root == "timer")
        parseAddXml(*document, import);
    else if (root == "day_entry")
        parseSyncXml(*document, import);
    else
        parseReportXml(*document, import);
    // Saving a large sheet takes memory; by then the document has been freed.
    document = tl::unexpected(XmlError{});
    saveWithErrorReporting(context);
    return {};
}

void DayEntry::parseDailyXml(const xml::Document& document, Import& import)
{
    store::Context& context = import.context();
    const xml::Element root = document.root();
    // A sheet that does not name its day deletes nothing.
    const QDateTime day = DateFormatting::instance().dateFromLongDaydate(root.child("for_day").text());
    const std::vector<DayEntry*> before = import.company().dayEntriesForDate(localDay(day), context);
    std::unordered_set<DayEntry*> stale(before.begin(), before.end());
    import.take(before);
    // Looked up before the catalog is imported: it costs least while the context has no changes.
    const xml::Element first = root.child("day_entries").child("day_entry");
    for (xml::Element element = first; element && !context.isStopped(); element = element.next("day_entry"))
        import.find<DayEntry>(element.child("id").text());
    if (const xml::Element projects = catalogOf(root))
        importCatalog(projects, import);
    for (xml::Element element = first; element && !context.isStopped(); element = element.next("day_entry"))
        stale.erase(&parseDayEntry(element, import, false));
    for (DayEntry* entry : stale)
        context.remove(*entry);
}

void DayEntry::parseAddXml(const xml::Document& document, Import& import)
{
    const xml::Element element = document.root().child("day_entry");
    if (!element)
        return;
    const DayEntry& entry = parseDayEntry(element, import, false);
    if (!entry.isRunning())
        return;
    const store::Predicate running = store::where("company", &import.company()) &&
                                     store::where("timerStarted", store::Condition::Operator::NotEqual, store::Value());
    for (store::Object* other : import.context().fetch({EntityName, running, {}})) {
        if (other == &entry)
            continue;
        // Otherwise its hours would go back to those last reported, until its day is next requested.
        auto& stopped = static_cast<DayEntry&>(*other);
        stopped.setHoursWithoutTimer(stopped.totalHours());
        stopped.setHours(stopped.hoursWithoutTimer());
        stopped.setTimerStarted({});
    }
}

void DayEntry::parseSyncXml(const xml::Document& document, Import& import)
{
    parseDayEntry(document.root(), import, false);
}

void DayEntry::parseReportXml(const xml::Document& document, Import& import)
{
    for (xml::Element element = document.root().child("day-entry"); element && !import.context().isStopped();
         element = element.next("day-entry"))
        parseDayEntry(element, import, true);
}

DayEntry& DayEntry::parseDayEntry(xml::Element element, Import& import, bool fromReports)
{
    const ElementNames& names = fromReports ? ReportNames : SheetNames;
    DateFormatting& formatting = DateFormatting::instance();
    auto& entry = import.findOrCreateById<DayEntry>(element.child("id").text());

    // Collected first and set once: an intermediate value would count as a change to be saved.
    std::optional<bool> locked;
    QString lockedReason;
    if (const xml::Element isLocked = element.child(names.isLocked)) {
        locked = isLocked.isTrue();
        lockedReason = element.child(names.lockedReason).text();
    }

    entry.setValue("projectId", element.child(names.projectId).text());
    Project* project = import.findObject<Project>(entry.projectId());
    if (!project) {
        project = &createArchivedProject(element, entry.projectId(), import);
        locked = true;
        lockedReason = QCoreApplication::translate("DayEntry", "Project has been archived.");
    }
    entry.setProject(project);

    entry.setValue("userId", element.child(names.userId).text());
    entry.setUser(import.findObject<User>(entry.userId()));

    entry.setValue("taskId", element.child(names.taskId).text());
    Task* task = import.findObject<Task>(entry.taskId());
    if (!task) {
        task = &createUnassignedTask(element, entry.taskId(), import);
        locked = true;
        lockedReason = QCoreApplication::translate("DayEntry", "Task has been unassigned.");
    }
    entry.setTask(task);
    entry.setValue("isLocked", locked ? store::Value(*locked) : store::Value());
    entry.setValue("lockedReason", lockedReason);

    entry.setHours(element.child("hours").number());
    if (const xml::Element hours = element.child(names.hoursWithoutTimer))
        entry.setHoursWithoutTimer(hours.number());
    const xml::Element billed = element.child(names.isBilled);
    entry.setValue("isBilled", billed ? store::Value(billed.isTrue()) : store::Value());

    const QString timerStarted = element.child(names.timerStartedAt).text();
    if (timerStarted.isNull())
        entry.setTimerStarted({});
    else if (fromReports)
        entry.setTimerStarted(formatting.dateFromRailsDatetime(timerStarted.left(19) + u"GMT"_s));
    else
        entry.setTimerStarted(formatting.dateFromDatetime(timerStarted));

    // An unreadable date leaves the previous one.
    if (const QDateTime day = import.wallClockOfDay(element.child(names.spentAt).text()); day.isValid())
        entry.setValue("spentAt", day);
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
        entry.setValue("createdAt", created);
    entry.setNotes(element.child("notes").text());
    import.context().confirm(entry);
    return entry;
}

QDateTime DayEntry::buildTimestampWithTime(const QString& time, const QDateTime& spentAt)
{
    DateFormatting& formatting = DateFormatting::instance();
    return formatting.dateFromStartedStoppedString(formatting.daydateStringFromDate(spentAt) + u' ' + time);
}

Task& DayEntry::createUnassignedTask(xml::Element element, const QString& idString, Import& import)
{
    return Task::createWithName(element.child("task").unescapedText(), idString, import);
}

Project& DayEntry::createArchivedProject(xml::Element element, const QString& idString, Import& import)
{
    Project& project = Project::createWithName(element.child("project").unescapedText(), idString, import);
    project.setClient(&import.findOrCreateByName(element.child("client").unescapedText()));
    return project;
}

} // namespace model
