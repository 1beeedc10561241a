#pragma once

#include <QRect>

#include <functional>
#include <memory>

class QImage;
class QWidget;
class QWindow;

namespace platform {

/// Puts pixels into a window on the screen, past the toolkit: at once, without a repaint, and without an answer that
/// would wake the program. Main thread only. Places are in device pixels of the window.
class DirectPaint
{
public:
    virtual ~DirectPaint() = default;

    /// Whether it is still for this very window on the screen; else make another.
    virtual bool isFor(const QWindow& window) const = 0;

    /// What was put goes as the toolkit shows what it paints next; `place` is where there may be pictures from then on.
    /// To be called before the toolkit shows anything else there.
    virtual void giveWay(QRect place) = 0;

    /// Whether pictures can be put there. Else the toolkit has to paint first, and this to give way to it.
    virtual bool reaches(QRect place) const = 0;

    /// `image` is premultiplied and has 32 bits; what was put once is known by its `cacheKey`. False: it cannot be put
    /// there, and the toolkit has to paint.
    virtual bool put(QPoint corner, const QImage& image) = 0;

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
