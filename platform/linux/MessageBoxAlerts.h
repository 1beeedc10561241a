#pragma once

#include "../Alerts.h"
#include "../TimeSource.h"
#include "X11.h"

#include <QList>
#include <QObject>

#include <deque>
#include <memory>
#include <optional>

class QAbstractButton;
class QMessageBox;

namespace platform {

/// Alerts as message boxes. A quit takes them down unanswered.
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
    struct Waiting
    {
        AlertId id;
        Alert alert;
        std::function<void(int)> done;
    };

    void openNext();
    void putTexts();
    void putText(const QString& text);
    void finished();
    void answered(int button);
    /// Of the alert that is open.
    qsizetype escapeButton() const;
    /// Whether the event comes too early to be meant for the alert that is open.
    bool isTooEarly(const QEvent& event);
    void takenDown();
    void dropAll();

    const TimeSource& m_time;
    quint64 m_shown = 0;
    std::deque<Waiting> m_waiting;
    std::unique_ptr<QMessageBox> m_box;
    QList<QAbstractButton*> m_buttons;
    std::optional<x11::TrueActivation> m_trueActivation;
    TimeSource::Duration m_listensAt{}; ///< uptime from which on presses count
    bool m_noticed = false;             ///< the person is at the alert
};

} // namespace platform
