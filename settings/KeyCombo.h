#pragma once

#include <QtGlobal>

namespace settings {

/// A key with its modifiers, as stored in the settings: the virtual key code that macOS gives to the physical key
/// (HIToolbox, Events.h), and a mask in which each modifier has the bit of NSEvent's modifier flags.
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
