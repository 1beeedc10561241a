#pragma once

#include <QtGlobal>

namespace settings {

/// A key with its modifiers. Codes and flags are those of the field's desktop that the settings came from: virtual key
/// codes of a US keyboard, and a mask in which each modifier has one bit.
struct KeyCombo
{
    static constexpr quint64 Shift = 0x20000;
    static constexpr quint64 Control = 0x40000;
    static constexpr quint64 Option = 0x80000;
    static constexpr quint64 Command = 0x100000;

    static constexpr qint64 NoKey = -1;

    quint64 flags = 0;
    qint64 code = NoKey;

    bool operator==(const KeyCombo&) const = default;
};

} // namespace settings
