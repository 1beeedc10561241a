#pragma once

#include "skin/BlinkTicker.h"
#include "skin/Fonts.h"
#include "skin/Image.h"

#include <QPixmap>
#include <QPointer>
#include <QWidget>

class QMenu;

namespace skin {

class StatusItemOwner;

/// The program's face in the desktop's bar: offline, signed out, or the hours of the current timer beside its start
/// and stop button, with a colon that blinks while it runs.
///
/// A press on the button toggles the timer, a press anywhere else opens the menu. Points are logical pixels, counted
/// from the top left corner. Setters repaint only when something changes.
class QuillonStatusItemView final : public QWidget
{
    Q_OBJECT
public:
    /// `menulet` is not owned and must outlive the view. Fractional widths are rounded up.
    QuillonStatusItemView(const QRectF& frame, StatusItemOwner& menulet);

    void setHours(const QString& hours, bool andRunning);
    QString hoursString() const { return m_hoursString; }
    bool isRunning() const { return m_isRunning; }

    void setOffline(bool offline);
    bool offline() const { return m_offline; }
    void setLoggedOut(bool loggedOut);
    bool loggedOut() const { return m_loggedOut; }
    /// Whether the highlight is drawn.
    void setClicked(bool clicked);
    bool clicked() const { return m_clicked; }
    void setBlinkWhenRunning(bool blink);
    bool blinkWhenRunning() const { return m_blinkWhenRunning; }

    /// The width in points that the hours need for this text.
    static double computeWidthForHours(const QString& hours);
    static const TextAttributes& hoursAttributes();
    static QSizeF stringSize(const QString& text) { return hoursAttributes().sizeOf(text); }

    /// Top left corner of the box of the hours text.
    QPointF drawPointForString() const;
    /// The patch that covers the colon when it blinks.
    QRectF makeRectForBlinker() const;
    /// Whether the point lies on the start and stop button, whichever face is shown.
    bool inButton(QPointF point) const;

    Image startStopButton() const { return imageNamed(m_isRunning ? "m-h-stop.png" : "m-h-start.png"); }
    static Image leftCapTextBackground() { return imageNamed("m-right-bg-left.png"); }
    static Image midTextBackground() { return imageNamed("m-right-bg-mid.png"); }
    static Image rightCapTextBackground() { return imageNamed("m-right-bg-right.png"); }

    /// What the hours are spent on: spoken with them, not drawn.
    void setAbout(const QString& about);
    /// What a screen reader says: "1 hour 5 minutes, running, Website, Design". Also the accessible name.
    QString spokenText() const;

    /// The view's menu, which assistive technology finds as its child. Not owned.
    void setStatusMenu(QMenu* menu);
    QMenu* statusMenu() const;

    /// The effect of a press on the button, and of one beside it.
    void pressButton();
    void pressFace();

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void leaveEvent(QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void contextMenuEvent(QContextMenuEvent* event) override;
    void focusInEvent(QFocusEvent* event) override;
    void focusOutEvent(QFocusEvent* /*event*/) override { showFocus(false); }
    void resizeEvent(QResizeEvent* /*event*/) override { redisplay(); }
    void changeEvent(QEvent* event) override;

private:
    enum class ButtonLook
    {
        Plain,
        Hovered,
        Pressed
    };

    void mouseDown(const QMouseEvent& event);
    void mouseUp(const QMouseEvent& event);
    void rightMouseDown();
    void rightMouseUp() { setClicked(false); }

    QRectF buttonRect() const;
    void drawFace(QPainter& painter) const;
    void drawOffline(QPainter& painter) const;
    void drawLoggedOut(QPainter& painter) const;
    void drawBackground(QPainter& painter) const;
    void drawHours(QPainter& painter) const;
    void drawPill(QPainter& painter, const Image& image, const QString& label) const;
    void drawFocus(QPainter& painter) const;
    void addAnimationIfNeeded();
    void setButtonLook(ButtonLook look);
    void showFocus(bool shown);
    void redisplay();
    void updateSpokenText();

    StatusItemOwner& m_menulet;
    QString m_hoursString;
    QString m_about;
    bool m_isRunning = false;
    bool m_blinkWhenRunning = true;
    bool m_offline = false;
    bool m_loggedOut = false;
    bool m_clicked = false;
    bool m_focusShown = false;
    ButtonLook m_buttonLook = ButtonLook::Plain;

    Pulse m_blink;
    /// Everything but the blinking patch, in device pixels; a step of the patch then costs a copy and a rectangle.
    QPixmap m_face;
    double m_faceScale = 0;
    QPointer<QMenu> m_statusMenu;
};

} // namespace skin
