#pragma once

#include <QDBusArgument>
#include <QDBusPendingCallWatcher>

#include <tuple>
#include <utility>

/// What our adapters on a bus share.
namespace platform {

/// A structure on the bus. `members()` returns pointers to its members, in the order of the protocol.
template <class T>
concept BusStructure = requires
{
    T::members();
};

template <BusStructure T>
QDBusArgument& operator<<(QDBusArgument& out, const T& structure)
{
    out.beginStructure();
    std::apply([&](auto... member) { (out << ... << (structure.*member)); }, T::members());
    out.endStructure();
    return out;
}

template <BusStructure T>
const QDBusArgument& operator>>(const QDBusArgument& in, T& structure)
{
    in.beginStructure();
    std::apply([&](auto... member) { (in >> ... >> (structure.*member)); }, T::members());
    in.endStructure();
    return in;
}

/// Calls `done` with the call when it has been answered, unless `context` is gone by then.
template <class Done>
void whenAnswered(const QDBusPendingCall& call, QObject* context, Done done)
{
    auto* watcher = new QDBusPendingCallWatcher(call, context);
    QObject::connect(watcher, &QDBusPendingCallWatcher::finished, context, [watcher, done = std::move(done)] {
        watcher->deleteLater();
        done(static_cast<const QDBusPendingCall&>(*watcher));
    });
}

} // namespace platform
