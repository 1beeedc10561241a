#pragma once

#include "../TimeSource.h"
#include "MessageBoxAlerts.h"

#include <QObject>

#include <list>
#include <memory>
#include <optional>

class QDBusServiceWatcher;

namespace platform {

/// The alerts of a Wayland session, where a window that comes up takes the keyboard whatever it asks for: an
/// unrequested alert is a notification of the desktop with the buttons as its actions (Desktop Notifications
/// Specification 1.2). It stays until it is answered, makes no sound, and changes its texts once a minute at most. All
/// other alerts are message boxes, and so are those for which the desktop has no notifications with actions.
class NotificationAlerts final : public QObject, public AlertPresenter
{
    Q_OBJECT
public:
    explicit NotificationAlerts(TimeSource& time);
    /// Takes down what is shown.
    ~NotificationAlerts() override;

    /// Whether this is a Wayland session with a bus.
    static bool available();

    AlertId show(const Alert& alert, std::function<void(int)> done) override;
    void update(AlertId id, const Alert& alert) override;
    void dismiss(AlertId id) override;

private slots:
    void actionInvoked(uint number, const QString& action);
    void activationToken(uint number, const QString& token);
    void notificationClosed(uint number, uint reason);

private:
    /// An unrequested alert that has not been answered.
    struct Asked
    {
        AlertId id;
        Alert alert;
        std::function<void(int)> done;
        uint number = 0;                                ///< the desktop's for the notification; 0: none yet
        bool changed = false;                           ///< since the texts were sent
        int losses = 0;                                 ///< with whatever showed it
        std::unique_ptr<TimeSource::Timer> minute = {}; ///< until the texts may change again
        std::optional<AlertId> box = {};                ///< instead of a notification
    };

    Asked* find(AlertId id);
    Asked* find(uint number);
    void listen();
    void ask(Asked& asked);
    void notify(Asked& asked);
    void showBox(Asked& asked);
    void askAgain();
    void end(const Asked& asked, int button);

    TimeSource& m_time;
    MessageBoxAlerts m_boxes;
    quint64 m_count = 0;
    bool m_losesButtons = false;              ///< a notification that is replaced
    std::list<Asked> m_asked;                 ///< in the order in which they were shown
    QDBusServiceWatcher* m_watcher = nullptr; ///< once something was asked
};

} // namespace platform
