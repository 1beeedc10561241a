#pragma once

#include "../Alerts.h"
#include "../TimeSource.h"

#include <QList>
#include <QObject>

#include <array>
#include <deque>
#include <memory>

class QAbstractButton;
class QMessageBox;

namespace platform {

/// Alerts as message boxes: application-modal, but for those that nobody asked for. A quit takes them down unanswered.
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
    /// Alerts of which one is open at a time, the first.
    struct Line
    {
        std::deque<Waiting> waiting;
        std::unique_ptr<QMessageBox> box;
        QList<QAbstractButton*> buttons;
    };

    Line& lineOf(const Alert& alert) { return alert.unasked ? m_unasked : m_asked; }
    void openNext();
    void open(Line& line);
    void putTexts(Line& line);
    void putText(QMessageBox& box, const QString& text);
    void finished(Line& line);
    void answered(Line& line, int button);
    /// Of the alert that is open.
    static qsizetype escapeButton(const Line& line);
    /// Whether the event comes too early to be meant for the alert that nobody asked for.
    bool isTooEarly(const QEvent& event);
    void dropAll();

    const TimeSource& m_time;
    quint64 m_shown = 0;
    Line m_asked;
    Line m_unasked; ///< comes up while none of the others is open
    const std::array<Line*, 2> m_lines{&m_asked, &m_unasked};
    TimeSource::Duration m_clicksFrom{}; ///< uptime from which on presses count, in the one that nobody asked for
    TimeSource::Duration m_keysFrom{};
    bool m_noticed = false; ///< the person is at it
};

} // namespace platform
