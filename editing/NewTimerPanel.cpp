#include "editing/NewTimerPanel.h"

#include "editing/HUDCheckBox.h"
#include "editing/HintLabel.h"
#include "editing/HoursInput.h"
#include "editing/TextFields.h"
#include "model/HoursMinutes.h"
#include "skin/Fonts.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonTextFieldBackground.h"

#include <QAccessibleWidget>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QStyle>

#include <mutex>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

// In points from the upper left corner. The pickers stand 38 and 72 below the upper edge, 26 high each.
constexpr int panelWidth = 320;
constexpr int panelHeight = 221;
constexpr int margin = 14;
constexpr QRect notesFrame(margin, 106, panelWidth - 2 * margin, 42);
constexpr QPoint checkBoxAt(margin + 1, 157);
constexpr int durationTop = 175;
constexpr QRect durationFrame(margin + 23, 3, 74, 26);
constexpr int buttonWidth = 84;
constexpr int buttonBottom = 14;
/// The glow around the duration field reaches this far below it.
constexpr int glow = 4;

QAccessibleInterface* makeInterface(const QString&, QObject* object)
{
    auto* panel = qobject_cast<NewTimerPanel*>(object);
    return panel ? new QAccessibleWidget(panel, QAccessible::Dialog) : nullptr;
}

} // namespace

NewTimerPanel::NewTimerPanel()
    : contentView(new skin::HUDBorderlessView(this)), m_durationClip(new QWidget(contentView))
{
    static std::once_flag accessible;
    std::call_once(accessible, [] { QAccessible::installFactory(makeInterface); });
    setObjectName(u"NewTimer"_s);
    setWindowTitle(tr("New Timer"));
    contentView->setObjectName(u"contentView"_s);

    auto* title = new QLabel(windowTitle(), contentView);
    title->setFont(skin::interfaceFont(12, QFont::DemiBold));
    title->setAlignment(Qt::AlignCenter);
    title->setAttribute(Qt::WA_TransparentForMouseEvents);
    QPalette palette;
    palette.setColor(QPalette::WindowText, QColor(0xe4, 0xe6, 0xe8));
    title->setPalette(palette);
    title->setGeometry(0, 1, panelWidth, 27);

    auto* notesBackground = new skin::QuillonTextFieldBackground(contentView);
    notesBackground->setGeometry(notesFrame);
    notesText = new NotesField(Look::Dark, notesBackground);
    notesText->setObjectName(u"notesText"_s);
    notesText->setAccessibleName(tr("Notes"));
    notesText->setPlaceholderText(tr("Notes"));
    notesText->setGeometry(notesBackground->rect().adjusted(4, 3, -3, -3));

    showDurationCheckButton = new HUDCheckBox({}, contentView);
    showDurationCheckButton->setObjectName(u"showDurationCheckButton"_s);
    showDurationCheckButton->setFocusPolicy(Qt::TabFocus);

    durationContainer = new QWidget(m_durationClip);
    durationContainer->setObjectName(u"durationContainer"_s);
    durationContainer->setGeometry(0, 0, panelWidth, durationFrame.bottom() + 1 + glow);
    m_durationBackground = new skin::QuillonTextFieldBackground(durationContainer);
    m_durationBackground->setObjectName(u"durationBackground"_s);
    m_durationBackground->setGeometry(durationFrame);
    durationTextField = new QLineEdit(m_durationBackground);
    durationTextField->setObjectName(u"durationTextField"_s);
    durationTextField->setAccessibleName(tr("Duration"));
    durationTextField->setGeometry(m_durationBackground->rect().adjusted(5, 1, -5, -1));
    dress(*durationTextField, Look::Dark);
    durationInput = new HoursInput(*durationTextField, {});
    durationHint = new HintLabel(durationTextField->palette().color(QPalette::PlaceholderText),
                                 QColor(0xff, 0x9d, 0x96), durationContainer);
    durationHint->setObjectName(u"durationHint"_s);
    durationHint->setGeometry(durationFrame.right() + 9, durationFrame.y(), 180, durationFrame.height());
    connect(durationTextField, &QLineEdit::textChanged, this, &NewTimerPanel::updateDurationHint);
    connect(durationInput, &HoursInput::accepted, this, &NewTimerPanel::updateDurationHint);
    connect(durationInput, &HoursInput::refused, this, [this] {
        durationHint->warn(tr("digits and colons only, like 1:30"));
        updateDurationHint();
    });
    updateDurationHint();
    durationContainer->hide();

    cancelButton = new skin::QuillonHUDButtonCell(u"Cancel"_s, contentView);
    cancelButton->setObjectName(u"cancelButton"_s);
    saveButton = new skin::QuillonHUDButtonCell(u"Start"_s, contentView);
    saveButton->setObjectName(u"saveButton"_s);
    for (skin::QuillonHUDButtonCell* button : {cancelButton, saveButton}) {
        button->setAutoDefault(true); // Return presses the one that has the focus
        button->resize(buttonWidth, button->sizeHint().height());
        button->installEventFilter(this);
    }

    m_growth.setEasingCurve(QEasingCurve::OutCubic);
    m_growth.setStartValue(0);
    m_growth.setEndValue(0);
    connect(&m_growth, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& points) { setFixedSize(panelWidth, panelHeight + points.toInt()); });
    setFixedSize(panelWidth, panelHeight);
    setHiddenDuration({}); // lays out: whoever adds something counts from the lower edge
}

void NewTimerPanel::updateDurationHint()
{
    const QString duration = durationTextField->text();
    const bool refused = durationInput->hasRefused();
    const bool none = !duration.isEmpty() && !(model::numberFomStringInHoursMinutesFormat(duration) > 0);
    m_durationBackground->setError(refused || none);
    if (!refused)
        durationHint->advise(none ? tr("no duration: a timer starts") : tr("hours, like 1:30"));
    durationTextField->setAccessibleDescription(durationHint->text());
}

void NewTimerPanel::setHiddenDuration(const QString& duration)
{
    showDurationCheckButton->setText(duration.isEmpty() ? tr("Enter &duration")
                                                        : tr("Enter &duration (%1)").arg(duration));
    layOut();
}

void NewTimerPanel::growBy(int points)
{
    const int duration = isVisible() ? style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) : 0;
    m_growth.stop();
    if (duration == 0) {
        setFixedSize(panelWidth, panelHeight + points);
        return;
    }
    m_growth.setDuration(duration);
    m_growth.setStartValue(height() - panelHeight);
    m_growth.setEndValue(points);
    m_growth.start();
}

bool NewTimerPanel::event(QEvent* event)
{
    if (event->type() == QEvent::WindowUnblocked)
        emit unblocked();
    return HUDBorderlessWindow::event(event);
}

bool NewTimerPanel::eventFilter(QObject* /*watched*/, QEvent* event)
{
    // One timer for a double click.
    return event->type() == QEvent::MouseButtonDblClick;
}

void NewTimerPanel::keyPressEvent(QKeyEvent* event)
{
    if (event->key() == Qt::Key_Escape)
        emit closeAsked();
    else
        HUDBorderlessWindow::keyPressEvent(event);
}

void NewTimerPanel::closeEvent(QCloseEvent*)
{
    emit closeAsked();
}

void NewTimerPanel::resizeEvent(QResizeEvent* event)
{
    HUDBorderlessWindow::resizeEvent(event);
    layOut();
}

void NewTimerPanel::layOut()
{
    contentView->setGeometry(rect());
    showDurationCheckButton->setGeometry(QRect(checkBoxAt, showDurationCheckButton->sizeHint()));
    const int grown = height() - panelHeight;
    m_durationClip->setGeometry(0, durationTop, width(), grown > 0 ? grown + glow : 0);
    const int top = height() - buttonBottom - saveButton->height();
    cancelButton->move(margin, top);
    saveButton->move(width() - margin - buttonWidth, top);
}

} // namespace editing
