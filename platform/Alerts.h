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
};

/// Shows alerts one after another, application-modal, without a nested event loop. Main thread only.
class AlertPresenter
{
public:
    virtual ~AlertPresenter() = default;

    /// Queues the alert. `done` gets the index of the pressed button, once; it is not called when the program quits
    /// before.
    virtual void show(const Alert& alert, std::function<void(int button)> done = {}) = 0;
};

} // namespace platform
