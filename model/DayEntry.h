#pragma once

#include "model/QuillonObject.h"

#include <QDateTime>

#include <optional>

namespace model::xml {
class Body;
class Document;
class Element;
} // namespace model::xml

namespace model {

class Project;
class Task;
class TaskAssignment;
class User;
class UserAssignment;

/// One line of the timesheet: hours on a project and task on one day, perhaps with a timer running.
class DayEntry final : public QuillonObject
{
public:
    static constexpr const char* entityName = "DayEntry";
    /// The id of the one local entry per company that a new timer is prepared in.
    static const QString newEntryId;

    QString notes() const { return string("notes"); }
    void setNotes(const QString& notes) { setValue("notes", notes); }
    /// Those booked, as last reported or typed; a running timer not counted up.
    std::optional<double> hours() const { return optionalNumber("hours"); }
    void setHours(std::optional<double> hours) { setOptionalNumber("hours", hours); }
    /// Those booked before the running timer was started.
    double hoursWithoutTimer() const { return number("hoursWithoutTimer"); }
    void setHoursWithoutTimer(double hours) { setValue("hoursWithoutTimer", hours); }
    /// The start of the local day that the entry counts for.
    QDateTime spentAt() const { return date("spentAt"); }
    void setSpentAt(const QDateTime& spentAt) { setValue("spentAt", spentAt); }
    /// Valid exactly while the timer runs.
    QDateTime timerStarted() const { return date("timerStarted"); }
    void setTimerStarted(const QDateTime& moment) { setValue("timerStarted", moment); }
    // Start and end by the clock, for accounts with timestamp timers.
    QDateTime startedAt() const { return date("startedAt"); }
    void setStartedAt(const QDateTime& moment) { setValue("startedAt", moment); }
    QDateTime stoppedAt() const { return date("stoppedAt"); }
    void setStoppedAt(const QDateTime& moment) { setValue("stoppedAt", moment); }
    QDateTime updatedAt() const { return date("updatedAt"); }
    void setUpdatedAt(const QDateTime& moment) { setValue("updatedAt", moment); }
    QDateTime createdAt() const { return date("createdAt"); }
    void setCreatedAt(const QDateTime& moment) { setValue("createdAt", moment); }
    bool isBilled() const { return boolean("isBilled"); }
    /// No value: the service has not said.
    void setIsBilled(std::optional<bool> isBilled);
    /// May not be edited, for `lockedReason`.
    bool isLocked() const { return boolean("isLocked"); }
    void setIsLocked(std::optional<bool> isLocked);
    QString lockedReason() const { return string("lockedReason"); }
    void setLockedReason(const QString& reason) { setValue("lockedReason", reason); }
    // The ids as the service gave them, kept even where the object itself is not known.
    QString projectId() const { return string("projectId"); }
    void setProjectId(const QString& projectId) { setValue("projectId", projectId); }
    QString taskId() const { return string("taskId"); }
    void setTaskId(const QString& taskId) { setValue("taskId", taskId); }
    QString userId() const { return string("userId"); }
    void setUserId(const QString& userId) { setValue("userId", userId); }

    Project* project() const;
    void setProject(Project* project);
    Task* task() const;
    void setTask(Task* task);
    User* user() const;
    void setUser(User* user);
    Company* company() const;
    void setCompany(Company* company);

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
    bool hasRealId() const;

    // By the ids, in the main context, of whatever company; null: none.
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

    /// A day sheet, the result of adding, toggling or correcting an entry, or a report, told by the root element.
    static tl::expected<void, XmlError> parseXml(QByteArray utf8, Company& company, store::Context& context);
    /// Root "daily". Also the catalog, when the sheet brings it: what it does not hold is deleted. Does not save.
    static void parseDailyXml(const xml::Document& document, Company& company, store::Context& context);
    /// Root "add" or "timer". A running entry stops all others of the company. Does not save.
    static void parseAddXml(const xml::Document& document, Company& company, store::Context& context);
    /// Root "day_entry". Does not save.
    static void parseSyncXml(const xml::Document& document, Company& company, store::Context& context);
    /// Any other root. Does not save.
    static void parseReportXml(const xml::Document& document, Company& company, store::Context& context);

    /// One entry. Element names are joined by "-" in reports and by "_" elsewhere. A project or task that is not known
    /// is made from the names in the element, and the entry is locked. Does not save.
    static DayEntry& parseDayEntry(xml::Element element, Company& company, store::Context& context, bool fromReports);
    /// A clock time ("9:15am") on a day; invalid when it is none.
    static QDateTime buildTimestampWithTime(const QString& time, const QDateTime& spentAt);
    static Task& createUnassignedTask(xml::Element element, const QString& idString, Company& company,
                                      store::Context& context);
    static Project& createArchivedProject(xml::Element element, const QString& idString, Company& company,
                                          store::Context& context);

private:
    class EntryImport;
    static DayEntry& parseDayEntry(xml::Element element, EntryImport& import, bool fromReports);
};

} // namespace model
