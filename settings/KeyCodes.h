#pragma once

#include "settings/KeyCombo.h"

#include <QKeySequence>
#include <QString>

#include <optional>

namespace settings {

/// The name of the key on a US keyboard: "M", "F5", "Space". Empty for no key and for unknown ones.
QString SRStringForKeyCode(qint64 code);

/// The combination in the desktop's terms: command is Ctrl, option Alt, control Super. Empty without a known key.
QKeySequence keySequence(const KeyCombo& combo);

/// The physical key in the numbers of the kernel's input layer (linux/input-event-codes.h), and back.
std::optional<int> evdevCode(qint64 code);
std::optional<qint64> codeForEvdev(int evdev);

/// The flags for pressed modifier keys.
quint64 keyFlags(Qt::KeyboardModifiers modifiers);

} // namespace settings
