#include "app/SearchBus.h"

#include "app/Text.h"
#include "booking/Bookings.h"
#include "platform/Alerts.h"
#include "platform/Run.h"

#include <QDBusAbstractAdaptor>
#include <QDBusArgument>
#include <QDBusMetaType>

#include <vector>

namespace app {

using namespace Qt::StringLiterals;

using booking::Booked;
using booking::Bookings;
using booking::Expected;

/// What KRunner shows of a match, as `org.kde.krunner1` wants it.
struct SearchMatch
{
    QString id;
    QString text;
    QString icon;
    int type = 0;
    double relevance = 0;
    QVariantMap properties;
};

struct SearchAction
{
    QString id;
    QString text;
    QString icon;
};

QDBusArgument& operator<<(QDBusArgument& argument, const SearchMatch& match)
{
    argument.beginStructure();
    argument << match.id << match.text << match.icon << match.type << match.relevance << match.properties;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, SearchMatch& match)
{
    argument.beginStructure();
    argument >> match.id >> match.text >> match.icon >> match.type >> match.relevance >> match.properties;
    argument.endStructure();
    return argument;
}

QDBusArgument& operator<<(QDBusArgument& argument, const SearchAction& action)
{
    argument.beginStructure();
    argument << action.id << action.text << action.icon;
    argument.endStructure();
    return argument;
}

const QDBusArgument& operator>>(const QDBusArgument& argument, SearchAction& action)
{
    argument.beginStructure();
    argument >> action.id >> action.text >> action.icon;
    argument.endStructure();
    return argument;
}

namespace {

constexpr std::size_t MostResults = 8;
constexpr QLatin1StringView Icon("com.wrenfold.quillon");
constexpr QLatin1StringView StopId("stop");
// Categories of KRunner's matches (KRunner::QueryMatch::Type).
constexpr int PossibleMatch = 10;
constexpr int ExactMatch = 100;

/// One line of a search's results.
struct Result
{
    QString id;
    QString title;
    QString about;
};

Result resultOf(const Bookings::Bookable& bookable)
{
    return {bookable.id, tr("Start %1 · %2").arg(bookable.project, bookable.task), bookable.client};
}

std::optional<Result> stopResult(const Bookings& bookings)
{
    const auto running = bookings.runningNow();
    if (!running)
        return std::nullopt;
    return Result{StopId, tr("Stop the Timer"), tr("%1 · %2, %3").arg(running->project, running->task, running->time)};
}

std::vector<Result> results(const Bookings& bookings, const QStringList& words)
{
    std::vector<Result> found;
    // "sto", "stop", "stop timer": translations keep the English word, too.
    const QString first = words.value(0);
    const bool asksToStop = first.size() >= 2 && (tr("stop").startsWith(first, Qt::CaseInsensitive) ||
                                                  u"stop"_s.startsWith(first, Qt::CaseInsensitive));
    if (const auto stop = asksToStop ? stopResult(bookings) : std::nullopt)
        found.push_back(*stop);
    for (const Bookings::Bookable& bookable : bookings.search(words, MostResults - found.size()))
        found.push_back(resultOf(bookable));
    return found;
}

std::optional<Result> resultOf(const Bookings& bookings, const QString& id)
{
    if (id == StopId)
        return stopResult(bookings);
    const auto bookable = bookings.bookable(id);
    return bookable ? std::optional(resultOf(*bookable)) : std::nullopt;
}

void carryOut(Bookings& bookings, const QString& id)
{
    const auto tell = [](const Expected<Booked>& booked) {
        if (!booked)
            platform::environment().alerts().show({tr("Timer Failed"), booked.error().reason, {tr("OK")}});
    };
    if (id == StopId)
        bookings.stop(tell);
    else
        bookings.startBookable(id, tell);
}

} // namespace

class GnomeSearchAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.gnome.Shell.SearchProvider2")
public:
    GnomeSearchAdaptor(QObject* object, Bookings& bookings) : QDBusAbstractAdaptor(object), m_bookings(bookings)
    {
        qDBusRegisterMetaType<QList<QVariantMap>>();
    }

public slots:
    QStringList GetInitialResultSet(const QStringList& terms) const
    {
        QStringList ids;
        for (const Result& result : results(m_bookings, terms))
            ids << result.id;
        return ids;
    }
    QStringList GetSubsearchResultSet(const QStringList& /*previousResults*/, const QStringList& terms) const
    {
        return GetInitialResultSet(terms);
    }
    QList<QVariantMap> GetResultMetas(const QStringList& identifiers) const
    {
        QList<QVariantMap> metas;
        for (const QString& id : identifiers) {
            if (const auto result = resultOf(m_bookings, id))
                metas << QVariantMap{
                    {u"id"_s, id}, {u"name"_s, result->title}, {u"description"_s, result->about}, {u"gicon"_s, Icon}};
        }
        return metas;
    }
    void ActivateResult(const QString& identifier, const QStringList& /*terms*/, uint /*timestamp*/)
    {
        carryOut(m_bookings, identifier);
    }
    /// There is no list of more results than the shell shows.
    void LaunchSearch(const QStringList& /*terms*/, uint /*timestamp*/) {}

private:
    Bookings& m_bookings;
};

class PlasmaSearchAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "org.kde.krunner1")
public:
    PlasmaSearchAdaptor(QObject* object, Bookings& bookings) : QDBusAbstractAdaptor(object), m_bookings(bookings)
    {
        qDBusRegisterMetaType<SearchMatch>();
        qDBusRegisterMetaType<QList<SearchMatch>>();
        qDBusRegisterMetaType<SearchAction>();
        qDBusRegisterMetaType<QList<SearchAction>>();
    }

public slots:
    QList<app::SearchAction> Actions() const { return {}; }
    // NOLINTNEXTLINE(readability-identifier-naming): the interface's name
    QList<app::SearchMatch> Match(const QString& query) const
    {
        QList<app::SearchMatch> matches;
        double relevance = 1;
        for (const Result& result : results(m_bookings, query.split(u' ', Qt::SkipEmptyParts))) {
            matches << app::SearchMatch{result.id, result.title,
                                        Icon,      result.id == StopId ? ExactMatch : PossibleMatch,
                                        relevance, {{u"subtext"_s, result.about}}};
            relevance *= 0.95;
        }
        return matches;
    }
    void Run(const QString& matchId, const QString& /*actionId*/) { carryOut(m_bookings, matchId); }
    /// The search has been closed; nothing is kept for it. Plasma 6 says so.
    // NOLINTNEXTLINE(readability-identifier-naming)
    void Teardown() {}

private:
    Bookings& m_bookings;
};

SearchBus::SearchBus(QObject* object, Bookings& bookings)
    : m_gnome(object ? std::make_unique<GnomeSearchAdaptor>(object, bookings) : nullptr),
      m_plasma(object ? std::make_unique<PlasmaSearchAdaptor>(object, bookings) : nullptr)
{
}

SearchBus::~SearchBus() = default;

} // namespace app

#include "SearchBus.moc"
