#include "editing/TimesheetEditSheet.h"

#include "editing/DatePicker.h"
#include "editing/HintLabel.h"
#include "editing/HoursInput.h"
#include "editing/TextFields.h"
#include "skin/Backgrounds.h"
#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/ImageButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonHoursTextField.h"
#include "skin/QuillonTextFieldBackground.h"

#include <QBoxLayout>
#include <QGuiApplication>
#include <QLabel>
#include <QLineEdit>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

// In points.
constexpr QSize ContainerSize(400, 260);
constexpr int Margin = 24;
constexpr int FieldHeight = 26;
constexpr QSize DateSize(176, FieldHeight);
constexpr QSize TimeSize(76, FieldHeight);
constexpr QSize HoursSize(88, FieldHeight);
constexpr QMargins InsideField(5, 1, 3, 1);
constexpr int NotesHeight = 81;
constexpr int ButtonHeight = 24;
constexpr int PickersHeight = 73; ///< with what is above and below them
constexpr int Glow = 4;           ///< around a field that has the focus
constexpr int BelowContainer = 7; ///< the room for the sheet's round corners

/// In the timesheet's colours, whatever the desktop's are.
void dressBody(QWidget& body)
{
    skin::dressed(body, [&body] {
        const QColor ground = skin::color(skin::Role::SheetGround);
        QPalette palette(ground, ground);
        palette.setColor(QPalette::WindowText, skin::color(skin::Role::LabelText));
        body.setPalette(palette);
    });
}

QLabel* label(const QString& text, int points, QFont::Weight weight = QFont::Normal)
{
    auto* made = new QLabel(text);
    made->setTextFormat(Qt::PlainText);
    made->setFont(skin::interfaceFont(points, weight));
    return made;
}

QHBoxLayout* line(QMargins margins)
{
    auto* made = new QHBoxLayout;
    // Layouts mirror what is in them, but not their margins.
    if (QGuiApplication::isRightToLeft())
        margins = {margins.right(), margins.top(), margins.left(), margins.bottom()};
    made->setContentsMargins(margins);
    made->setSpacing(0);
    return made;
}

/// Parts side by side, with room for their glow.
QWidget* row(std::initializer_list<QWidget*> parts, int spacing)
{
    auto* made = new QWidget;
    QHBoxLayout* layout = line({Margin, Glow, Glow, Glow});
    layout->setSpacing(spacing);
    for (QWidget* part : parts)
        layout->addWidget(part);
    made->setLayout(layout);
    return made;
}

skin::QuillonTextFieldBackground* fieldFrame(const char* name, QWidget& field)
{
    return named(name, frame(field, Look::Light, InsideField));
}

QLineEdit* timeField(const char* name, const QString& spoken, const QString& prompt)
{
    auto* field = named(name, new QLineEdit);
    dress(*field, Look::Light);
    field->setAccessibleName(spoken);
    field->setPlaceholderText(prompt);
    return field;
}

} // namespace

TimesheetEditSheet::TimesheetEditSheet(QWidget& window) : Sheet(window), containerView(new skin::EditTimerBackground)
{
    setObjectName(u"editTimerSheet"_s);
    setAccessibleName(tr("Edit Timer"));
    dressBody(body());
    auto* layout = new QVBoxLayout(&body());
    layout->setContentsMargins(1, 0, 1, BelowContainer);
    layout->addWidget(containerView);
    containerView->setObjectName(u"containerView"_s);
    containerView->setFixedSize(ContainerSize);

    datePicker = named("datePicker", new DatePicker);
    dateBackground = fieldFrame("dateBackground", *datePicker);
    dateBackground->setFixedSize(DateSize);
    notesField = named("notesField", new NotesField(Look::Light));
    notesField->setPlaceholderText(tr("Notes"));
    notesField->setAccessibleName(tr("Notes"));
    notesField->setAccessibleDescription(tr("Return saves, Alt+Return begins a new line."));
    notesBackground = named("notesBackground", frame(*notesField, Look::Light, {4, 2, 2, 3}));
    notesBackground->setFixedHeight(NotesHeight);

    hoursField = named("hoursField", new skin::QuillonHoursTextField);
    dress(*hoursField, Look::Light);
    hoursField->setAccessibleName(tr("Hours"));
    hoursInput = new HoursInput(*hoursField, u"0:00"_s);
    durationContainerAndHoursBackground = fieldFrame("durationContainerAndHoursBackground", *hoursField);
    durationContainerAndHoursBackground->setFixedSize(HoursSize);
    editHoursButton = named("editHoursButton", new skin::QuillonEditHoursButtonCell);
    editHoursButton->setFocusPolicy(Qt::NoFocus); // the field itself is next to it
    durationContainerAndHoursBackground->layout()->addWidget(editHoursButton);
    m_hoursRow = row({durationContainerAndHoursBackground, label(tr("hours"), 13)}, 8);

    startTimeField = timeField("startTimeField", tr("Start Time"), tr("Start"));
    startTimeBackground = fieldFrame("startTimeBackground", *startTimeField);
    startTimeBackground->setFixedSize(TimeSize);
    endTimeField = timeField("endTimeField", tr("End Time"), tr("End"));
    endTimeBackground = fieldFrame("endTimeBackground", *endTimeField);
    endTimeBackground->setFixedSize(TimeSize);
    auto* to = label(tr("to"), 13);
    to->setAlignment(Qt::AlignCenter);
    to->setMinimumWidth(22);
    to->setContentsMargins(2, 0, 2, 0);
    timestampContainer = named("timestampContainer", row({startTimeBackground, to, endTimeBackground}, 0));

    timeHint = named("timeHint", new HintLabel(Look::Light));
    timeHint->setContentsMargins(Margin, 0, Margin, 0);
    timeHint->setFixedHeight(15);
    cancelButton =
        named("cancelButton", new skin::QuillonButtonCell(tr("Cancel"), nullptr, skin::QuillonButtonCell::Cancel));
    saveButton = named("saveButton", new skin::QuillonButtonCell(tr("Save")));
    // A click leaves the focus in the field: cancelling must not treat its text as finished.
    for (QWidget* button : {cancelButton, saveButton}) {
        button->setFocusPolicy(Qt::TabFocus);
        button->setFixedHeight(ButtonHeight);
    }
    setDefaultButton(saveButton);

    QHBoxLayout* top = line({Margin, 16, Margin, 0});
    top->addWidget(label(tr("Edit Timer"), 14, QFont::Bold), 1);
    top->addWidget(dateBackground);
    QHBoxLayout* notes = line({Margin, 0, Margin, 0});
    notes->addWidget(notesBackground);
    QHBoxLayout* bottom = line({0, 9, Margin, 1});
    bottom->addWidget(timestampContainer);
    bottom->addWidget(m_hoursRow);
    bottom->addStretch();
    bottom->addWidget(cancelButton);
    bottom->addSpacing(10);
    bottom->addWidget(saveButton);
    auto* rows = new QVBoxLayout(containerView);
    rows->setContentsMargins({});
    rows->setSpacing(0);
    rows->addLayout(top);
    rows->addSpacing(PickersHeight); // which are placed over it
    rows->addLayout(notes);
    rows->addLayout(bottom);
    rows->addWidget(timeHint);
    rows->addStretch();
    rows->activate(); // the pickers take the width of the notes
}

void TimesheetEditSheet::showTimestamps(bool timestamps)
{
    timestampContainer->setVisible(timestamps);
    durationContainerAndHoursBackground->setVisible(!timestamps);
    m_hoursRow->setVisible(!timestamps);
}

InvalidEntrySheet::InvalidEntrySheet(QWidget& window)
    : Sheet(window), invalidEntryErrorMessage(new QLabel), acknowledgeButton(new skin::QuillonButtonCell(tr("OK")))
{
    setObjectName(u"invalidEntrySheet"_s);
    dressBody(body());
    invalidEntryErrorMessage->setObjectName(u"invalidEntryErrorMessage"_s);
    invalidEntryErrorMessage->setTextFormat(Qt::PlainText);
    invalidEntryErrorMessage->setFont(skin::interfaceFont(13, QFont::Bold));
    invalidEntryErrorMessage->setWordWrap(true);
    invalidEntryErrorMessage->setMinimumWidth(280);
    acknowledgeButton->setObjectName(u"acknowledgeButton"_s);
    setDefaultButton(acknowledgeButton);

    auto* layout = new QVBoxLayout(&body());
    layout->setContentsMargins(Margin, 22, Margin, 20);
    layout->setSpacing(18);
    layout->addWidget(invalidEntryErrorMessage);
    layout->addWidget(acknowledgeButton, 0, Qt::AlignRight);
}

} // namespace editing
