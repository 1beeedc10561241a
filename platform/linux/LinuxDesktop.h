#pragma once

#include "../Desktop.h"
#include "../TimeSource.h"

#include <QObject>

#include <memory>

namespace platform {

/// The freedesktop way.
class LinuxDesktop final : public Desktop
{
public:
    static bool available();

    explicit LinuxDesktop(TimeSource& time) : LinuxDesktop(time, needsTokens()) {}
    /// `needsTokens`: a program comes forward only with a token from the one that the person was using (XDG
    /// Activation).
    LinuxDesktop(TimeSource& time, bool needsTokens) : m_time(time), m_needsTokens(needsTokens) {}

    bool open(const QUrl& url) override;

    /// A task bar lists windows here, not programs: not shown, each window of the program asks to be left out when it
    /// opens. The status item stays out either way. Without effect on Wayland, which has no such request.
    void setShownInTaskBar(bool shown) override;
    bool canLeaveTaskBar() const override;

    void bringForward(QWidget& window) override;
    void activate(QWidget& window) override;

private:
    static bool needsTokens();
    /// Gives it the keyboard. Where a window that is open does not come to the front that way it is opened anew: new
    /// windows do.
    void putInFront(QWidget& window, bool wasOpen);

    TimeSource& m_time;
    const bool m_needsTokens;
    std::unique_ptr<TimeSource::Timer> m_patience; ///< for the desktop to accept a token
    std::unique_ptr<QObject> m_leftOut;            ///< watches for windows that open
};

} // namespace platform
