#pragma once

#include <QUrl>

namespace platform
{

/// Small services of the desktop that need no state. Main thread only.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// Opens a page in the person's browser. False when the desktop would not.
    virtual bool openUrl(const QUrl& url) = 0;

    /// Shown in the task bar and the application switcher, or not. Decided once, at start.
    virtual void setShownInTaskBar(bool shown) = 0;

    /// Brings the program to the front of all others, as far as the desktop allows.
    virtual void activate() = 0;
};

} // namespace platform
