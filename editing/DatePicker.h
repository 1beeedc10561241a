#pragma once

#include <QDateEdit>
#include <QPointer>

namespace skin {
class ImageButton;
}

namespace editing {

/// A calendar day as the person's locale writes it. Its parts are typed or stepped with Up and Down, Left and Right
/// move between parts; or the day is picked from a calendar, which the button or Alt+Down opens.
class DatePicker final : public QDateEdit
{
    Q_OBJECT
public:
    explicit DatePicker(QWidget* parent = nullptr);

    /// What is shown, including a part being typed.
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
