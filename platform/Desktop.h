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

    /// Opens a page in the person's browser. False when the desktop would not.
    bool openUrl(const QUrl& url) { return open(m_translation ? m_translation(url) : url); }

    /// From now on what is opened is what `translation` makes of the address; empty: the address itself.
    void setTranslation(std::function<QUrl(const QUrl& url)> translation) { m_translation = std::move(translation); }

    /// Shown in the task bar and the application switcher, or not. Decided once, at start.
    virtual void setShownInTaskBar(bool shown) = 0;

    /// Brings the program to the front of all others, as far as the desktop allows: `window`, which is shown, last and
    /// with the keyboard, its other windows as they lie. A question that blocks `window` has the keyboard instead.
    virtual void activate(QWidget& window) = 0;

private:
    virtual bool open(const QUrl& url) = 0;

    std::function<QUrl(const QUrl&)> m_translation;
};

} // namespace platform
