#pragma once

#include <QUrl>

#include <functional>

class QWidget;

namespace platform {

/// Small services of the desktop that need no state. Main thread only.
class Desktop
{
public:
    virtual ~Desktop() = default;

    /// Opens a page in the person's browser. False when the desktop refused.
    bool openUrl(const QUrl& url) { return open(m_translation ? m_translation(url) : url); }

    /// From now on addresses are passed through `translation` before they are opened; empty: opened as they are.
    void setTranslation(std::function<QUrl(const QUrl& url)> translation) { m_translation = std::move(translation); }

    /// Shown in the task bar and the application switcher, or not. Decided once, at start.
    virtual void setShownInTaskBar(bool shown) = 0;
    /// Whether the program can stay out of them.
    virtual bool canLeaveTaskBar() const = 0;

    /// Shows `window`, or brings it to the front where it is shown already, with the keyboard as far as the desktop
    /// allows. What was typed in it stays.
    virtual void bringForward(QWidget& window) = 0;

    /// The same for the whole program: `window` on top, its other windows above those of other programs, in their
    /// order. A question that blocks `window` gets the keyboard instead.
    virtual void activate(QWidget& window) = 0;

private:
    virtual bool open(const QUrl& url) = 0;

    std::function<QUrl(const QUrl&)> m_translation;
};

} // namespace platform
