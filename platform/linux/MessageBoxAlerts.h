#pragma once

#include "../Alerts.h"
#include "../TimeSource.h"

#include <QList>
#include <QMessageBox>
#include <QObject>

#include <list>
#include <memory>

namespace platform {

/// Alerts as message boxes: application-modal and one at a time, except unrequested ones. A quit closes them
/// unanswered.
class MessageBoxAlerts final : public QObject, public AlertPresenter
{
public:
    explicit MessageBoxAlerts(const TimeSource& time);
    ~MessageBoxAlerts() override;

    static bool available();

    AlertId show(const Alert& alert, std::function<void(int)> done) override;
    void update(AlertId id, const Alert& alert) override;
    void dismiss(AlertId id) override;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    /// An alert that is open or queued.
    struct Shown
    {
        AlertId id;
        Alert alert;
        std::function<void(int)> done;
        std::unique_ptr<QMessageBox> box = {}; ///< null: queued
        QList<QAbstractButton*> buttons = {};
        // Uptime from which presses count, for an unrequested alert.
        TimeSource::Duration clicksFrom{};
        TimeSource::Duration keysFrom{};
        bool noticed = false; ///< the person has turned to it
    };

    void openNext();
    void open(Shown& shown);
    static void putTexts(const Shown& shown);
    void end(const Shown& shown, int button);
    static int escapeButton(const Shown& shown);
    /// Whether the event comes too early to be meant for an unrequested alert.
    bool isTooEarly(Shown& shown, const QEvent& event) const;
    void dropAll();

    const TimeSource& m_time;
    quint64 m_count = 0;
    std::list<Shown> m_alerts; ///< in the order in which they were shown
};

} // namespace platform
