#pragma once

#include <QString>
#include <QStringList>

#include <functional>

namespace platform {

/// What an alert says and offers. The first button is the default.
struct Alert
{
    QString title;
    QString text;
    QStringList buttons;
    /// Pressed by Escape and by closing the alert. Negative: the last one.
    int escapeButton = -1;
    /// Comes up while the person may be doing something else: it stays in sight without taking the keyboard or blocking
    /// any window, and ignores whatever is pressed as it appears or only wakes the screen.
    bool unasked = false;
    bool operator==(const Alert&) const = default;
};

/// Names an alert that was shown, also after it is gone.
enum class AlertId : quint64
{
};

/// Shows alerts one after another, application-modal, without a nested event loop. Unrequested ones wait for the others
/// but not for each other: each has its own window or notification. Main thread only.
class AlertPresenter
{
public:
    /// Instead of a button, for an unrequested alert that the desktop shows: the person has put it away unanswered.
    static constexpr int Dismissed = -1;
    /// Likewise: the person has pressed the alert itself, to see what it is about.
    static constexpr int Opened = -2;

    virtual ~AlertPresenter() = default;

    /// Queues the alert. `done` gets the index of the pressed button, once; it is not called when the program quits
    /// before.
    virtual AlertId show(const Alert& alert, std::function<void(int button)> done = {}) = 0;

    /// Replaces the texts of an alert that is open or queued; the number of its buttons stays. No effect on one that is
    /// gone.
    virtual void update(AlertId id, const Alert& alert) = 0;

    /// Takes an alert down, or out of the queue; its `done` is not called. No effect on one that is gone.
    virtual void dismiss(AlertId id) = 0;
};

} // namespace platform
