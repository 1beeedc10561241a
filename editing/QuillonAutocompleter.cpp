#include "editing/QuillonAutocompleter.h"

#include "editing/HintLabel.h"
#include "settings/QuillonPreferences.h"
#include "skin/Colors.h"
#include "skin/Geometrics.h"
#include "skin/ImageButton.h"
#include "skin/LinkButton.h"

#include <QAccessible>
#include <QFocusEvent>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QPainter>
#include <QStyle>

#include <utility>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

constexpr int Height = 26;
constexpr int LeftMargin = 7;
constexpr QSize ButtonSize(24, 20);
constexpr int DarkButtonTop = 4;
constexpr int LightButtonTop = DarkButtonTop - 3;

/// The arrow is centred in the field's height, wherever in it the area to press is.
class MenuButton final : public skin::ImageButton
{
public:
    using ImageButton::ImageButton;

protected:
    void paintEvent(QPaintEvent*) override
    {
        QPainter painter(this);
        painter.setOpacity(isEnabled() ? 1 : 0.4);
        const skin::Image image = shownImage();
        const QSizeF size = image.size();
        const double middle = parentWidget()->height() / 2.0 - y();
        image.drawAtPoint(painter, QPointF((width() - size.width()) / 2, middle - size.height() / 2));
    }
};

Look lookOf(int style)
{
    return style == 1 ? Look::Light : Look::Dark;
}

} // namespace

QuillonAutocompleter::QuillonAutocompleter(const QString& label, const QString& chooseText)
    : m_chooseText(chooseText), m_container(new skin::QuillonTextFieldBackground),
      m_textField(new QLineEdit(m_container)), m_fakePlaceholderField(new QLabel(m_container)),
      m_popupButton(
          new MenuButton(skin::imageNamed("hud-arrow.png"), skin::imageNamed("hud-arrow-active.png"), m_container)),
      m_commands(new TextCommands(*m_textField, [this](TextCommand command) { return control(command); })),
      m_resultsController(*this)
{
    m_container->setObjectName(u"autocompleterContainerView"_s);
    m_container->resize(200, Height);
    m_container->installEventFilter(this);
    m_textField->setObjectName(u"textField"_s);
    m_textField->setAccessibleName(label);
    m_textField->installEventFilter(this);
    m_container->setFocusProxy(m_textField);
    m_fakePlaceholderField->setObjectName(u"fakePlaceholderField"_s);
    m_fakePlaceholderField->setText(m_chooseText);
    m_fakePlaceholderField->setAttribute(Qt::WA_TransparentForMouseEvents);
    m_popupButton->setObjectName(u"popupButton"_s);
    m_popupButton->setAccessibleName(m_chooseText);
    m_popupButton->setFocusPolicy(Qt::NoFocus);
    m_popupButton->resize(ButtonSize);
    m_resultsController.setContainerView(m_container);

    connect(m_textField, &QLineEdit::textEdited, this, &QuillonAutocompleter::controlTextDidChange);
    connect(m_popupButton, &QAbstractButton::pressed, this, &QuillonAutocompleter::popUpMenu);
    connect(&m_resultsController, &QuillonAutocompleterResultsController::highlightChanged, this,
            [this](const QString& suggestion) {
                const bool leavesList = !m_highlight.isEmpty() && suggestion.isEmpty();
                m_highlight = suggestion;
                describe();
                if (leavesList)
                    readField();
            });
    connect(m_textField, &QLineEdit::textEdited, this, &QuillonAutocompleter::readField);
    dress(*m_textField, Look::Dark);
    m_fakePlaceholderField->setFont(m_textField->font());
    setStyle(0);
    skin::dressed(*this, [this] { wearLook(); });
}

QuillonAutocompleter::~QuillonAutocompleter()
{
    // The fields' last events must not come back here.
    m_container->removeEventFilter(this);
    m_textField->removeEventFilter(this);
    delete m_commands;
    delete m_container;
}

PickerMenu& QuillonAutocompleter::popupMenu()
{
    if (!m_menu) {
        m_menu = new PickerMenu(lookOf(m_style), m_container);
        m_menu->setObjectName(u"popupMenu"_s);
        m_menu->setAccessibleName(chooseText());
        connect(m_menu, &PickerMenu::triggered, this, [this](qint64 tag) {
            m_textField->setFocus();
            itemSelectedFromMenu(tag);
        });
        connect(m_menu, &PickerMenu::aboutToHide, m_popupButton, [this] { m_popupButton->setDown(false); });
    }
    if (!m_menuFilled) {
        m_menuFilled = true;
        m_menu->clear();
        fillMenu(*m_menu);
        updatePopupButtonAfterSelection();
    }
    return *m_menu;
}

void QuillonAutocompleter::addToView(QWidget& view, QPoint atPoint)
{
    m_container->setParent(&view);
    m_container->move(atPoint);
    m_container->show();
}

void QuillonAutocompleter::setStyle(int style)
{
    m_style = style;
    const bool light = lookOf(style) == Look::Light;
    wearLook();
    static_cast<skin::ImageButton*>(m_popupButton)
        ->setImages(skin::imageNamed(light ? "tw-arrow.png" : "hud-arrow.png"),
                    skin::imageNamed(light ? "tw-arrow-active.png" : "hud-arrow-active.png"));
    m_resultsController.setLook(lookOf(style));
    delete std::exchange(m_menu, nullptr);
    m_menuFilled = false;
    m_container->setUseHUDBackground(!light);
    layOut();
}

/// The colours of the style, as they are in the present appearance.
void QuillonAutocompleter::wearLook()
{
    m_textField->setPalette(fieldPalette(lookOf(m_style)));
    QPalette palette;
    palette.setColor(QPalette::WindowText, m_textField->palette().color(QPalette::PlaceholderText));
    m_fakePlaceholderField->setPalette(palette);
    if (!m_manageLink)
        return;
    palette = m_manageLink->palette();
    palette.setColor(QPalette::Window,
                     skin::color(lookOf(m_style) == Look::Dark ? skin::Role::HudField : skin::Role::Field));
    m_manageLink->setPalette(palette);
}

void QuillonAutocompleter::matchWidth(const QWidget& view)
{
    m_container->resize(view.width(), m_container->height());
    m_container->update();
}

void QuillonAutocompleter::replaceEntry(model::DayEntry* entry)
{
    m_entry = entry;
    catalogDidChange();
}

void QuillonAutocompleter::setEnabled(bool enabled)
{
    m_textField->setEnabled(enabled);
    m_popupButton->setEnabled(enabled);
    m_fakePlaceholderField->setEnabled(enabled);
    if (!enabled)
        m_resultsController.closeResults();
    updatePlaceholderText();
}

void QuillonAutocompleter::setInvalid(bool invalid)
{
    m_invalid = invalid;
    m_container->setError(invalid);
    describe();
}

void QuillonAutocompleter::setErrorState()
{
    const bool silent = m_initialDisplay && !selectedValue();
    if (silent)
        m_initialDisplay = false;
    setInvalid(!silent && !selectedValue());
}

void QuillonAutocompleter::setSelectedValue(model::QuillonObject* selectedValue)
{
    const bool differs = selectedValue != m_selectedValue.get() || m_hasSelectedValue != (selectedValue != nullptr);
    m_selectedValue = selectedValue;
    m_hasSelectedValue = selectedValue != nullptr;
    updateTextViewAfterSelection();
    updatePopupButtonAfterSelection();
    updatePlaceholderText();
    if (selectedValue)
        setInvalid(false);
    if (differs)
        tellDelegate();
}

QString QuillonAutocompleter::text() const
{
    return m_textField->text();
}

void QuillonAutocompleter::clear()
{
    m_textField->clear();
    setSelectedValue(nullptr);
}

void QuillonAutocompleter::reloadData()
{
    m_menuFilled = m_menuFilled && m_menu->isVisible(); // an open one stays as it is
    m_suggestionsLoaded = false;
    if (m_container->isVisible())
        prepareSoon();
}

/// After the events that wait.
void QuillonAutocompleter::prepareSoon()
{
    QMetaObject::invokeMethod(this, &QuillonAutocompleter::prepare, Qt::QueuedConnection);
}

void QuillonAutocompleter::catalogDidChange()
{
    reloadData();
    if (m_resultsController.visible()) {
        const bool completed = m_textField->hasSelectedText() &&
                               m_textField->selectionStart() == m_userEnteredText.size() &&
                               m_textField->selectionEnd() == text().size();
        loadSuggestions();
        const model::QuillonObject* highlighted = m_resultsController.selectedObject();
        if (completed && highlighted)
            addTemporarySelection(highlighted->displayName());
    }

    if (const model::QuillonObject* value = selectedValue()) {
        // The choice has been renamed, and the field shows nothing but the choice.
        const QString name = value->displayName();
        if (name != m_shownValue && text() == m_shownValue) {
            const int caret = m_textField->cursorPosition();
            const bool all = m_textField->hasSelectedText() && m_textField->selectedText() == text();
            m_textField->setText(name);
            m_userEnteredText = name;
            all ? m_textField->selectAll() : m_textField->setCursorPosition(caret);
            m_shownValue = name;
        }
    } else if (m_hasSelectedValue) {
        m_hasSelectedValue = false;
        m_shownValue.clear();
        // Show no error while the person is still typing.
        if (!m_textField->hasFocus())
            setErrorState();
        tellDelegate();
    }
    updatePlaceholderText();
}

QuillonAutocompleterResultsController::Results QuillonAutocompleter::suggestionsForText(const QString& /*text*/)
{
    return {};
}

model::QuillonObject* QuillonAutocompleter::findSelectionFromCurrentText(const QString& /*text*/)
{
    return nullptr;
}

qint64 QuillonAutocompleter::tag(const model::QuillonObject& object)
{
    return object.idString().toLongLong();
}

void QuillonAutocompleter::itemSelected(model::QuillonObject* item, QuillonAutocompleterResultsController&)
{
    setSelectedValue(item);
}

void QuillonAutocompleter::controlTextDidChange()
{
    const QString typed = text();
    m_userEnteredText = typed;
    loadSuggestions();
    m_resultsController.showResults();
    if (m_commands->isComposing() || typed.isEmpty())
        m_deletingBackward = true;
    const QString first = m_resultsController.selectFirst();
    // Typing in the middle of the text calls for no completion at its end.
    if (!first.isEmpty() && !m_deletingBackward && m_textField->cursorPosition() == typed.size())
        addTemporarySelection(first);
    if (m_deletingBackward) {
        m_deletingBackward = false;
        m_resultsController.selectNone();
    }
    updatePlaceholderText();
}

void QuillonAutocompleter::controlTextDidEndEditing()
{
    const model::QuillonObject* highlighted =
        m_resultsController.visible() ? m_resultsController.selectedObject() : nullptr;
    if (highlighted && highlighted->displayName() == text())
        setSelectedValue(m_resultsController.selectedObject());
    else if (shouldAssignFromTextOnLostFocus())
        setSelectedValue(findSelectionFromCurrentText(text()));
    m_resultsController.closeResults();
    setErrorState();
    m_textField->setCursorPosition(0); // shows the beginning of a long name
    updatePlaceholderText();
}

bool QuillonAutocompleter::control(TextCommand doCommandBySelector)
{
    bool handled = true;
    switch (doCommandBySelector) {
    case TextCommand::MoveUp:
        if (!m_suggestionsLoaded)
            loadSuggestions();
        addTemporarySelection(m_resultsController.moveSelectionUp());
        break;
    case TextCommand::MoveDown:
        if (!m_suggestionsLoaded)
            loadSuggestions();
        addTemporarySelection(m_resultsController.moveSelectionDown());
        break;
    case TextCommand::InsertNewline:
        commit();
        if (!m_delegate || !m_delegate->returnPressed(*this))
            moveOn();
        break;
    case TextCommand::InsertTab:
        commit();
        moveOn();
        break;
    case TextCommand::DeleteBackward:
        m_deletingBackward = true;
        handled = false;
        break;
    case TextCommand::Complete:
        // Without a drop-down Escape is the window's.
        handled = m_resultsController.visible();
        m_resultsController.closeResults();
        break;
    case TextCommand::InsertLineBreak:
        handled = false;
        break;
    }
    updatePlaceholderText();
    return handled;
}

void QuillonAutocompleter::commit()
{
    model::QuillonObject* highlighted = m_resultsController.visible() ? m_resultsController.selectedObject() : nullptr;
    if (highlighted)
        setSelectedValue(highlighted);
    else if (shouldAssignFromTextOnLostFocus())
        setSelectedValue(findSelectionFromCurrentText(text()));
    m_resultsController.closeResults();
}

void QuillonAutocompleter::moveOn()
{
    if (m_nextKeyView)
        m_nextKeyView->setFocus(Qt::TabFocusReason);
}

void QuillonAutocompleter::addTemporarySelection(const QString& candidate)
{
    if (!candidate.startsWith(m_userEnteredText, Qt::CaseInsensitive))
        return;
    const QString completed = m_userEnteredText + candidate.mid(m_userEnteredText.size());
    if (completed != text())
        m_textField->setText(completed);
    // The caret stays where the typed part ends, so that this stays visible.
    const auto tail = static_cast<int>(completed.size() - m_userEnteredText.size());
    m_textField->setSelection(static_cast<int>(completed.size()), -tail);
}

bool QuillonAutocompleter::shouldAssignFromTextOnLostFocus() const
{
    const model::QuillonObject* value = selectedValue();
    return !value || value->displayName() != text();
}

void QuillonAutocompleter::updateTextViewAfterSelection()
{
    m_resultsController.closeResults();
    m_suggestionsLoaded = false;
    const model::QuillonObject* value = selectedValue();
    m_shownValue = value ? value->displayName() : QString();
    m_userEnteredText = value ? m_shownValue : text();
    if (!value)
        return; // the text stays, with the caret where it is
    const qsizetype noted = text().size();
    if (m_shownValue != text())
        m_textField->setText(m_shownValue);
    if (m_shownValue.size() >= noted)
        m_textField->setCursorPosition(static_cast<int>(noted));
}

void QuillonAutocompleter::updatePopupButtonAfterSelection()
{
    if (!m_menuFilled)
        return;
    const model::QuillonObject* value = selectedValue();
    m_menu->setChecked(value ? std::optional(tag(*value)) : std::nullopt);
}

void QuillonAutocompleter::updatePlaceholderText()
{
    m_fakePlaceholderField->setVisible(text().isEmpty() && !m_resultsController.visible() &&
                                       !m_commands->isComposing());
    describe();
}

void QuillonAutocompleter::loadSuggestions()
{
    m_resultsController.setResults(suggestionsForText(m_userEnteredText));
    m_suggestionsLoaded = true;
}

void QuillonAutocompleter::tellDelegate()
{
    if (m_delegate)
        m_delegate->itemSelected(selectedValue(), *this);
}

void QuillonAutocompleter::describe()
{
    const bool cut = m_textField->fontMetrics().horizontalAdvance(text()) > m_textField->width() - 6;
    m_textField->setToolTip(m_invalid ? missingText() : cut ? skin::toolTipFor(text()) : QString());
    const QString description = !m_highlight.isEmpty() ? m_highlight : m_invalid ? missingText() : QString();
    if (m_textField->accessibleDescription() != description)
        m_textField->setAccessibleDescription(description);
    updateUnknownNote();
}

/// For screen readers the focus is in the list after a move there; now it is in the field again.
void QuillonAutocompleter::readField()
{
    if (!m_textField->hasFocus())
        return;
    QAccessibleEvent event(m_textField, QAccessible::Focus);
    QAccessible::updateAccessibility(&event);
}

/// No name contains what is typed; or it was left without matching a name exactly.
bool QuillonAutocompleter::isUnknown() const
{
    const model::QuillonObject* value = selectedValue();
    if (text().isEmpty() || (value && value->displayName() == text()) || m_commands->isComposing())
        return false;
    const bool typing = m_textField->hasFocus() && m_suggestionsLoaded;
    return typing ? m_resultsController.rowCount() == 0 : m_invalid && !value;
}

void QuillonAutocompleter::updateUnknownNote()
{
    const bool unknown = isUnknown() && !manager().first.isNull();
    if (const QString name = unknown ? text().simplified() : QString(); name != m_unknownName) {
        m_unknownName = name;
        emit unknownNameChanged(name);
    }
    if (!unknown && !m_unknownNote)
        return;
    if (!m_unknownNote) {
        m_unknownNote = new HintLabel(lookOf(m_style), m_container);
        m_unknownNote->setObjectName(u"unknownNote"_s);
        m_manageLink = new skin::LinkButton(manager().first, m_container);
        m_manageLink->setObjectName(u"manageLink"_s);
        m_manageLink->setFont(m_unknownNote->font());
        wearLook();
    }
    const bool was = !m_unknownNote->text().isEmpty();
    if (unknown == was)
        return;
    if (unknown) {
        m_manageLink->setVisible(!m_ownerOffersNewOne);
        m_manageLink->setLink(QUrl(settings::QuillonPreferences::sharedPreferences().fullUrl() + manager().second));
        // Before the field: returning to it means typing something else.
        QWidget* before = m_textField->previousInFocusChain();
        while (before->focusProxy() || !(before->focusPolicy() & Qt::TabFocus) || before == m_manageLink)
            before = before->previousInFocusChain();
        QWidget::setTabOrder(before, m_manageLink);
        m_unknownNote->warn(tr("Not found"));
    } else {
        if (m_manageLink->hasFocus())
            m_textField->setFocus();
        m_manageLink->hide();
        m_unknownNote->advise({});
    }
    layOut();
}

void QuillonAutocompleter::layOut()
{
    const QSize size = m_container->size();
    const auto place = [&](QWidget& part, const QRect& box) {
        part.setGeometry(QStyle::visualRect(m_container->layoutDirection(), m_container->rect(), box));
    };
    const int buttonLeft = size.width() - ButtonSize.width() - 1;
    place(*m_popupButton, {{buttonLeft, lookOf(m_style) == Look::Light ? LightButtonTop : DarkButtonTop}, ButtonSize});
    int right = buttonLeft;
    for (QWidget* part : {static_cast<QWidget*>(m_manageLink), static_cast<QWidget*>(m_unknownNote)}) {
        if (part && !part->isHidden()) {
            right -= part->sizeHint().width() + 4;
            place(*part, {right, 1, part->sizeHint().width(), size.height() - 2});
        }
    }
    place(*m_textField, {LeftMargin - 2, 1, right - LeftMargin + 2, size.height() - 2});
    place(*m_fakePlaceholderField, {LeftMargin, 1, buttonLeft - LeftMargin, size.height() - 2});
}

void QuillonAutocompleter::popUpMenu()
{
    m_resultsController.closeResults();
    updatePlaceholderText();
    popupMenu().popUp(*m_container);
}

bool QuillonAutocompleter::eventFilter(QObject* watched, QEvent* event)
{
    if (watched == m_container) {
        if (event->type() == QEvent::Resize)
            layOut();
        else if (event->type() == QEvent::Show)
            prepareSoon();
        return false;
    }
    switch (event->type()) {
    case QEvent::KeyPress: {
        // A delete that found nothing to delete is done.
        m_deletingBackward = false;
        const auto* key = static_cast<QKeyEvent*>(event);
        if (key->key() == Qt::Key_Down && key->modifiers() & Qt::AltModifier) {
            popUpMenu();
            return true;
        }
        break;
    }
    case QEvent::InputMethod:
        m_deletingBackward = false;
        QMetaObject::invokeMethod(this, &QuillonAutocompleter::updatePlaceholderText, Qt::QueuedConnection);
        break;
    case QEvent::ShortcutOverride:
        // An open drop-down comes before the window's shortcuts.
        if (m_resultsController.visible() && textCommand(*static_cast<QKeyEvent*>(event)))
            event->accept();
        break;
    case QEvent::WindowActivate:
        // The toolkit looks a turn later whether the field has the keyboard, and drops the selection otherwise: when
        // the window lost it again at once, what is typed next would be appended instead of replacing.
        return m_textField->window()->focusWidget() == m_textField;
    case QEvent::FocusOut: {
        const Qt::FocusReason reason = static_cast<QFocusEvent*>(event)->reason();
        // A deactivated window, or a menu, leaves the field as it is.
        if (reason != Qt::ActiveWindowFocusReason && reason != Qt::PopupFocusReason)
            controlTextDidEndEditing();
        m_resultsController.closeResults();
        updatePlaceholderText();
        break;
    }
    default:
        break;
    }
    return false;
}

} // namespace editing
