#pragma once

#include "skin/HUDBorderlessWindow.h"

#include <QVariantAnimation>

class QLineEdit;

namespace skin {
class LinkButton;
class QuillonHUDButtonCell;
class QuillonTextFieldBackground;
} // namespace skin

namespace editing {

class HUDCheckBox;
class HintLabel;
class HoursInput;
class NotesField;

/// The window in which a timer is started: its controls and their layout. NewTimerController does the rest, and adds
/// the pickers.
class NewTimerPanel final : public skin::HUDBorderlessWindow
{
    Q_OBJECT
public:
    NewTimerPanel();

    QWidget* contentView;
    NotesField* notesText;
    QWidget* durationContainer;
    QLineEdit* durationTextField;
    HoursInput* durationInput; ///< of that field
    HintLabel* durationHint;
    HUDCheckBox* showDurationCheckButton;
    skin::QuillonHUDButtonCell* saveButton;
    skin::QuillonHUDButtonCell* cancelButton;
    skin::LinkButton* newProjectLink; ///< at the foot, shown by `offerNewProject`

    /// The check box shows this duration, which would be hidden otherwise. Empty: none.
    void setHiddenDuration(const QString& duration);

    /// Offers a page at the foot for what is missing. Empty: nothing is.
    void offerNewProject(const QString& title);

    /// Makes the panel this much higher than it is without the duration box, downwards, in a moment.
    void growBy(int points);

signals:
    /// Escape, or the window manager's way of closing.
    void closeAsked();
    /// An alert was over the window and has closed.
    void unblocked();

protected:
    bool event(QEvent* event) override;
    bool eventFilter(QObject* watched, QEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void closeEvent(QCloseEvent* event) override;

private:
    void updateDurationHint();
    void setHeight(int withDuration);

    skin::QuillonTextFieldBackground* m_durationBackground;
    QWidget* m_message; ///< the row of the link at the foot
    QVariantAnimation m_growth;
};

} // namespace editing
