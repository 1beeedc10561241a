#pragma once

class QObject;

namespace skin {

/// What the status view needs from the program's controller.
class StatusItemOwner
{
public:
    virtual ~StatusItemOwner() = default;

    /// Opens the status menu, or closes it when it is open, and sets the view's highlight to match.
    virtual void toggleStatusItemMenu() = 0;

    /// Starts or stops the current timer.
    virtual void toggleCurrentTimer(QObject* sender) = 0;
};

} // namespace skin
