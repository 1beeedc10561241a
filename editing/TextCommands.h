#pragma once

#include <QObject>

#include <functional>
#include <optional>

class QKeyEvent;
class QWidget;

namespace editing {

/// Keys in a text field that these windows handle themselves.
enum class TextCommand
{
    MoveUp,
    MoveDown,
    InsertNewline,
    InsertLineBreak, ///< Return with Alt or Shift: a new line where plain Return means something else
    InsertTab,
    DeleteBackward, ///< any key that deletes, or restores an earlier text
    Complete,       ///< Escape: ends suggestions
};

/// Empty: the field handles the key itself.
std::optional<TextCommand> textCommand(const QKeyEvent& key);

/// Offers one field's commands to `handle` before the field gets the key. True: the field never does.
///
/// While an input method composes no command is offered: it needs its keys. A Return that is held down is one command.
/// Owned by the field.
class TextCommands final : public QObject
{
    Q_OBJECT
public:
    TextCommands(QWidget& field, std::function<bool(TextCommand)> handle);

    /// An input method holds text not yet committed.
    bool isComposing() const { return m_composing; }

    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    std::function<bool(TextCommand)> m_handle;
    bool m_composing = false;
};

} // namespace editing
