#include "editing/DatePicker.h"

#include "editing/TextFields.h"
#include "model/DateComparisons.h"
#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/ImageButton.h"

#include <QCalendarWidget>
#include <QKeyEvent>
#include <QLineEdit>
#include <QLocale>
#include <QMenu>
#include <QPainter>
#include <QScreen>
#include <QStyle>
#include <QTextCharFormat>
#include <QToolButton>
#include <QVBoxLayout>

#include <algorithm>

using namespace Qt::StringLiterals;
using skin::color;
using skin::Role;

namespace editing {

namespace {

constexpr int FontPoints = 13;
constexpr QSize CalendarSize(238, 206);

/// As the locale writes a day, with long names shortened: "Tue, Mar 5, 2024".
QString dayFormat(const QLocale& locale)
{
    QString format = locale.dateFormat(QLocale::LongFormat);
    return format.replace("dddd"_L1, "ddd"_L1).replace("MMMM"_L1, "MMM"_L1);
}

} // namespace

/// The calendar that opens below the field.
class DatePicker::Calendar final : public QCalendarWidget
{
public:
    Calendar()
    {
        skin::dressed(*this, [this] { wearColors(); });
        setFont(skin::interfaceFont(12));
        setMinimumSize(CalendarSize);
        setGridVisible(false);
        setVerticalHeaderFormat(NoVerticalHeader);
        setDateEditEnabled(false); // typing belongs in the field
        for (const auto& [name, spoken] : {std::pair{"qt_calendar_prevmonth", tr("Previous Month")},
                                           std::pair{"qt_calendar_nextmonth", tr("Next Month")}}) {
            if (auto* button = findChild<QToolButton*>(QLatin1StringView(name))) {
                button->setIconSize({20, 20});
                button->setAccessibleName(spoken);
                button->setToolTip(spoken);
            }
        }
        if (auto* months = findChild<QMenu*>())
            months->setFont(font());
    }

protected:
    void paintCell(QPainter* painter, const QRect& rect, QDate date) const override
    {
        const bool selected = date == selectedDate();
        const bool today = date == model::localDay(model::now());
        painter->save();
        painter->setRenderHint(QPainter::Antialiasing);
        const qreal side = std::min(rect.width(), rect.height()) - 2;
        QRectF disc(0, 0, side, side);
        disc.moveCenter(QRectF(rect).center());
        if (selected) {
            painter->setPen(Qt::NoPen);
            painter->setBrush(color(Role::ListHighlight));
            painter->drawEllipse(disc);
        } else if (today) {
            painter->setPen(QPen(color(Role::Today), 1.2));
            painter->drawEllipse(disc.adjusted(1, 1, -1, -1));
        }
        painter->setFont(skin::interfaceFont(12, selected || today ? QFont::Bold : QFont::Normal));
        const bool thisMonth = date.month() == monthShown() && date.year() == yearShown();
        painter->setPen(color(selected                           ? Role::ListHighlightText
                              : !thisMonth                       ? Role::OtherMonthText
                              : date.dayOfWeek() >= Qt::Saturday ? Role::WeekendText
                                                                 : Role::FieldText));
        painter->drawText(rect, Qt::AlignCenter, locale().toString(date.day()));
        painter->restore();
    }

private:
    void wearColors()
    {
        const QColor paper = color(Role::List);
        QPalette palette(paper, paper);
        palette.setColor(QPalette::Base, paper);
        palette.setColor(QPalette::AlternateBase, paper);
        for (const auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
            palette.setColor(role, color(Role::FieldText));
        palette.setColor(QPalette::Highlight, color(Role::ListHighlight));
        palette.setColor(QPalette::HighlightedText, color(Role::ListHighlightText));
        setPalette(palette);
        QTextCharFormat header;
        header.setForeground(color(Role::WeekdayText));
        header.setBackground(paper);
        header.setFont(skin::interfaceFont(11));
        setHeaderTextFormat(header);
        for (int day = Qt::Monday; day <= Qt::Sunday; ++day)
            setWeekdayTextFormat(static_cast<Qt::DayOfWeek>(day), header); // otherwise weekends are red
        for (const auto& [name, picture] :
             {std::pair{"qt_calendar_prevmonth", isRightToLeft() ? "tw-forward.png" : "tw-back.png"},
              std::pair{"qt_calendar_nextmonth", isRightToLeft() ? "tw-back.png" : "tw-forward.png"}}) {
            if (auto* button = findChild<QToolButton*>(QLatin1StringView(name)))
                button->setIcon(skin::imageNamed(picture).pixmap(devicePixelRatioF()));
        }
        setStyleSheet(QString::fromLatin1(skin::withColors(
            "QToolButton { color: $FieldText; background: transparent; border: none; border-radius: 4px;"
            " padding: 3px 6px; margin: 2px; font-weight: bold; }"
            "QToolButton:hover, QToolButton:focus { background: $CalendarHover; }"
            "QToolButton:pressed { background: $CalendarPressed; }"
            "QToolButton::menu-indicator { image: none; }"
            "QSpinBox { color: $FieldText; background: $Field; border: 1px solid $FieldEdgeTop; border-radius: 3px;"
            " selection-background-color: $FieldHighlight; selection-color: $FieldHighlightText; }"
            "QSpinBox::up-button, QSpinBox::down-button { width: 0; border: none; }"
            "QMenu { color: $ListText; background: $List; border: 1px solid $ListEdge; padding: 3px 0; }"
            "QMenu::item { padding: 3px 24px 3px 14px; }"
            "QMenu::item:selected { color: $ListHighlightText; background: $ListHighlight; }"
            "QAbstractItemView { background: $List; border: none; outline: none;"
            " selection-background-color: transparent; }")));
        if (auto* bar = findChild<QWidget*>(u"qt_calendar_navigationbar"_s)) {
            bar->setBackgroundRole(QPalette::Window); // not the highlight
            bar->setPalette(palette);
        }
    }
};

namespace {

/// Around the calendar: a sheet of paper with an edge.
class Popup final : public QWidget
{
public:
    explicit Popup(QWidget& field) : QWidget(&field, Qt::Popup | Qt::FramelessWindowHint)
    {
        setAttribute(Qt::WA_DeleteOnClose);
        setAttribute(Qt::WA_NoMouseReplay); // a press beside it only closes it
        setAccessibleName(DatePicker::tr("Calendar"));
    }

protected:
    void paintEvent(QPaintEvent* /*event*/) override
    {
        QPainter painter(this);
        painter.fillRect(rect(), color(Role::ListEdge));
        painter.fillRect(rect().adjusted(1, 1, -1, -1), color(Role::List));
    }
};

} // namespace

DatePicker::DatePicker(QWidget* parent)
    : QDateEdit(parent),
      m_button(new skin::ImageButton(skin::imageNamed("tw-today.png"), skin::imageNamed("tw-today-active.png"), this))
{
    setButtonSymbols(NoButtons);
    setFrame(false);
    dress(*lineEdit(), Look::Light);
    skin::dressed(*this, [this] { setPalette(fieldPalette(Look::Light)); });
    setFont(skin::interfaceFont(FontPoints));
    const int forButton = m_button->sizeHint().width();
    lineEdit()->setTextMargins(isRightToLeft() ? forButton : 0, 0, isRightToLeft() ? 0 : forButton, 0);
    setDisplayFormat(dayFormat(locale()));
    setAccessibleName(tr("Date"));

    m_button->setFocusPolicy(Qt::NoFocus);
    m_button->setCursor(Qt::ArrowCursor);
    m_button->setAccessibleName(tr("Show Calendar"));
    m_button->setToolTip(tr("Show the calendar (Alt+Down)"));
    connect(m_button, &QAbstractButton::clicked, this, &DatePicker::showCalendar);
}

QDate DatePicker::currentDate()
{
    interpretText();
    return date();
}

void DatePicker::showCalendar()
{
    if (m_popup || !isEnabled())
        return;
    auto* popup = new Popup(*this);
    auto* calendar = new Calendar;
    auto* layout = new QVBoxLayout(popup);
    layout->setContentsMargins(5, 5, 5, 5);
    layout->addWidget(calendar);
    calendar->setLocale(locale());
    calendar->setFirstDayOfWeek(locale().firstDayOfWeek());
    calendar->setDateRange(minimumDate(), maximumDate());
    calendar->setSelectedDate(currentDate());
    connect(calendar, &QCalendarWidget::clicked, this, &DatePicker::choose);
    connect(calendar, &QCalendarWidget::activated, this, &DatePicker::choose);
    m_popup = popup;

    // Below the field's frame and aligned with its right side; above it where there is no room.
    const QWidget& frame = parentWidget() ? *parentWidget() : *this;
    const QSize size = popup->sizeHint();
    const QRect available = screen()->availableGeometry();
    const QPoint below = frame.mapToGlobal(QPoint(0, frame.height() + 3));
    QPoint corner = below;
    if (below.y() + size.height() > available.bottom())
        corner.setY(std::max(available.top(), frame.mapToGlobal(QPoint()).y() - 3 - size.height()));
    const int left = isRightToLeft() ? below.x() : below.x() + frame.width() - size.width();
    corner.setX(std::clamp(left, available.left(), std::max(available.left(), available.right() - size.width())));
    popup->setGeometry({corner, size});
    popup->show();
    calendar->setFocus();
}

void DatePicker::choose(QDate date)
{
    setDate(date);
    if (m_popup)
        m_popup->close();
    setFocus(Qt::OtherFocusReason);
    selectDay();
}

void DatePicker::changeEvent(QEvent* event)
{
    if (event->type() == QEvent::LocaleChange)
        setDisplayFormat(dayFormat(locale()));
    QDateEdit::changeEvent(event);
}

void DatePicker::focusInEvent(QFocusEvent* event)
{
    QDateEdit::focusInEvent(event);
    if (event->reason() == Qt::TabFocusReason || event->reason() == Qt::BacktabFocusReason)
        selectDay();
}

void DatePicker::selectDay()
{
    // What people correct most often. The weekday counts as a day as well.
    for (int i = 0; i < sectionCount(); ++i) {
        if (sectionAt(i) != DaySection)
            continue;
        selectPart(i);
        if (lineEdit()->selectedText().at(0).isDigit())
            return;
    }
}

void DatePicker::selectPart(int index)
{
    setCurrentSectionIndex(index);
    setSelectedSection(sectionAt(index));
}

bool DatePicker::focusNextPrevChild(bool next)
{
    // Out of the field, not to its next part, where the class between would go.
    return QWidget::focusNextPrevChild(next); // NOLINT(bugprone-parent-virtual-call)
}

void DatePicker::keyPressEvent(QKeyEvent* event)
{
    const bool alt = (event->modifiers() & ~Qt::KeypadModifier) == Qt::AltModifier;
    if (event->key() == Qt::Key_F4 || (event->key() == Qt::Key_Down && alt)) {
        showCalendar();
        return;
    }
    if ((event->key() == Qt::Key_Left || event->key() == Qt::Key_Right) && !event->modifiers()) {
        const int part = currentSectionIndex() + (event->key() == Qt::Key_Right ? 1 : -1);
        selectPart(std::clamp(part, 0, sectionCount() - 1));
        return;
    }
    QDateEdit::keyPressEvent(event);
}

void DatePicker::resizeEvent(QResizeEvent* event)
{
    QDateEdit::resizeEvent(event);
    const QSize size = m_button->sizeHint();
    m_button->setGeometry(QStyle::visualRect(layoutDirection(), rect(),
                                             {{width() - size.width(), (height() - size.height()) / 2}, size}));
}

void DatePicker::wheelEvent(QWheelEvent* event)
{
    // Scrolling the wheel elsewhere and passing over the field must not change the day.
    if (hasFocus())
        QDateEdit::wheelEvent(event);
    else
        event->ignore();
}

} // namespace editing
