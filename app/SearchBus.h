#pragma once

#include <QObject>

#include <memory>

namespace booking {
class Bookings;
}

namespace app {

class GnomeSearchAdaptor;
class PlasmaSearchAdaptor;

/// Starting and stopping timers from the desktop's search: as a search provider of GNOME Shell
/// (`org.gnome.Shell.SearchProvider2`) and as a runner of KRunner (`org.kde.krunner1`). What cannot be started is told
/// by an alert: the search has closed by then.
///
/// Answers from the store, at once. Main thread only.
class SearchBus
{
public:
    /// `object` stands on the bus; null: there is none. `bookings` outlives this.
    SearchBus(QObject* object, booking::Bookings& bookings);
    ~SearchBus();

private:
    std::unique_ptr<GnomeSearchAdaptor> m_gnome;
    std::unique_ptr<PlasmaSearchAdaptor> m_plasma;
};

} // namespace app
