#include "DayEntry.h"

#include "Company.h"
#include "DateFormatting.h"
#include "Host.h"
#include "HoursMinutes.h"
#include "Project.h"
#include "Task.h"
#include "TaskAssignment.h"
#include "User.h"
#include "UserAssignment.h"
#include "Xml.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

using namespace Qt::StringLiterals;

namespace model {

namespace {

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

/// As C's "%.*f" writes it. Qt rounds halves up and not to even.
QString fixedPoint(double number, int decimals)
{
    std::array<char, 400> text; // the largest number has 309 digits before the point
    const auto written =
        std::to_chars(text.data(), text.data() + text.size(), number, std::chars_format::fixed, decimals);
    return QString::fromLatin1(text.data(), written.ptr - text.data());
}

} // namespace

const QString DayEntry::NewEntryId = u"newEntry"_s;

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
    setValue("createdAt", {});
    setNotes(u""_s);
}

bool DayEntry::isRealId(const QString& id)
{
    return !id.isEmpty() && std::all_of(id.begin(), id.end(), [](QChar character) { return character.isDigit(); });
}

TaskAssignment* DayEntry::taskAssignment() const
{
    store::Context* context = Host::currentContext();
    return context ? fetchFirst<TaskAssignment>(*context, store::where("taskId", taskId()) &&
                                                              store::where("projectId", projectId()))
                   : nullptr;
}

UserAssignment* DayEntry::userAssignment() const
{
    store::Context* context = Host::currentContext();
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
    auto& entry = company->findOrCreateById<DayEntry>(NewEntryId, company->context());
    entry.resetToDefaults();
    if (const DayEntry* recent = company->mostRecentDayEntry()) {
        entry.setProject(recent->project());
        entry.setTask(recent->task());
    }
    entry.setUser(user);
    return &entry;
}

} // namespace model
