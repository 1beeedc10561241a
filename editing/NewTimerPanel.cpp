#include "editing/NewTimerPanel.h"

#include "editing/HUDCheckBox.h"
#include "editing/HintLabel.h"
#include "editing/HoursInput.h"
#include "editing/TextFields.h"
#include "model/HoursMinutes.h"
#include "skin/AccessibleRole.h"
#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/LinkButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonTextFieldBackground.h"

#include <QBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

// In points.
constexpr int PanelWidth = 320;
constexpr int PanelHeight = 221;
constexpr int Margin = 14;
constexpr int PickersHeight = 78; ///< with what is above and below them
constexpr int NotesHeight = 42;
constexpr QSize DurationSize(74, 26);
constexpr int ButtonWidth = 84;
constexpr int GrowthMilliseconds = 200;
constexpr int MessageHeight = 26; ///< with the space below
constexpr int MessageBottom = 8;
constexpr int Glow = 4; ///< below a field that has the focus

} // namespace

NewTimerPanel::NewTimerPanel() : contentView(new skin::HUDBorderlessView(this))
{
    skin::installAccessibleRole<NewTimerPanel, QAccessible::Dialog>();
    setObjectName(u"NewTimer"_s);
    setWindowTitle(tr("New Timer"));
    contentView->setObjectName(u"contentView"_s);

    auto* title = new QLabel(windowTitle());
    title->setFont(skin::interfaceFont(12, QFont::Bold));
    title->setAlignment(Qt::AlignCenter);
    title->setAttribute(Qt::WA_TransparentForMouseEvents);
    skin::dressed(*title, [title] {
        QPalette palette;
        palette.setColor(QPalette::WindowText, skin::color(skin::Role::HudTitle));
        title->setPalette(palette);
    });
    title->setFixedHeight(27);

    notesText = named("notesText", new NotesField(Look::Dark));
    notesText->setAccessibleName(tr("Notes"));
    notesText->setPlaceholderText(tr("Notes"));
    auto* notesBackground = frame(*notesText, Look::Dark, {4, 3, 3, 3});
    notesBackground->setFixedHeight(NotesHeight);

    showDurationCheckButton = named("showDurationCheckButton", new HUDCheckBox({}));
    showDurationCheckButton->setFocusPolicy(Qt::TabFocus);

    durationTextField = named("durationTextField", new QLineEdit);
    durationTextField->setAccessibleName(tr("Duration"));
    dress(*durationTextField, Look::Dark);
    durationInput = new HoursInput(*durationTextField, {});
    m_durationBackground = named("durationBackground", frame(*durationTextField, Look::Dark, {5, 1, 5, 1}));
    m_durationBackground->setFixedSize(DurationSize);
    durationHint = named("durationHint", new HintLabel(Look::Dark));
    durationHint->setWordWrap(true);
    // It stays in place while the panel grows and uncovers it from above.
    auto* uncovered = new QWidget;
    uncovered->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Ignored);
    durationContainer = named("durationContainer", new QWidget(uncovered));
    durationContainer->resize(PanelWidth, 3 + DurationSize.height() + Glow);
    auto* duration = new QHBoxLayout(durationContainer);
    // As high as two lines of the hint, which is more than the field needs.
    QMargins around(Margin + 23, 2, Margin, Glow - 1);
    if (isRightToLeft())
        around = {around.right(), around.top(), around.left(), around.bottom()};
    duration->setContentsMargins(around);
    duration->setSpacing(8);
    duration->addWidget(m_durationBackground);
    duration->addWidget(durationHint, 1);
    connect(durationTextField, &QLineEdit::textChanged, this, &NewTimerPanel::updateDurationHint);
    connect(durationInput, &HoursInput::accepted, this, &NewTimerPanel::updateDurationHint);
    connect(durationInput, &HoursInput::refused, this, [this] {
        durationHint->warn(tr("digits and colons only, like 1:30"));
        updateDurationHint();
    });
    updateDurationHint();
    durationContainer->hide();

    cancelButton =
        named("cancelButton", new skin::QuillonHUDButtonCell(tr("Cancel"), nullptr, skin::QuillonButtonCell::Cancel));
    saveButton = named("saveButton", new skin::QuillonHUDButtonCell(tr("Start")));
    for (skin::QuillonHUDButtonCell* button : {cancelButton, saveButton}) {
        button->setMinimumWidth(ButtonWidth);
        button->installEventFilter(this);
    }

    newProjectLink = named("newProjectLink", new skin::LinkButton(nullptr));
    QPalette dark = newProjectLink->palette();
    dark.setColor(QPalette::Window, Qt::black);
    newProjectLink->setPalette(dark);
    newProjectLink->setFixedHeight(MessageHeight - MessageBottom);

    auto* notes = new QHBoxLayout;
    notes->setContentsMargins(Margin, 0, Margin, 0);
    notes->addWidget(notesBackground);
    auto* check = new QHBoxLayout;
    check->setContentsMargins(Margin + 1, 9, Margin, 2);
    check->addWidget(showDurationCheckButton);
    check->addStretch();
    auto* buttons = new QHBoxLayout;
    buttons->setContentsMargins(Margin, 8 - Glow, Margin, Margin);
    buttons->addWidget(cancelButton);
    buttons->addStretch();
    buttons->addWidget(saveButton);
    auto* rows = new QVBoxLayout(contentView);
    rows->setContentsMargins(0, 1, 0, 0);
    rows->setSpacing(0);
    rows->addWidget(title);
    rows->addSpacing(PickersHeight); // which are placed over it
    rows->addLayout(notes);
    rows->addLayout(check);
    rows->addWidget(uncovered, 1);
    rows->addLayout(buttons);
    m_message = new QWidget;
    auto* message = new QHBoxLayout(m_message);
    message->setContentsMargins(Margin - 1, 0, Margin, MessageBottom);
    message->addWidget(newProjectLink);
    message->addStretch();
    m_message->hide();
    rows->addWidget(m_message);
    auto* whole = new QVBoxLayout(this);
    whole->setContentsMargins({});
    whole->addWidget(contentView);

    m_growth.setEasingCurve(QEasingCurve::OutCubic);
    m_growth.setStartValue(0);
    m_growth.setEndValue(0);
    connect(&m_growth, &QVariantAnimation::valueChanged, this,
            [this](const QVariant& points) { setHeight(points.toInt()); });
    setFixedSize(PanelWidth, PanelHeight);
    setHiddenDuration({});
    // The pickers take the width of the notes.
    contentView->resize(size());
    rows->activate();
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
}

void NewTimerPanel::offerNewProject(const QString& title)
{
    if (title.isEmpty() && newProjectLink->hasFocus())
        focusPreviousChild();
    newProjectLink->setText(title);
    m_message->setVisible(!title.isEmpty());
    if (m_growth.state() == QVariantAnimation::Stopped)
        setHeight(m_growth.endValue().toInt());
}

void NewTimerPanel::setHeight(int withDuration)
{
    setFixedSize(PanelWidth, PanelHeight + withDuration + (m_message->isHidden() ? 0 : MessageHeight));
}

void NewTimerPanel::growBy(int points)
{
    const int duration = isVisible() ? skin::movingTime(*this, GrowthMilliseconds) : 0;
    m_growth.stop();
    if (duration == 0) {
        m_growth.setEndValue(points);
        setHeight(points);
        return;
    }
    m_growth.setDuration(duration);
    m_growth.setStartValue(height() - PanelHeight - (m_message->isHidden() ? 0 : MessageHeight));
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

} // namespace editing
