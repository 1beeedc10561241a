#pragma once

#include "../Alerts.h"

#include <QList>
#include <QObject>

#include <deque>
#include <memory>

class QAbstractButton;
class QMessageBox;

namespace platform {

/// Alerts as message boxes. A quit takes them down unanswered.
class MessageBoxAlerts final : public QObject, public AlertPresenter
{
public:
    MessageBoxAlerts();
    ~MessageBoxAlerts() override;

    static bool available();

    void show(const Alert& alert, std::function<void(int)> done) override;

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Waiting
    {
        Alert alert;
        std::function<void(int)> done;
    };

    void openNext();
    void finished();
    /// Of the alert that is open.
    qsizetype escapeButton() const;
    void takenDown();
    void dropAll();

    std::deque<Waiting> m_waiting;
    std::unique_ptr<QMessageBox> m_box;
    QList<QAbstractButton*> m_buttons;
};

} // namespace platform
