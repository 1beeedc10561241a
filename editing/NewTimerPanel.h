#pragma once

#include "skin/HUDBorderlessWindow.h"

#include <QVariantAnimation>

class QLabel;
class QLineEdit;

namespace skin {
class QuillonHUDButtonCell;
class QuillonTextFieldBackground;
} // namespace skin

namespace editing {

class HUDCheckBox;
class NotesField;

/// The window in which a timer is started: its controls and where they stand. NewTimerController does the rest, and
/// puts the pickers in.
class NewTimerPanel final : public skin::HUDBorderlessWindow
{
    Q_OBJECT
public:
    NewTimerPanel();

    QWidget* contentView;
    NotesField* notesText;
    QWidget* durationContainer;
    QLineEdit* durationTextField;
    QLabel* durationHint;
    HUDCheckBox* showDurationCheckButton;
    skin::QuillonHUDButtonCell* saveButton;
    skin::QuillonHUDButtonCell* cancelButton;

    /// Whether what is typed as a duration is none, which is no reason to stop anybody.
    void setDurationInvalid(bool invalid);

    /// Makes the panel this much higher than it is without the duration box, downwards, in a moment.
    void growBy(int points);

signals:
    /// Escape, or the window manager's way of closing.
    void closeAsked();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;

private:
    void layOut();

    skin::QuillonTextFieldBackground* m_durationBackground;
    QWidget* m_durationClip; ///< uncovers the duration box from above while the panel grows
    QVariantAnimation m_growth;
};

} // namespace editing
