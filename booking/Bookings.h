#pragma once

#include "booking/Names.h"
#include "booking/Refusal.h"

#include "service/QuillonApi.h"
#include "store/Object.h"

#include <QDate>
#include <QObject>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

namespace model {
class DayEntry;
class Project;
class Task;
class User;
} // namespace model

namespace booking {

/// What can be booked at present.
enum class State
{
    Starting, ///< the account or its day has not arrived yet
    Ready,
    Offline,
    SignedOut,
};

/// An entry as it is told to other programs.
struct Booked
{
    QString id; ///< the service's
    QDate day;
    QString client;
    QString code; ///< of the project
    QString project;
    QString task;
    QString notes;
    double hours = 0; ///< with a running timer's up to now
    QString time;     ///< the same as the windows show it, "1:05"
    bool running = false;
    QString started; ///< by the clock, "09:05"; empty where the account does not record it
    QString ended;
};

/// A project as it is offered.
struct Offered
{
    QString client;
    QString code;
    QString project;
    QStringList tasks; ///< by name
};

/// Starts, stops and books by name, for those who have no window: the session bus, and through it the command line and
/// the desktop's search. What fails is told to the caller alone, without an alert.
///
/// Requests wait until the account has arrived. One per run, made after the controller and destroyed before it. Main
/// thread only, and callbacks come there; none comes once this is destroyed or the program quits.
class Bookings final : public QObject
{
    Q_OBJECT
public:
    explicit Bookings(std::function<State()> state) : m_state(std::move(state)) {}

    template <class T>
    using Reply = std::function<void(const Expected<T>&)>;

    struct Start
    {
        QString project;
        QString task; ///< empty: the only one, or the one booked last on the project
        QString notes;
        QString at;  ///< when the work began, as readClock; empty: now
        QString ago; ///< or how long ago, as readHours
    };
    void start(const Start& start, const Reply<Booked>& reply);
    /// Stops the timer that runs, on whatever day, unless that was done elsewhere meanwhile; with an id only this
    /// entry's.
    void stop(const Reply<Booked>& reply, const QString& id = {});
    /// Goes on with the `which`-th most recent booking, from 1: see `recent`.
    void resume(int which, const Reply<Booked>& reply);
    /// The same, by the id of an entry of that list.
    void resumeEntry(const QString& id, const Reply<Booked>& reply);

    struct Add
    {
        QString hours; ///< as readHours
        QString project;
        QString task; ///< as for a start
        QString notes;
        QString day; ///< as readDay; empty: today
    };
    void add(const Add& add, const Reply<Booked>& reply);
    /// Replaces the notes of the running entry.
    void setNotes(const QString& notes, const Reply<Booked>& reply);

    /// The entries of some days, as readDays, freshly fetched, by day.
    void log(const QString& days, const Reply<std::vector<Booked>>& reply);
    void projects(const Reply<std::vector<Offered>>& reply);
    /// The newest entry of each project and task that can still be booked, but for the running one, the most recent
    /// first, as far as the store goes back.
    void recent(const Reply<std::vector<Booked>>& reply);

    /// A project with one of its tasks.
    struct Bookable
    {
        QString id; ///< for `startBookable`, in this account
        QString project;
        QString task;
        QString client;
    };
    /// Those in whose names (code, project, task, client) all words are found, those booked last first; from the store,
    /// at once. None for less than two letters.
    std::vector<Bookable> search(const QStringList& words, std::size_t most) const;
    /// The same by its id.
    std::optional<Bookable> bookable(const QString& id) const;
    /// Starts a timer on it.
    void startBookable(const QString& id, const Reply<Booked>& reply);

    // The lists above from the store alone, at once; empty while the account has not arrived.

    std::vector<Offered> projectsNow() const;
    std::vector<Booked> recentNow(std::size_t most = SIZE_MAX) const;
    std::optional<Booked> runningNow() const;

    /// What can be booked may have changed.
    void stateChanged();

private:
    using Work = std::function<void(model::User&)>;
    using Refuse = std::function<void(const Refusal&)>;
    struct Waiting
    {
        Work work;
        Refuse refuse;
    };
    struct Choice
    {
        model::Project* project;
        model::Task* task;
    };

    void whenReady(Work work, Refuse refuse);
    template <class T>
    void whenReady(const Reply<T>& reply, Work work);
    void fetch(std::vector<QDate> days, std::function<void(const service::Result&)> done);
    void resumeWith(std::function<Expected<model::DayEntry*>(const std::vector<model::DayEntry*>&)> choose,
                    const Reply<Booked>& reply);
    void stopFetched(const Reply<Booked>& reply, const QString& id);
    void toggle(model::DayEntry& entry, const Reply<Booked>& reply);
    void send(model::User& user, const Choice& choice, const QString& notes, double hours, QDate day,
              const QDateTime& startedAt, std::function<void(const Expected<model::DayEntry*>&)> done);
    static std::optional<Choice> choiceOf(const model::User& user, const QString& id);
    static Expected<Choice> choose(const model::User& user, const QString& project, const QString& task);

    std::function<State()> m_state;
    std::vector<Waiting> m_waiting;
    QString m_stopping; ///< the entry of which the service is asked to stop the timer
};

} // namespace booking
