#pragma once

#include <QList>
#include <QPointer>
#include <QPushButton>
#include <QVariantAnimation>
#include <QWidget>

class QAction;
class QShortcut;

namespace skin {

/// A dialog inside its window: it slides down from the top edge over a shade, and the rest of the window can be neither
/// used nor reached until it is closed.
///
/// Its content goes into `body()`, which is as tall as its layout requires and never wider than the window. Sheets
/// stack: one opened over another blocks it. Escape calls `cancel`, Return presses the focused button or else the
/// default button, Tab stays inside. The window is at least as tall as the sheet while it is open, and the focus
/// returns to where it was. Its name for assistive technology is its accessible name, its role a modal dialog.
///
/// Owned by its window. Hidden until `open`; may be opened again. Closed before it is deleted, unless its window goes
/// too.
class Sheet : public QWidget
{
    Q_OBJECT
    Q_DISABLE_COPY_MOVE(Sheet)
public:
    explicit Sheet(QWidget& window);

    /// Set a layout on it and add the controls.
    QWidget& body() const { return *m_body; }

    /// The sheet hangs below this part of the window, such as a tool bar. Null, the default: from the window's top
    /// edge.
    void setTopEdge(QWidget* part) { m_topEdge = part; }
    /// Children of the window that stay usable while the sheet is open, such as the strip that moves it.
    void setUsable(const QList<QWidget*>& parts) { m_usable = parts; }
    void setDefaultButton(QAbstractButton* button) { m_defaultButton = button; }

    /// `focus` has the focus first; null: the first control.
    void open(QWidget* focus = nullptr);
    /// No effect when it is not open.
    void close();
    bool isOpen() const { return m_open; }

    /// The topmost sheet in that window, null when none is open.
    static Sheet* openIn(const QWidget& window);

signals:
    /// It has been closed, for whatever reason; the window is usable again.
    void closed();

protected:
    /// Escape was pressed. Closes the sheet.
    virtual void cancel() { close(); }

    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void keyPressEvent(QKeyEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void block();
    void unblock();
    void slide(bool out);
    void place();
    void moveBody();
    QSize bodySize(int width) const;
    int topEdge() const;
    QWidget* nextFocus(QWidget* from, bool forward) const;
    Sheet* above() const;

    QWidget& m_window;
    QWidget* m_body;
    QPointer<QWidget> m_topEdge;
    QList<QWidget*> m_usable;
    QPointer<QAbstractButton> m_defaultButton;
    QVariantAnimation m_slide; ///< how far the body is out, from 0 to 1
    bool m_open = false;

    // The window's state before.
    QList<QPointer<QWidget>> m_blocked;
    QList<QPointer<QAction>> m_blockedActions;
    QList<QPointer<QShortcut>> m_blockedShortcuts;
    QPointer<QWidget> m_focusBefore;
    QPointer<QPushButton> m_defaultBefore;
    int m_minimumHeightBefore = 0;
    int m_heightBefore = 0;
    int m_heightGiven = 0;
};

} // namespace skin
