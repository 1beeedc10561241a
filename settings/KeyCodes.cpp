#include "KeyCodes.h"

#include <algorithm>
#include <array>

namespace settings {

namespace {

struct Key
{
    qint64 code;
    int evdev;
    const char* name;
};

// By code, as on a US keyboard.
constexpr auto Keys = std::to_array<Key>({
    // clang-format off
    {0, 30, "A"}, {1, 31, "S"}, {2, 32, "D"}, {3, 33, "F"}, {4, 35, "H"}, {5, 34, "G"}, {6, 44, "Z"}, {7, 45, "X"},
    {8, 46, "C"}, {9, 47, "V"}, {11, 48, "B"}, {12, 16, "Q"}, {13, 17, "W"}, {14, 18, "E"}, {15, 19, "R"},
    {16, 21, "Y"}, {17, 20, "T"}, {18, 2, "1"}, {19, 3, "2"}, {20, 4, "3"}, {21, 5, "4"}, {22, 7, "6"}, {23, 6, "5"},
    {24, 13, "="}, {25, 10, "9"}, {26, 8, "7"}, {27, 12, "-"}, {28, 9, "8"}, {29, 11, "0"}, {30, 27, "]"},
    {31, 24, "O"}, {32, 22, "U"}, {33, 26, "["}, {34, 23, "I"}, {35, 25, "P"}, {36, 28, "Return"}, {37, 38, "L"},
    {38, 36, "J"}, {39, 40, "'"}, {40, 37, "K"}, {41, 39, ";"}, {42, 43, "\\"}, {43, 51, ","}, {44, 53, "/"},
    {45, 49, "N"}, {46, 50, "M"}, {47, 52, "."}, {48, 15, "Tab"}, {49, 57, "Space"}, {50, 41, "`"},
    {51, 14, "Backspace"}, {53, 1, "Escape"}, {96, 63, "F5"}, {97, 64, "F6"}, {98, 65, "F7"}, {99, 61, "F3"},
    {100, 66, "F8"}, {101, 67, "F9"}, {103, 87, "F11"}, {109, 68, "F10"}, {111, 88, "F12"}, {115, 102, "Home"},
    {116, 104, "Page Up"}, {117, 111, "Delete"}, {118, 62, "F4"}, {119, 107, "End"}, {120, 60, "F2"},
    {121, 109, "Page Down"}, {122, 59, "F1"}, {123, 105, "Left"}, {124, 106, "Right"}, {125, 108, "Down"},
    {126, 103, "Up"},
    // clang-format on
});

template <class Member, class Number>
const Key* keyWith(Member member, Number number)
{
    const auto found = std::find_if(Keys.begin(), Keys.end(), [&](const Key& key) { return key.*member == number; });
    return found != Keys.end() ? &*found : nullptr;
}

struct Modifier
{
    quint64 flag;
    Qt::KeyboardModifier modifier;
};

constexpr auto Modifiers = std::to_array<Modifier>({
    {KeyCombo::Shift, Qt::ShiftModifier},
    {KeyCombo::Control, Qt::MetaModifier},
    {KeyCombo::Option, Qt::AltModifier},
    {KeyCombo::Command, Qt::ControlModifier},
});

} // namespace

QString SRStringForKeyCode(qint64 code)
{
    const Key* key = keyWith(&Key::code, code);
    return key ? QString::fromLatin1(key->name) : QString();
}

QKeySequence keySequence(const KeyCombo& combo)
{
    const QKeySequence key(SRStringForKeyCode(combo.code), QKeySequence::PortableText);
    if (key.isEmpty())
        return {};
    Qt::KeyboardModifiers pressed;
    for (const Modifier& modifier : Modifiers)
        pressed.setFlag(modifier.modifier, combo.flags & modifier.flag);
    return QKeyCombination(pressed, key[0].key());
}

std::optional<int> evdevCode(qint64 code)
{
    const Key* key = keyWith(&Key::code, code);
    return key ? std::optional(key->evdev) : std::nullopt;
}

std::optional<qint64> codeForEvdev(int evdev)
{
    const Key* key = keyWith(&Key::evdev, evdev);
    return key ? std::optional(key->code) : std::nullopt;
}

quint64 keyFlags(Qt::KeyboardModifiers pressed)
{
    quint64 flags = 0;
    for (const Modifier& modifier : Modifiers) {
        if (pressed.testFlag(modifier.modifier))
            flags |= modifier.flag;
    }
    return flags;
}

} // namespace settings
