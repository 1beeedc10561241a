#pragma once

#include <QObject>

#include <memory>
#include <optional>

namespace booking {
class Bookings;
}

namespace app {

class BookingAdaptor;

/// Booking over the session bus: the interface `com.wrenfold.Quillon1.Bookings` of docs/bus.md.
///
/// It is there from the moment the program has its name, so that a call may start the program: calls wait for `open`.
/// Main thread only.
class BookingBus
{
public:
    /// `object` stands on the bus; null: there is none.
    explicit BookingBus(QObject* object);
    ~BookingBus();

    /// Carries out what waits, and from now on every call at once. `bookings` outlives this.
    void open(booking::Bookings& bookings);

    /// Somebody has called: the program was perhaps started for that alone.
    bool wasCalled() const;

private:
    std::unique_ptr<BookingAdaptor> m_adaptor;
};

} // namespace app
