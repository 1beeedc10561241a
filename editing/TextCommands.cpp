#include "editing/TextCommands.h"

#include <QInputMethodEvent>
#include <QKeyEvent>
#include <QWidget>

#include <algorithm>
#include <utility>

namespace editing {

std::optional<TextCommand> textCommand(const QKeyEvent& key)
{
    static constexpr QKeySequence::StandardKey deleting[] = {QKeySequence::Backspace,
                                                             QKeySequence::Delete,
                                                             QKeySequence::DeleteStartOfWord,
                                                             QKeySequence::DeleteEndOfWord,
                                                             QKeySequence::DeleteEndOfLine,
                                                             QKeySequence::DeleteCompleteLine,
                                                             QKeySequence::Cut,
                                                             QKeySequence::Undo,
                                                             QKeySequence::Redo};
    if (std::any_of(std::begin(deleting), std::end(deleting), [&](auto standard) { return key.matches(standard); }))
        return TextCommand::DeleteBackward;

    const Qt::KeyboardModifiers modifiers = key.modifiers() & ~Qt::KeypadModifier;
    switch (key.key()) {
    case Qt::Key_Return:
    case Qt::Key_Enter:
        return modifiers & (Qt::AltModifier | Qt::ShiftModifier) ? TextCommand::InsertLineBreak
                                                                 : TextCommand::InsertNewline;
    case Qt::Key_Backspace:
        return TextCommand::DeleteBackward; // with Shift, too
    default:
        break;
    }
    if (modifiers)
        return std::nullopt;
    switch (key.key()) {
    case Qt::Key_Up:
        return TextCommand::MoveUp;
    case Qt::Key_Down:
        return TextCommand::MoveDown;
    case Qt::Key_Tab:
        return TextCommand::InsertTab;
    case Qt::Key_Escape:
        return TextCommand::Complete;
    default:
        return std::nullopt;
    }
}

TextCommands::TextCommands(QWidget& field, std::function<bool(TextCommand)> handle)
    : QObject(&field), m_handle(std::move(handle))
{
    field.installEventFilter(this);
}

bool TextCommands::eventFilter(QObject* /*watched*/, QEvent* event)
{
    switch (event->type()) {
    case QEvent::InputMethod:
        m_composing = !static_cast<QInputMethodEvent*>(event)->preeditString().isEmpty();
        return false;
    case QEvent::FocusOut:
        m_composing = false;
        return false;
    case QEvent::KeyPress: {
        const auto& key = *static_cast<QKeyEvent*>(event);
        const std::optional<TextCommand> command = textCommand(key);
        if (!command || m_composing)
            return false;
        const bool held = key.isAutoRepeat() && command == TextCommand::InsertNewline;
        return held || m_handle(*command);
    }
    default:
        return false;
    }
}

} // namespace editing
