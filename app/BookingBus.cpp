#include "app/BookingBus.h"

#include "app/BusInterface.h"
#include "booking/Bookings.h"
#include "service/QuillonApi.h"

#include <QDBusAbstractAdaptor>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusMetaType>

#include <functional>
#include <vector>

namespace app {

using namespace Qt::StringLiterals;

using booking::Booked;
using booking::Bookings;
using booking::Expected;
using booking::Offered;

using Maps = QList<QVariantMap>;

namespace {

/// What a caller sends is read into memory, compared and sent on: longer than any real name, note or time.
constexpr qsizetype LongestText = 10'000;

QVariantMap map(const Booked& entry)
{
    return {{u"id"_s, entry.id},           {u"day"_s, entry.day.toString(Qt::ISODate)},
            {u"client"_s, entry.client},   {u"code"_s, entry.code},
            {u"project"_s, entry.project}, {u"task"_s, entry.task},
            {u"notes"_s, entry.notes},     {u"hours"_s, entry.hours},
            {u"time"_s, entry.time},       {u"running"_s, entry.running},
            {u"started"_s, entry.started}, {u"ended"_s, entry.ended}};
}

QVariantMap map(const Offered& project)
{
    return {{u"client"_s, project.client},
            {u"code"_s, project.code},
            {u"project"_s, project.project},
            {u"tasks"_s, project.tasks}};
}

template <class T>
QVariant reply(const T& one)
{
    return map(one);
}

template <class T>
QVariant reply(const std::vector<T>& several)
{
    Maps maps;
    for (const T& each : several)
        maps << map(each);
    return QVariant::fromValue(maps);
}

} // namespace

class BookingAdaptor final : public QDBusAbstractAdaptor
{
    Q_OBJECT
    Q_CLASSINFO("D-Bus Interface", "com.wrenfold.Quillon1.Bookings")
public:
    explicit BookingAdaptor(QObject* object) : QDBusAbstractAdaptor(object) { qDBusRegisterMetaType<Maps>(); }

    void open(Bookings& bookings)
    {
        m_bookings = &bookings;
        for (const auto& call : std::exchange(m_waiting, {}))
            call(bookings);
    }
    bool wasCalled() const { return m_wasCalled; }

public slots:
    QVariantMap Start(const QString& project, const QString& task, const QString& notes, const QVariantMap& options,
                      const QDBusMessage& call)
    {
        const auto option = [&](const QString& name) { return options.value(name).toString(); };
        carryOut<Booked>(call, [start = Bookings::Start{project, task, notes, option(u"at"_s), option(u"ago"_s)}](
                                   Bookings& bookings, const auto& reply) { bookings.start(start, reply); });
        return {};
    }
    QVariantMap Stop(const QDBusMessage& call)
    {
        carryOut<Booked>(call, [](Bookings& bookings, const auto& reply) { bookings.stop(reply); });
        return {};
    }
    QVariantMap Continue(uint which, const QDBusMessage& call)
    {
        const int number = static_cast<int>(std::min(which, uint{std::numeric_limits<int>::max()}));
        carryOut<Booked>(call, [number](Bookings& bookings, const auto& reply) { bookings.resume(number, reply); });
        return {};
    }
    QVariantMap Add(const QString& hours, const QString& project, const QString& task, const QString& notes,
                    const QString& day, const QDBusMessage& call)
    {
        carryOut<Booked>(call, [add = Bookings::Add{hours, project, task, notes, day}](
                                   Bookings& bookings, const auto& reply) { bookings.add(add, reply); });
        return {};
    }
    QVariantMap SetNotes(const QString& notes, const QDBusMessage& call)
    {
        carryOut<Booked>(call, [notes](Bookings& bookings, const auto& reply) { bookings.setNotes(notes, reply); });
        return {};
    }
    QList<QVariantMap> Log(const QString& days, const QDBusMessage& call)
    {
        carryOut<std::vector<Booked>>(call,
                                      [days](Bookings& bookings, const auto& reply) { bookings.log(days, reply); });
        return {};
    }
    QList<QVariantMap> Projects(const QDBusMessage& call)
    {
        carryOut<std::vector<Offered>>(call, [](Bookings& bookings, const auto& reply) { bookings.projects(reply); });
        return {};
    }
    QList<QVariantMap> Recent(const QDBusMessage& call)
    {
        carryOut<std::vector<Booked>>(call, [](Bookings& bookings, const auto& reply) { bookings.recent(reply); });
        return {};
    }
    // What can be named on the command line, as the store has it: for completion, which cannot wait.
    QStringList Names(const QString& project)
    {
        QStringList names;
        for (const Offered& each : m_bookings ? m_bookings->projectsNow() : std::vector<Offered>()) {
            if (project.isEmpty())
                names << each.project;
            else if (each.project.compare(project, Qt::CaseInsensitive) == 0 ||
                     each.code.compare(project, Qt::CaseInsensitive) == 0)
                names << each.tasks;
        }
        names.removeDuplicates();
        return names;
    }
    /// Milliseconds.
    uint Wait()
    {
        return m_bookings ? static_cast<uint>(service::QuillonApi::sharedApi().throttleWaitInProgress().count()) : 0;
    }

private:
    template <class T>
    void carryOut(const QDBusMessage& call, std::function<void(Bookings&, const Bookings::Reply<T>&)> work)
    {
        m_wasCalled = true;
        call.setDelayedReply(true);
        const auto send = [call](const Expected<T>& result) {
            QDBusConnection::sessionBus().send(
                result ? call.createReply(reply(*result))
                       : call.createErrorReply(QuillonInterface + ".Error."_L1 + result.error().error,
                                               result.error().reason));
        };
        for (const QVariant& argument : call.arguments()) {
            if (argument.toString().size() > LongestText) {
                send(tl::unexpected(booking::Refusal{"Invalid"_L1, Bookings::tr("that is too long")}));
                return;
            }
        }
        if (m_bookings)
            work(*m_bookings, send);
        else
            m_waiting.push_back([work = std::move(work), send](Bookings& bookings) { work(bookings, send); });
    }

    Bookings* m_bookings = nullptr;
    std::vector<std::function<void(Bookings&)>> m_waiting;
    bool m_wasCalled = false;
};

BookingBus::BookingBus(QObject* object) : m_adaptor(object ? std::make_unique<BookingAdaptor>(object) : nullptr) {}

BookingBus::~BookingBus() = default;

void BookingBus::open(Bookings& bookings)
{
    if (m_adaptor)
        m_adaptor->open(bookings);
}

bool BookingBus::wasCalled() const
{
    return m_adaptor && m_adaptor->wasCalled();
}

} // namespace app

#include "BookingBus.moc"
