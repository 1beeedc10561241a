#include "editing/TimesheetEditSheet.h"

#include "editing/DatePicker.h"
#include "editing/HintLabel.h"
#include "editing/HoursInput.h"
#include "editing/TextFields.h"
#include "skin/Backgrounds.h"
#include "skin/ColorHex.h"
#include "skin/Fonts.h"
#include "skin/ImageButton.h"
#include "skin/QuillonButtonCell.h"
#include "skin/QuillonHoursTextField.h"
#include "skin/QuillonTextFieldBackground.h"

#include <QBoxLayout>
#include <QLabel>
#include <QLineEdit>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

// In points; places count from the lower left corner of the container upwards.
constexpr int containerWidth = 400;
constexpr int containerHeight = 260;
constexpr int margin = 24;
constexpr int fieldWidth = containerWidth - 2 * margin;
constexpr int fieldHeight = 26;
constexpr int dateWidth = 176;
constexpr int timeWidth = 76;
constexpr int hoursWidth = 88;
constexpr int betweenTimes = 22;
constexpr int glow = 4; ///< around a field that has the focus
constexpr int textMargin = 7;
constexpr int headingY = 218;
constexpr int notesY = 64;
constexpr int notesHeight = 81;
constexpr int timesY = 25;
constexpr int buttonsY = 26;
constexpr int buttonWidth = 76;
constexpr int buttonHeight = 24;
constexpr int buttonGap = 10;
constexpr int hintHeight = 15;
constexpr int belowContainer = 7; ///< the room for the sheet's round corners

/// `rect` counted upwards in a view of that height, as Qt counts.
QRect upwards(const QRect& rect, int viewHeight)
{
    return {rect.x(), viewHeight - rect.y() - rect.height(), rect.width(), rect.height()};
}

/// Whole, so that nothing of a dark desktop shows in scroll bars.
QPalette lightPalette()
{
    const QColor background = skin::colorFromHexRGB(u"EEEEEE"_s);
    QPalette palette(background, background);
    palette.setColor(QPalette::WindowText, skin::colorFromHexRGB(u"444444"_s));
    return palette;
}

QLabel* label(QWidget& parent, const QString& text, int points, QFont::Weight weight = QFont::Normal)
{
    auto* made = new QLabel(text, &parent);
    made->setTextFormat(Qt::PlainText);
    made->setFont(skin::interfaceFont(points, weight));
    return made;
}

} // namespace

TimesheetEditSheet::TimesheetEditSheet(QWidget& window) : Sheet(window), containerView(new skin::EditTimerBackground)
{
    setObjectName(u"editTimerSheet"_s);
    setAccessibleName(tr("Edit Timer"));
    body().setPalette(lightPalette());
    auto* layout = new QVBoxLayout(&body());
    layout->setContentsMargins(1, 0, 1, belowContainer);
    layout->addWidget(containerView);
    containerView->setObjectName(u"containerView"_s);
    containerView->setFixedSize(containerWidth, containerHeight);

    const auto place = [](QWidget& widget, const QRect& rect) { widget.setGeometry(upwards(rect, containerHeight)); };

    auto* heading = label(*containerView, tr("Edit Timer"), 14, QFont::Bold);
    place(*heading, {margin, headingY, fieldWidth - dateWidth, fieldHeight});

    const QRect dateRect(margin + fieldWidth - dateWidth, headingY, dateWidth, fieldHeight);
    dateBackground = addBackground("dateBackground", *containerView, upwards(dateRect, containerHeight));
    datePicker = new DatePicker(dateBackground);
    datePicker->setObjectName(u"datePicker"_s);
    datePicker->setGeometry(dateBackground->rect().adjusted(textMargin - 2, 1, -3, -1));

    notesBackground = addBackground("notesBackground", *containerView,
                                    upwards({margin, notesY, fieldWidth, notesHeight}, containerHeight));
    notesField = new NotesField(Look::Light, notesBackground);
    notesField->setObjectName(u"notesField"_s);
    notesField->setGeometry(notesBackground->rect().adjusted(textMargin - 3, 2, -2, -3));
    notesField->setPlaceholderText(tr("Notes"));
    notesField->setAccessibleName(tr("Notes"));
    notesField->setAccessibleDescription(tr("Return saves, Alt+Return begins a new line."));

    const QRect hoursRect(margin, timesY, hoursWidth, fieldHeight);
    durationContainerAndHoursBackground =
        addBackground("durationContainerAndHoursBackground", *containerView, upwards(hoursRect, containerHeight));
    hoursField = new skin::QuillonHoursTextField(durationContainerAndHoursBackground);
    hoursField->setObjectName(u"hoursField"_s);
    dress(*hoursField, Look::Light);
    hoursField->setAccessibleName(tr("Hours"));
    hoursInput = new HoursInput(*hoursField, u"0:00"_s);
    editHoursButton = new skin::QuillonEditHoursButtonCell(durationContainerAndHoursBackground);
    editHoursButton->setObjectName(u"editHoursButton"_s);
    editHoursButton->setFocusPolicy(Qt::NoFocus); // the field itself is next to it
    const QSize pencil = editHoursButton->sizeHint();
    editHoursButton->setGeometry({{hoursWidth - pencil.width() - 3, (fieldHeight - pencil.height()) / 2}, pencil});
    hoursField->setGeometry(textMargin - 2, 1, hoursWidth - pencil.width() - textMargin - 1, fieldHeight - 2);
    hoursLabel = label(*containerView, tr("hours"), 13);
    place(*hoursLabel, {margin + hoursWidth + 8, timesY, 60, fieldHeight});

    timestampContainer = new QWidget(containerView);
    timestampContainer->setObjectName(u"timestampContainer"_s);
    place(*timestampContainer,
          QRect(margin, timesY, 2 * timeWidth + betweenTimes, fieldHeight).adjusted(-glow, -glow, glow, glow));
    startTimeBackground =
        addBackground("startTimeBackground", *timestampContainer, {glow, glow, timeWidth, fieldHeight});
    startTimeField = addTimeField("startTimeField", *startTimeBackground, tr("Start Time"), tr("Start"));
    auto* to = label(*timestampContainer, tr("to"), 13);
    to->setGeometry(glow + timeWidth, glow, betweenTimes, fieldHeight);
    to->setAlignment(Qt::AlignCenter);
    endTimeBackground = addBackground("endTimeBackground", *timestampContainer,
                                      {glow + timeWidth + betweenTimes, glow, timeWidth, fieldHeight});
    endTimeField = addTimeField("endTimeField", *endTimeBackground, tr("End Time"), tr("End"));

    timeHint = new HintLabel(lightPalette().color(QPalette::WindowText), QColor(0xb0, 0x2f, 0x2a), containerView);
    timeHint->setObjectName(u"timeHint"_s);
    place(*timeHint, {margin, timesY - hintHeight - 5, fieldWidth, hintHeight});

    cancelButton = new skin::QuillonButtonCell(tr("Cancel"), containerView);
    cancelButton->setObjectName(u"cancelButton"_s);
    saveButton = new skin::QuillonButtonCell(tr("Save"), containerView);
    saveButton->setObjectName(u"saveButton"_s);
    const int right = margin + fieldWidth;
    place(*saveButton, {right - buttonWidth, buttonsY, buttonWidth, buttonHeight});
    place(*cancelButton, {right - 2 * buttonWidth - buttonGap, buttonsY, buttonWidth, buttonHeight});
    // A click leaves the focus in the field: what is typed there is not taken for finished by cancelling.
    for (QWidget* button : {static_cast<QWidget*>(cancelButton), static_cast<QWidget*>(saveButton)})
        button->setFocusPolicy(Qt::TabFocus);
    setDefaultButton(saveButton);
}

void TimesheetEditSheet::showTimestamps(bool timestamps)
{
    timestampContainer->setVisible(timestamps);
    durationContainerAndHoursBackground->setVisible(!timestamps);
    hoursLabel->setVisible(!timestamps);
}

skin::QuillonTextFieldBackground* TimesheetEditSheet::addBackground(const char* name, QWidget& parent,
                                                                    const QRect& place)
{
    auto* background = new skin::QuillonTextFieldBackground(&parent);
    background->setObjectName(QLatin1StringView(name));
    background->setGeometry(place);
    return background;
}

QLineEdit* TimesheetEditSheet::addTimeField(const char* name, skin::QuillonTextFieldBackground& background,
                                            const QString& spoken, const QString& prompt)
{
    auto* field = new QLineEdit(&background);
    field->setObjectName(QLatin1StringView(name));
    dress(*field, Look::Light);
    field->setGeometry(background.rect().adjusted(textMargin - 2, 1, -3, -1));
    field->setAccessibleName(spoken);
    field->setPlaceholderText(prompt);
    return field;
}

InvalidEntrySheet::InvalidEntrySheet(QWidget& window)
    : Sheet(window), invalidEntryErrorMessage(new QLabel), acknowledgeButton(new skin::QuillonButtonCell(tr("OK")))
{
    setObjectName(u"invalidEntrySheet"_s);
    body().setPalette(lightPalette());
    invalidEntryErrorMessage->setObjectName(u"invalidEntryErrorMessage"_s);
    invalidEntryErrorMessage->setTextFormat(Qt::PlainText);
    invalidEntryErrorMessage->setFont(skin::interfaceFont(13, QFont::DemiBold));
    invalidEntryErrorMessage->setWordWrap(true);
    invalidEntryErrorMessage->setMinimumWidth(280);
    acknowledgeButton->setObjectName(u"acknowledgeButton"_s);
    setDefaultButton(acknowledgeButton);

    auto* layout = new QVBoxLayout(&body());
    layout->setContentsMargins(margin, 22, margin, 20);
    layout->setSpacing(18);
    layout->addWidget(invalidEntryErrorMessage);
    layout->addWidget(acknowledgeButton, 0, Qt::AlignRight);
}

} // namespace editing
