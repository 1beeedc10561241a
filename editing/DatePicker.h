#pragma once

#include <QDateEdit>
#include <QPointer>

namespace skin {
class ImageButton;
}

namespace editing {

/// A day of the calendar in the words of the person's locale. Its parts are typed or stepped with Up and Down, Left and
/// Right go from part to part, or the day is taken from a calendar, which the button or Alt+Down opens.
class DatePicker final : public QDateEdit
{
    Q_OBJECT
public:
    explicit DatePicker(QWidget* parent = nullptr);

    /// What is shown, a part that is being typed included.
    QDate currentDate();
    void showCalendar();

protected:
    void changeEvent(QEvent* event) override;
    bool focusNextPrevChild(bool next) override;
    void focusInEvent(QFocusEvent* event) override;
    void keyPressEvent(QKeyEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    class Calendar;

    void choose(QDate date);
    void selectDay();
    void selectPart(int index);

    skin::ImageButton* m_button;
    QPointer<QWidget> m_popup; ///< while the calendar is open
};

} // namespace editing
