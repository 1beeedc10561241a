#pragma once

#include "model/DateComparisons.h"
#include "model/QuillonObject.h"

#include <QDateTime>

#include <optional>

namespace model::xml {
class Body;
class Document;
class Element;
} // namespace model::xml

namespace model {

class Import;
class Project;
class Task;
class TaskAssignment;
class User;
class UserAssignment;

/// One line of the timesheet: hours on a project and task on one day, perhaps with a timer running.
class DayEntry final : public QuillonObject
{
public:
    static constexpr const char* EntityName = "DayEntry";
    /// The id of the one local entry per company in which a new timer is prepared.
    static const QString NewEntryId;

    QString notes() const { return string("notes"); }
    void setNotes(const QString& notes) { setValue("notes", notes); }
    /// Those booked, as last reported or typed; without the running timer.
    std::optional<double> hours() const { return optionalNumber("hours"); }
    void setHours(std::optional<double> hours) { setOptionalNumber("hours", hours); }
    /// Those booked before the running timer was started.
    double hoursWithoutTimer() const { return number("hoursWithoutTimer"); }
    void setHoursWithoutTimer(double hours) { setValue("hoursWithoutTimer", hours); }
    /// The start of the local day that the entry counts for.
    QDateTime spentAt() const { return momentOf(date("spentAt")); }
    void setSpentAt(const QDateTime& spentAt) { setValue("spentAt", wallClock(spentAt)); }
    /// Valid only while the timer runs.
    QDateTime timerStarted() const { return date("timerStarted"); }
    void setTimerStarted(const QDateTime& moment) { setValue("timerStarted", moment); }
    // Start and end by the clock, for accounts with timestamp timers.
    QDateTime startedAt() const { return momentOf(date("startedAt")); }
    void setStartedAt(const QDateTime& moment) { setValue("startedAt", wallClock(moment)); }
    QDateTime stoppedAt() const { return momentOf(date("stoppedAt")); }
    void setStoppedAt(const QDateTime& moment) { setValue("stoppedAt", wallClock(moment)); }
    QDateTime updatedAt() const { return date("updatedAt"); }
    void setUpdatedAt(const QDateTime& moment) { setValue("updatedAt", moment); }
    /// May not be edited, for `lockedReason`.
    bool isLocked() const { return boolean("isLocked"); }
    QString lockedReason() const { return string("lockedReason"); }
    // The ids as the service gave them, kept even where the object itself is unknown.
    QString projectId() const { return string("projectId"); }
    QString taskId() const { return string("taskId"); }
    QString userId() const { return string("userId"); }

    Project* project() const { return toOne<Project>("project"); }
    void setProject(Project* project) { setToOne("project", project); }
    Task* task() const { return toOne<Task>("task"); }
    void setTask(Task* task) { setToOne("task", task); }
    User* user() const { return toOne<User>("user"); }
    void setUser(User* user) { setToOne("user", user); }

    bool isRunning() const { return timerStarted().isValid(); }
    /// `hours`, or the hours up to now while the timer runs.
    double totalHours() const;
    /// "h:mm"; "0:00" without hours, even when a timer runs.
    QString hoursMinutes() const;
    // `hours` split. A fraction that rounds up to a full hour reads as 1 hour 0 minutes.
    int hourFromFractionalHours() const;
    int minuteFromFractionalHours() const;
    /// From `startedAt` to `stoppedAt`; zero when one is missing.
    void updateHoursFromTimestamps();
    void resetToDefaults();
    /// The service knows the entry.
    bool hasRealId() const { return isRealId(idString()); }
    static bool isRealId(const QString& id);

    // By the ids, in the main context, of any company; null: none.
    TaskAssignment* taskAssignment() const;
    UserAssignment* userAssignment() const;

    QString description() const override;

    /// The body that creates or updates the entry. An entry without a day gets today's.
    QByteArray toXml();
    /// The body that corrects the entry, as of `date`.
    QByteArray toSyncXml(const QDateTime& date);
    void addInnerXml(xml::Body& element, bool forSync);

    /// The placeholder of the current user's company in the main context, reset, with the project and task of the most
    /// recent entry. Not saved. Null when there is no current user.
    static DayEntry* entryWithDefaults();

    /// A day sheet, the result of adding, toggling or correcting an entry, or a report, told apart by the root element.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    // None of the following saves.
    /// Root "daily". Also imports the catalog if the sheet has one, and deletes what is not in it.
    static void parseDailyXml(const xml::Document& document, Import& import);
    /// Root "add" or "timer". A running entry stops all others of the company.
    static void parseAddXml(const xml::Document& document, Import& import);
    /// Root "day_entry".
    static void parseSyncXml(const xml::Document& document, Import& import);
    /// Any other root.
    static void parseReportXml(const xml::Document& document, Import& import);

    /// One entry. Element names are joined by "-" in reports and by "_" elsewhere. An unknown project or task is made
    /// from the names in the element, and the entry is locked.
    static DayEntry& parseDayEntry(xml::Element element, Import& import, bool fromReports);
    /// A clock time ("9:15am") on a day; invalid when it is not one.
    static QDateTime buildTimestampWithTime(const QString& time, const QDateTime& spentAt);
    static Task& createUnassignedTask(xml::Element element, const QString& idString, Import& import);
    static Project& createArchivedProject(xml::Element element, const QString& idString, Import& import);
};

} // namespace model
