#include "booking/Bookings.h"

#include "booking/TypedTime.h"

#include "model/Client.h"
#include "model/Company.h"
#include "model/DateComparisons.h"
#include "model/DayEntry.h"
#include "model/Host.h"
#include "model/Project.h"
#include "model/Task.h"
#include "model/User.h"
#include "store/Context.h"

#include <QPointer>

#include <algorithm>
#include <functional>
#include <map>
#include <memory>
#include <set>

namespace booking {

using namespace Qt::StringLiterals;

using model::DayEntry;
using service::QuillonApi;
using service::Result;

namespace {

/// Each day is a request of its own, and 36 of them take 15 seconds.
constexpr qint64 MostDays = 62;
/// What was booked longer ago is not what one goes on with.
constexpr int RecentDays = 60;
constexpr double SecondsInHour = 3600;
/// Less is nothing on the wire, which has two decimals.
constexpr double LeastHours = 0.005;
/// A single letter would find nearly everything.
constexpr qsizetype LeastSearched = 2;

Refusal invalid(const QString& reason)
{
    return {"Invalid"_L1, reason};
}

Refusal notRunning()
{
    return {"NotRunning"_L1, Bookings::tr("no timer is running")};
}

Refusal gone()
{
    return {"NotFound"_L1, Bookings::tr("this can no longer be booked")};
}

Refusal failed(const Result& result, const QString& otherwise)
{
    const QString reason = result.error ? result.error->localizedDescription.trimmed() : QString();
    return {"Failed"_L1, reason.isEmpty() ? otherwise : reason};
}

Refusal failed(const Result& result)
{
    return failed(result, Bookings::tr("the service did not do it, or did not answer"));
}

model::User* currentUser()
{
    model::Host* host = model::Host::current();
    return host ? host->currentUser() : nullptr;
}

QString clock(const QDateTime& moment)
{
    return moment.isValid() ? moment.toLocalTime().toString(u"HH:mm"_s) : QString();
}

Booked booked(const DayEntry& entry)
{
    const model::Project* project = entry.project();
    const model::Client* client = project ? project->client() : nullptr;
    const model::Task* task = entry.task();
    return {.id = entry.idString(),
            .day = model::localDay(entry.spentAt()),
            .client = client ? client->name() : QString(),
            .code = project ? project->code() : QString(),
            .project = project ? project->name() : QString(),
            .task = task ? task->name() : QString(),
            .notes = entry.notes(),
            .hours = entry.totalHours(),
            .time = entry.hoursMinutes(),
            .running = entry.isRunning(),
            .started = clock(entry.startedAt()),
            .ended = entry.isRunning() ? QString() : clock(entry.stoppedAt())};
}

DayEntry* running(const model::User& user)
{
    const model::Company* company = user.company();
    return company ? company->runningDayEntry() : nullptr;
}

Named named(const model::Project& project)
{
    const model::Client* client = project.client();
    Named named{.names = {project.name(), project.displayName()}, .shown = project.displayName()};
    if (const QString code = project.code(); !code.isEmpty())
        named.names.prepend(code);
    if (client && !client->name().isEmpty()) {
        named.names << client->name() + u'/' + project.name();
        named.shown += u" ("_s + client->name() + u')';
    }
    return named;
}

std::vector<model::Task*> tasksByName(const model::Project& project)
{
    std::vector<model::Task*> tasks = project.assignedTasks();
    std::ranges::sort(tasks, [](const model::Task* one, const model::Task* other) {
        return one->taskCaseInsenstiveCompare(*other) < 0;
    });
    return tasks;
}

void sortNewestFirst(std::vector<DayEntry*>& entries)
{
    struct Dated
    {
        qint64 day, updated;
        DayEntry* entry;
    };
    std::vector<Dated> dated;
    dated.reserve(entries.size());
    for (DayEntry* entry : entries) {
        // As it is stored: to find the moment at which a day begins takes a hundred times as long.
        const QDateTime day = entry->date("spentAt");
        const QDateTime updated = entry->updatedAt();
        dated.push_back({day.toMSecsSinceEpoch(), updated.isValid() ? updated.toMSecsSinceEpoch() : 0, entry});
    }
    std::ranges::sort(dated, std::greater(), [](const Dated& each) { return std::pair(each.day, each.updated); });
    std::ranges::transform(dated, entries.begin(), &Dated::entry);
}

/// The newest entry of each project and task that can still be booked, the most recent first, and no more than `most`.
std::vector<DayEntry*> recentEntries(const model::User& user, std::size_t most = SIZE_MAX)
{
    const model::Company* company = user.company();
    if (!company)
        return {};
    const QDate today = model::localDay(model::now());
    std::set<std::pair<const model::Project*, const model::Task*>> seen;
    if (const DayEntry* runs = running(user))
        seen.emplace(runs->project(), runs->task());
    std::vector<DayEntry*> recent;
    const auto take = [&](const std::vector<DayEntry*>& entries) {
        for (DayEntry* entry : entries) {
            if (recent.size() == most)
                return;
            const model::Project* project = entry->project();
            if (!project || !seen.emplace(project, entry->task()).second || !user.isAssignedTo(*project))
                continue;
            const std::vector<model::Task*> tasks = project->assignedTasks();
            if (std::ranges::find(tasks, entry->task()) != tasks.end())
                recent.push_back(entry);
        }
    };
    std::vector<DayEntry*> ofToday = company->dayEntriesForDate(today);
    std::erase_if(ofToday, [](const DayEntry* entry) { return !entry->hasRealId(); });
    sortNewestFirst(ofToday);
    take(ofToday);
    if (recent.size() < most)
        take(company->newestDayEntries(today.addDays(-RecentDays), today));
    return recent;
}

Bookings::Bookable bookableOf(const model::Project& project, const model::Task& task)
{
    const model::Client* client = project.client();
    return {project.idString() + u'/' + task.idString(), project.displayName(), task.name(),
            client ? client->name() : QString()};
}

auto bookedTo(const Bookings::Reply<Booked>& reply)
{
    return [reply](const Expected<DayEntry*>& made) {
        if (made)
            reply(booked(**made));
        else
            reply(tl::unexpected(made.error()));
    };
}

/// Runs `use` with an entry that exists only meanwhile, neither stored nor seen by any window.
template <class Use>
void withDraft(model::Company& company, const QString& id, Use use)
{
    auto& draft = company.insertWithId<DayEntry>(id, company.context());
    draft.setUser(currentUser());
    use(draft);
    company.context().remove(draft);
}

std::set<QString> idsOf(const model::Company& company, QDate day)
{
    std::set<QString> ids;
    for (const DayEntry* entry : company.dayEntriesForDate(day))
        ids.insert(entry->idString());
    return ids;
}

} // namespace

void Bookings::whenReady(Work work, Refuse refuse)
{
    switch (m_state()) {
    case State::SignedOut:
        refuse({"SignedOut"_L1, tr("nobody is signed in: sign in in the preferences")});
        return;
    case State::Offline:
        refuse({"Offline"_L1, tr("the service cannot be reached")});
        return;
    case State::Ready:
        if (model::User* user = currentUser()) {
            work(*user);
            return;
        }
        [[fallthrough]];
    case State::Starting:
        m_waiting.push_back({std::move(work), std::move(refuse)});
    }
}

template <class T>
void Bookings::whenReady(const Reply<T>& reply, Work work)
{
    whenReady(std::move(work), [reply](const Refusal& refusal) { reply(tl::unexpected(refusal)); });
}

void Bookings::stateChanged()
{
    if (m_waiting.empty() || m_state() == State::Starting)
        return;
    for (Waiting& waiting : std::exchange(m_waiting, {}))
        whenReady(std::move(waiting.work), std::move(waiting.refuse));
}

Expected<Bookings::Choice> Bookings::choose(const model::User& user, const QString& project, const QString& task)
{
    const std::vector<model::Project*> projects = user.assignedProjects();
    std::vector<Named> names;
    for (const model::Project* each : projects)
        names.push_back(named(*each));
    const auto found = find(names, project, tr("project"));
    if (!found)
        return tl::unexpected(found.error());
    model::Project* chosen = projects[*found];
    const std::vector<model::Task*> tasks = tasksByName(*chosen);
    if (tasks.empty())
        return tl::unexpected(invalid(tr("“%1” has no tasks").arg(chosen->displayName())));
    if (!task.trimmed().isEmpty()) {
        names.clear();
        for (const model::Task* each : tasks)
            names.push_back({.names = {each->name()}, .shown = each->name()});
        const auto which = find(names, task, tr("task of “%1”").arg(chosen->displayName()));
        return which ? Expected<Choice>(Choice{chosen, tasks[*which]}) : tl::unexpected(which.error());
    }
    if (tasks.size() == 1)
        return Choice{chosen, tasks.front()};
    std::vector<DayEntry*> entries = chosen->dayEntries();
    std::erase_if(entries, [&](const DayEntry* entry) {
        return !entry->hasRealId() || std::ranges::find(tasks, entry->task()) == tasks.end();
    });
    sortNewestFirst(entries);
    if (!entries.empty())
        return Choice{chosen, entries.front()->task()};
    QString reason = tr("which task of “%1”?").arg(chosen->displayName());
    for (const model::Task* each : tasks)
        reason += u"\n  "_s + each->name();
    return tl::unexpected(Refusal{"Ambiguous"_L1, reason});
}

void Bookings::fetch(std::vector<QDate> days, std::function<void(const Result&)> done)
{
    const auto open = std::make_shared<std::size_t>(days.size());
    const auto worst = std::make_shared<Result>(Result{.succeeded = true, .error = {}});
    for (const QDate day : days) {
        QuillonApi::sharedApi().requestDailyTimesheetForDate(
            day, false, [self = QPointer(this), open, worst, done](const Result& result) {
                if (!result)
                    *worst = result;
                if (--*open == 0 && self)
                    done(*worst);
            });
    }
}

void Bookings::send(model::User& user, const Choice& choice, const QString& notes, double hours, QDate day,
                    const QDateTime& startedAt, std::function<void(const Expected<DayEntry*>&)> done)
{
    model::Company& company = *user.company();
    withDraft(company, {}, [&](DayEntry& draft) {
        draft.setProject(choice.project);
        draft.setTask(choice.task);
        draft.setNotes(notes);
        draft.setSpentAt(model::startOfDay(day));
        draft.setStartedAt(startedAt);
        if (hours >= LeastHours)
            draft.setHours(hours);
        QuillonApi::sharedApi().startNewTimer(
            draft,
            [self = QPointer(this), account = store::Ref(&company), before = idsOf(company, day), day,
             done = std::move(done)](const Result& result) {
                if (!self)
                    return;
                if (!result) {
                    done(tl::unexpected(failed(result)));
                    return;
                }
                // A name for the new one: the only one that was not there before, or of several the last.
                DayEntry* made = nullptr;
                for (DayEntry* entry :
                     account.get() ? account.get()->dayEntriesForDate(day) : std::vector<DayEntry*>()) {
                    if (!before.contains(entry->idString()) &&
                        (!made || made->idString().toLongLong() < entry->idString().toLongLong()))
                        made = entry;
                }
                if (made)
                    done(made);
                else
                    done(tl::unexpected(failed({}, tr("the service took it, but does not show it"))));
            },
            QuillonApi::Failure::TellCaller);
    });
}

void Bookings::start(const Start& start, const Reply<Booked>& reply)
{
    whenReady(reply, [this, start, reply](model::User& user) {
        const auto choice = choose(user, start.project, start.task);
        if (!choice) {
            reply(tl::unexpected(choice.error()));
            return;
        }
        const QDateTime now = model::now();
        const QDate today = model::localDay(now);
        QDateTime began;
        if (!start.at.isEmpty() && !start.ago.isEmpty()) {
            reply(tl::unexpected(invalid(tr("say either when the work began or how long ago, not both"))));
            return;
        }
        if (!start.at.isEmpty()) {
            const auto time = readClock(start.at);
            if (!time) {
                reply(tl::unexpected(invalid(tr("“%1” is no time of day: try 9:05 or 2:30pm").arg(start.at))));
                return;
            }
            began = QDateTime(today, *time);
        } else if (!start.ago.isEmpty()) {
            const auto hours = readHours(start.ago);
            if (!hours) {
                reply(tl::unexpected(invalid(tr("“%1” is no length of time: try 20m or 1:30").arg(start.ago))));
                return;
            }
            began = now.addMSecs(-qRound64(*hours * SecondsInHour * 1000));
        }
        if (began.isValid() && began > now) {
            reply(tl::unexpected(invalid(tr("%1 is still to come").arg(clock(began)))));
            return;
        }
        if (began.isValid() && model::localDay(began) != today) {
            reply(tl::unexpected(invalid(tr("that was yesterday: book it there with “quillon add”"))));
            return;
        }
        const bool byClock = user.company()->hasTimestampTimers();
        const double hours =
            began.isValid() && !byClock ? static_cast<double>(began.msecsTo(now)) / 1000 / SecondsInHour : 0;
        send(user, *choice, start.notes, hours, today, byClock ? began : QDateTime(),
             [this, reply](const Expected<DayEntry*>& made) {
                 if (!made)
                     reply(tl::unexpected(made.error()));
                 else if ((*made)->isRunning())
                     reply(booked(**made));
                 else
                     toggle(**made, reply); // one with hours is booked, not started
             });
    });
}

void Bookings::toggle(DayEntry& entry, const Reply<Booked>& reply)
{
    QuillonApi::sharedApi().toggleTimer(
        entry,
        [self = QPointer(this), toggled = store::Ref(&entry), reply](const Result& result) {
            if (!self)
                return;
            if (!result)
                reply(tl::unexpected(failed(result)));
            else if (toggled.get())
                reply(booked(*toggled.get()));
            else
                reply(tl::unexpected(failed({}, tr("the entry has been deleted meanwhile"))));
        },
        QuillonApi::Failure::TellCaller);
}

void Bookings::stop(const Reply<Booked>& reply, const QString& id)
{
    whenReady(reply, [this, reply, id](model::User& user) {
        const DayEntry* entry = running(user);
        // A toggle of one that was stopped elsewhere would start it.
        std::vector<QDate> days{model::localDay(model::now())};
        if (entry && model::localDay(entry->spentAt()) != days.front())
            days.push_back(model::localDay(entry->spentAt()));
        fetch(days, [this, reply, id](const Result& result) {
            if (result)
                stopFetched(reply, id);
            else
                reply(tl::unexpected(failed(result)));
        });
    });
}

void Bookings::stopFetched(const Reply<Booked>& reply, const QString& id)
{
    const model::User* user = currentUser();
    DayEntry* const entry = user ? running(*user) : nullptr;
    // A second toggle would start it again.
    if (!entry || (!id.isEmpty() && entry->idString() != id) || entry->idString() == m_stopping) {
        reply(tl::unexpected(notRunning()));
        return;
    }
    m_stopping = entry->idString();
    toggle(*entry, [this, reply](const Expected<Booked>& stopped) {
        m_stopping.clear();
        reply(stopped);
    });
}

void Bookings::resume(int which, const Reply<Booked>& reply)
{
    resumeWith(
        [which](const std::vector<DayEntry*>& entries) -> Expected<DayEntry*> {
            if (which >= 1 && static_cast<std::size_t>(which) <= entries.size())
                return entries[static_cast<std::size_t>(which) - 1];
            return tl::unexpected(
                Refusal{"NotFound"_L1, entries.empty()
                                           ? tr("there is nothing to continue")
                                           : tr("there are not so many: the last is number %1").arg(entries.size())});
        },
        reply);
}

void Bookings::resumeEntry(const QString& id, const Reply<Booked>& reply)
{
    resumeWith(
        [id](const std::vector<DayEntry*>& entries) -> Expected<DayEntry*> {
            const auto entry = std::ranges::find(entries, id, &DayEntry::idString);
            return entry != entries.end() ? Expected<DayEntry*>(*entry) : tl::unexpected(gone());
        },
        reply);
}

void Bookings::resumeWith(std::function<Expected<DayEntry*>(const std::vector<DayEntry*>&)> choose,
                          const Reply<Booked>& reply)
{
    whenReady(reply, [this, choose = std::move(choose), reply](model::User&) {
        fetch({model::localDay(model::now())}, [this, choose, reply](const Result& result) {
            model::User* user = currentUser();
            if (!result || !user) {
                reply(tl::unexpected(failed(result)));
                return;
            }
            const Expected<DayEntry*> chosen = choose(recentEntries(*user));
            if (!chosen) {
                reply(tl::unexpected(chosen.error()));
                return;
            }
            DayEntry& entry = **chosen;
            const QDate today = model::localDay(model::now());
            if (model::localDay(entry.spentAt()) == today && !entry.isLocked())
                toggle(entry, reply);
            else
                send(*user, {entry.project(), entry.task()}, u""_s, 0, today, {}, bookedTo(reply));
        });
    });
}

void Bookings::add(const Add& add, const Reply<Booked>& reply)
{
    whenReady(reply, [this, add, reply](model::User& user) {
        const auto hours = readHours(add.hours);
        const QDate today = model::localDay(model::now());
        const auto day = add.day.isEmpty() ? std::optional(today) : readDay(add.day, today);
        if (!hours || !day) {
            reply(tl::unexpected(
                invalid(!hours ? tr("“%1” is no length of time: try 1:30, 1.5 or 90m").arg(add.hours)
                               : tr("“%1” is no day: try yesterday, monday or 2026-11-20").arg(add.day))));
            return;
        }
        const auto choice = choose(user, add.project, add.task);
        if (!choice) {
            reply(tl::unexpected(choice.error()));
            return;
        }
        send(user, *choice, add.notes, *hours, *day, {}, bookedTo(reply));
    });
}

void Bookings::setNotes(const QString& notes, const Reply<Booked>& reply)
{
    whenReady(reply, [this, notes, reply](model::User& user) {
        const DayEntry* entry = running(user);
        if (!entry) {
            reply(tl::unexpected(notRunning()));
            return;
        }
        // Its hours go along, and must be those that the service has.
        fetch({model::localDay(entry->spentAt())}, [this, notes, reply](const Result& result) {
            const model::User* now = currentUser();
            DayEntry* runs = now ? running(*now) : nullptr;
            if (!result || !runs) {
                reply(tl::unexpected(result ? notRunning() : failed(result)));
                return;
            }
            withDraft(*runs->company(), runs->idString(), [&](DayEntry& draft) {
                draft.setProject(runs->project());
                draft.setTask(runs->task());
                draft.setNotes(notes);
                draft.setSpentAt(runs->spentAt());
                draft.setHours(runs->hours());
                draft.setStartedAt(runs->startedAt());
                draft.setStoppedAt(runs->stoppedAt());
                QuillonApi::sharedApi().updateTimer(
                    draft,
                    [self = QPointer(this), noted = store::Ref(runs), reply](const Result& updated) {
                        if (self && updated && noted.get())
                            reply(booked(*noted.get()));
                        else if (self)
                            reply(tl::unexpected(failed(updated)));
                    },
                    QuillonApi::Failure::TellCaller);
            });
        });
    });
}

void Bookings::log(const QString& days, const Reply<std::vector<Booked>>& reply)
{
    whenReady(reply, [this, days, reply](model::User&) {
        const auto range = readDays(days, model::localDay(model::now()));
        if (!range || range->first.daysTo(range->last) >= MostDays) {
            reply(tl::unexpected(invalid(
                range ? tr("that is too long: at most %1 days").arg(MostDays)
                      : tr("“%1” names no days: try today, yesterday, week or 2026-11-02..2026-11-20").arg(days))));
            return;
        }
        std::vector<QDate> wanted;
        for (QDate day = range->first; day <= range->last; day = day.addDays(1))
            wanted.push_back(day);
        fetch(wanted, [wanted, reply](const Result& result) {
            const model::User* user = currentUser();
            if (!result || !user) {
                reply(tl::unexpected(failed(result)));
                return;
            }
            std::vector<Booked> entries;
            for (const QDate day : wanted) {
                std::vector<DayEntry*> ofDay = user->company()->dayEntriesForDate(day);
                std::ranges::sort(ofDay, {}, [](const DayEntry* entry) { return entry->idString().toLongLong(); });
                for (const DayEntry* entry : ofDay)
                    entries.push_back(booked(*entry));
            }
            reply(entries);
        });
    });
}

void Bookings::projects(const Reply<std::vector<Offered>>& reply)
{
    whenReady(reply, [this, reply](model::User&) { reply(projectsNow()); });
}

void Bookings::recent(const Reply<std::vector<Booked>>& reply)
{
    whenReady(reply, [this, reply](model::User&) { reply(recentNow()); });
}

std::vector<Bookings::Bookable> Bookings::search(const QStringList& words, std::size_t most) const
{
    const model::User* user = m_state() == State::SignedOut ? nullptr : currentUser();
    if (!user || words.join(QString()).size() < LeastSearched)
        return {};
    std::map<std::pair<const model::Project*, const model::Task*>, std::size_t> booked;
    for (const DayEntry* entry : recentEntries(*user))
        booked.emplace(std::pair(entry->project(), entry->task()), booked.size());
    std::vector<std::pair<std::size_t, Bookable>> found;
    for (const model::Project* project : user->assignedProjects()) {
        const QString names = named(*project).names.join(u'\n');
        for (const model::Task* task : tasksByName(*project)) {
            const QString all = names + u'\n' + task->name();
            if (!std::ranges::all_of(words,
                                     [&](const QString& word) { return all.contains(word, Qt::CaseInsensitive); }))
                continue;
            const auto last = booked.find({project, task});
            found.emplace_back(last == booked.end() ? booked.size() : last->second, bookableOf(*project, *task));
        }
    }
    std::ranges::stable_sort(found, {}, [](const auto& each) { return each.first; });
    std::vector<Bookable> bookables;
    for (auto& [rank, each] : found) {
        if (bookables.size() < most)
            bookables.push_back(std::move(each));
    }
    return bookables;
}

std::optional<Bookings::Choice> Bookings::choiceOf(const model::User& user, const QString& id)
{
    for (model::Project* project : user.assignedProjects()) {
        if (project->idString() != id.section(u'/', 0, 0))
            continue;
        for (model::Task* task : project->assignedTasks()) {
            if (task->idString() == id.section(u'/', 1))
                return Choice{project, task};
        }
    }
    return std::nullopt;
}

std::optional<Bookings::Bookable> Bookings::bookable(const QString& id) const
{
    const model::User* user = m_state() == State::SignedOut ? nullptr : currentUser();
    const auto choice = user ? choiceOf(*user, id) : std::nullopt;
    return choice ? std::optional(bookableOf(*choice->project, *choice->task)) : std::nullopt;
}

void Bookings::startBookable(const QString& id, const Reply<Booked>& reply)
{
    whenReady(reply, [this, id, reply](model::User& user) {
        const auto choice = choiceOf(user, id);
        if (!choice) {
            reply(tl::unexpected(gone()));
            return;
        }
        send(user, *choice, u""_s, 0, model::localDay(model::now()), {}, bookedTo(reply));
    });
}

std::vector<Offered> Bookings::projectsNow() const
{
    std::vector<Offered> offered;
    const model::User* user = m_state() == State::SignedOut ? nullptr : currentUser();
    for (const model::Project* project : user ? user->assignedProjects() : std::vector<model::Project*>()) {
        const model::Client* client = project->client();
        QStringList tasks;
        for (const model::Task* task : tasksByName(*project))
            tasks << task->name();
        offered.push_back({client ? client->name() : QString(), project->code(), project->name(), tasks});
    }
    return offered;
}

std::vector<Booked> Bookings::recentNow(std::size_t most) const
{
    std::vector<Booked> recent;
    const model::User* user = m_state() == State::SignedOut ? nullptr : currentUser();
    for (const DayEntry* entry : user ? recentEntries(*user, most) : std::vector<DayEntry*>())
        recent.push_back(booked(*entry));
    return recent;
}

std::optional<Booked> Bookings::runningNow() const
{
    const model::User* user = m_state() == State::SignedOut ? nullptr : currentUser();
    const DayEntry* entry = user ? running(*user) : nullptr;
    return entry ? std::optional(booked(*entry)) : std::nullopt;
}

} // namespace booking
