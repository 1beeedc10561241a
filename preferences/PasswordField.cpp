#include "preferences/PasswordField.h"

#include "skin/AccessibleRole.h"
#include "skin/Image.h"

#include <QAccessibleWidget>
#include <QEvent>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QMouseEvent>
#include <QToolButton>

namespace preferences {

namespace {

constexpr int ButtonSize = 22;
constexpr int IconSize = 16;

QString dots(const QString& text)
{
    return QString(text.size(), QChar(0x2022));
}

class PasswordFieldAccessible final : public QAccessibleWidget,
                                      public QAccessibleTextInterface,
                                      public QAccessibleEditableTextInterface
{
public:
    explicit PasswordFieldAccessible(PasswordField& field) : QAccessibleWidget(&field, QAccessible::EditableText) {}

    QAccessible::State state() const override
    {
        QAccessible::State state = QAccessibleWidget::state();
        state.passwordEdit = true;
        state.editable = true;
        state.focusable = true;
        return state;
    }

    QString text(QAccessible::Text kind) const override
    {
        return kind == QAccessible::Value ? dots() : QAccessibleWidget::text(kind);
    }
    void setText(QAccessible::Text kind, const QString& text) override
    {
        if (kind == QAccessible::Value)
            field().setText(text);
    }

    void* interface_cast(QAccessible::InterfaceType type) override
    {
        if (type == QAccessible::TextInterface)
            return static_cast<QAccessibleTextInterface*>(this);
        if (type == QAccessible::EditableTextInterface)
            return static_cast<QAccessibleEditableTextInterface*>(this);
        return QAccessibleWidget::interface_cast(type);
    }

    void selection(int index, int* start, int* end) const override
    {
        *start = *end = 0;
        if (index == 0 && field().hasSelectedText()) {
            *start = field().selectionStart();
            *end = field().selectionEnd();
        }
    }
    int selectionCount() const override { return field().hasSelectedText() ? 1 : 0; }
    void addSelection(int start, int end) override { setSelection(0, start, end); }
    void removeSelection(int index) override
    {
        if (index == 0)
            field().deselect();
    }
    void setSelection(int index, int start, int end) override
    {
        if (index == 0)
            field().setSelection(start, end - start);
    }
    int cursorPosition() const override { return field().cursorPosition(); }
    void setCursorPosition(int position) override { field().setCursorPosition(position); }
    QString text(int start, int end) const override { return dots().mid(start, end - start); }
    int characterCount() const override { return static_cast<int>(field().text().size()); }
    QRect characterRect(int /*offset*/) const override { return {}; }
    int offsetAtPoint(const QPoint& point) const override
    {
        return field().cursorPositionAt(field().mapFromGlobal(point));
    }
    void scrollToSubstring(int start, int /*end*/) override { field().setCursorPosition(start); }
    QString attributes(int offset, int* start, int* end) const override
    {
        *start = *end = offset;
        return {};
    }

    void deleteText(int start, int end) override { replaceText(start, end, {}); }
    void insertText(int offset, const QString& text) override { replaceText(offset, offset, text); }
    void replaceText(int start, int end, const QString& text) override
    {
        field().setText(field().text().replace(start, end - start, text));
    }

private:
    PasswordField& field() const { return *static_cast<PasswordField*>(object()); }
    QString dots() const { return preferences::dots(field().text()); }
};

QAccessible::UpdateHandler s_nextHandler = nullptr;

void tellDotsOnly(QAccessibleEvent* event);

void passOn(QAccessibleEvent* event)
{
    QAccessible::installUpdateHandler(s_nextHandler);
    QAccessible::updateAccessibility(event);
    QAccessible::installUpdateHandler(tellDotsOnly);
}

/// A line edit reports every typed character, even in password fields, and only here can that be stopped.
void tellDotsOnly(QAccessibleEvent* event)
{
    auto* field = qobject_cast<PasswordField*>(event->object());
    if (field && event->type() == QAccessible::TextInserted) {
        const auto& told = static_cast<const QAccessibleTextInsertEvent&>(*event);
        QAccessibleTextInsertEvent masked(field, told.changePosition(), dots(told.textInserted()));
        passOn(&masked);
    } else if (field && event->type() == QAccessible::TextRemoved) {
        const auto& told = static_cast<const QAccessibleTextRemoveEvent&>(*event);
        QAccessibleTextRemoveEvent masked(field, told.changePosition(), dots(told.textRemoved()));
        passOn(&masked);
    } else if (field && event->type() == QAccessible::TextUpdated) {
        const auto& told = static_cast<const QAccessibleTextUpdateEvent&>(*event);
        QAccessibleTextUpdateEvent masked(field, told.changePosition(), dots(told.textRemoved()),
                                          dots(told.textInserted()));
        passOn(&masked);
    } else if (field && event->type() == QAccessible::ValueChanged) {
        QAccessibleValueChangeEvent masked(field, dots(field->text()));
        passOn(&masked);
    } else {
        passOn(event);
    }
}

} // namespace

PasswordField::PasswordField(QWidget* parent) : QLineEdit(parent), m_show(new QToolButton(this))
{
    skin::installAccessible<PasswordField, PasswordFieldAccessible>();
    [[maybe_unused]] static const bool listening = [] {
        s_nextHandler = QAccessible::installUpdateHandler(tellDotsOnly);
        return true;
    }();
    m_show->setObjectName(QStringLiteral("showPasswordButton"));
    m_show->setCheckable(true);
    m_show->setAutoRaise(true);
    m_show->setCursor(Qt::ArrowCursor);
    m_show->setFocusPolicy(Qt::TabFocus);
    m_show->setAccessibleName(tr("Show Password"));
    m_show->setIconSize({IconSize, IconSize});
    m_show->setFixedSize(ButtonSize, ButtonSize);
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(2, 2, 2, 2);
    row->addWidget(m_show, 0, Qt::AlignRight);
    setTextMargins(isRightToLeft() ? ButtonSize + 2 : 0, 0, isRightToLeft() ? 0 : ButtonSize + 2, 0);
    setDragEnabled(false);
    setShown(false);
    connect(m_show, &QToolButton::toggled, this, &PasswordField::setShown);
}

void PasswordField::setShown(bool shown)
{
    setEcho(shown ? Normal : Password);
    m_show->setChecked(shown);
    m_show->setToolTip(shown ? tr("Hide the password") : tr("Show the password"));
    updateIcon();
}

void PasswordField::changeEvent(QEvent* event)
{
    QLineEdit::changeEvent(event);
    if (event->type() == QEvent::PaletteChange || event->type() == QEvent::StyleChange)
        updateIcon();
}

void PasswordField::setEcho(EchoMode mode)
{
    setEchoMode(mode);
    // Setting the echo mode resets these, and they are wanted for a visible password, too.
    setInputMethodHints(Qt::ImhHiddenText | Qt::ImhSensitiveData | Qt::ImhNoPredictiveText | Qt::ImhNoAutoUppercase);
}

void PasswordField::keyPressEvent(QKeyEvent* event)
{
    const bool selects = event->matches(QKeySequence::SelectAll) ||
                         (event->modifiers().testFlag(Qt::ShiftModifier) && event->text().isEmpty());
    if (!isShown() || !selects || event->matches(QKeySequence::Copy) || event->matches(QKeySequence::Cut)) {
        QLineEdit::keyPressEvent(event);
        return;
    }
    // A line edit offers text selected by keyboard as the primary selection, but must not from a hidden password.
    setEcho(Password);
    QLineEdit::keyPressEvent(event);
    setEcho(Normal);
}

void PasswordField::mouseReleaseEvent(QMouseEvent* event)
{
    // A line edit would now offer the selection to every window; nothing else is lost.
    if (event->button() == Qt::LeftButton && isShown())
        event->accept();
    else
        QLineEdit::mouseReleaseEvent(event);
}

void PasswordField::updateIcon()
{
    m_show->setIcon(skin::imageNamed(isShown() ? "prefs-hide.png" : "prefs-show.png")
                        .pixmap(devicePixelRatioF(), palette().text().color()));
}

} // namespace preferences
