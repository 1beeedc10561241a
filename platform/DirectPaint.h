#pragma once

#include <QPoint>

#include <functional>
#include <memory>

class QImage;
class QWidget;
class QWindow;

namespace platform {

/// Puts pixels into a window on the screen, past the toolkit: at once, without a repaint, and without an answer that
/// would wake the program. What the toolkit paints there later covers them. Main thread only.
class DirectPaint
{
public:
    virtual ~DirectPaint() = default;

    /// Whether it is still for this very window on the screen; else make another.
    virtual bool isFor(const QWindow& window) const = 0;

    /// `corner` and `image` (premultiplied, 32 bits) in device pixels of the window.
    virtual void put(QPoint corner, const QImage& image) = 0;

    /// Whether nothing of the window can be seen: other windows cover it, or a screen saver runs.
    virtual bool isCovered() const = 0;
};

/// Null where the desktop has no such way. One round trip. `window` is on the screen; `uncovered` is called when it can
/// be seen again.
std::unique_ptr<DirectPaint> makeDirectPaint(QWindow& window, std::function<void()> uncovered);

/// Draws a window that was shown and waits for the desktop to make room for it: once there is room, it only has to be
/// put there. Does nothing elsewhere than on an X server. Main thread only.
void paintAhead(QWidget& window);

} // namespace platform
