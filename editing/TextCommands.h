#pragma once

#include <QObject>

#include <functional>
#include <optional>

class QKeyEvent;
class QWidget;

namespace editing {

/// What the windows here handle themselves of the keys pressed in a text field.
enum class TextCommand
{
    MoveUp,
    MoveDown,
    InsertNewline,
    InsertLineBreak, ///< Return with Alt or Shift: a new line where plain Return means something else
    InsertTab,
    DeleteBackward, ///< any key that deletes, or brings an earlier text back
    Complete,       ///< Escape: ends suggestions
};

/// Empty: the field handles the key itself.
std::optional<TextCommand> textCommand(const QKeyEvent& key);

/// Offers the commands of one field to `handle` before the field sees the key. True: the field never does.
///
/// While an input method composes no command is offered: its keys are its own. A Return that is held down is one
/// command. Owned by the field.
class TextCommands final : public QObject
{
    Q_OBJECT
public:
    TextCommands(QWidget& field, std::function<bool(TextCommand)> handle);

    /// An input method holds text that it has not handed over.
    bool isComposing() const { return m_composing; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<bool(TextCommand)> m_handle;
    bool m_composing = false;
};

} // namespace editing
