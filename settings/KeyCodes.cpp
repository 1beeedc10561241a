#include "KeyCodes.h"

#include <algorithm>
#include <array>

namespace settings {

namespace {

struct Key
{
    qint64 code;
    int evdev;
    Qt::Key key;
    const char* name;
};

// By code, as on a US keyboard.
constexpr auto keys = std::to_array<Key>({
    // clang-format off
    {0, 30, Qt::Key_A, "A"},
    {1, 31, Qt::Key_S, "S"},
    {2, 32, Qt::Key_D, "D"},
    {3, 33, Qt::Key_F, "F"},
    {4, 35, Qt::Key_H, "H"},
    {5, 34, Qt::Key_G, "G"},
    {6, 44, Qt::Key_Z, "Z"},
    {7, 45, Qt::Key_X, "X"},
    {8, 46, Qt::Key_C, "C"},
    {9, 47, Qt::Key_V, "V"},
    {11, 48, Qt::Key_B, "B"},
    {12, 16, Qt::Key_Q, "Q"},
    {13, 17, Qt::Key_W, "W"},
    {14, 18, Qt::Key_E, "E"},
    {15, 19, Qt::Key_R, "R"},
    {16, 21, Qt::Key_Y, "Y"},
    {17, 20, Qt::Key_T, "T"},
    {18, 2, Qt::Key_1, "1"},
    {19, 3, Qt::Key_2, "2"},
    {20, 4, Qt::Key_3, "3"},
    {21, 5, Qt::Key_4, "4"},
    {22, 7, Qt::Key_6, "6"},
    {23, 6, Qt::Key_5, "5"},
    {24, 13, Qt::Key_Equal, "="},
    {25, 10, Qt::Key_9, "9"},
    {26, 8, Qt::Key_7, "7"},
    {27, 12, Qt::Key_Minus, "-"},
    {28, 9, Qt::Key_8, "8"},
    {29, 11, Qt::Key_0, "0"},
    {30, 27, Qt::Key_BracketRight, "]"},
    {31, 24, Qt::Key_O, "O"},
    {32, 22, Qt::Key_U, "U"},
    {33, 26, Qt::Key_BracketLeft, "["},
    {34, 23, Qt::Key_I, "I"},
    {35, 25, Qt::Key_P, "P"},
    {36, 28, Qt::Key_Return, "Return"},
    {37, 38, Qt::Key_L, "L"},
    {38, 36, Qt::Key_J, "J"},
    {39, 40, Qt::Key_Apostrophe, "'"},
    {40, 37, Qt::Key_K, "K"},
    {41, 39, Qt::Key_Semicolon, ";"},
    {42, 43, Qt::Key_Backslash, "\\"},
    {43, 51, Qt::Key_Comma, ","},
    {44, 53, Qt::Key_Slash, "/"},
    {45, 49, Qt::Key_N, "N"},
    {46, 50, Qt::Key_M, "M"},
    {47, 52, Qt::Key_Period, "."},
    {48, 15, Qt::Key_Tab, "Tab"},
    {49, 57, Qt::Key_Space, "Space"},
    {50, 41, Qt::Key_QuoteLeft, "`"},
    {51, 14, Qt::Key_Backspace, "Backspace"},
    {53, 1, Qt::Key_Escape, "Escape"},
    {96, 63, Qt::Key_F5, "F5"},
    {97, 64, Qt::Key_F6, "F6"},
    {98, 65, Qt::Key_F7, "F7"},
    {99, 61, Qt::Key_F3, "F3"},
    {100, 66, Qt::Key_F8, "F8"},
    {101, 67, Qt::Key_F9, "F9"},
    {103, 87, Qt::Key_F11, "F11"},
    {109, 68, Qt::Key_F10, "F10"},
    {111, 88, Qt::Key_F12, "F12"},
    {115, 102, Qt::Key_Home, "Home"},
    {116, 104, Qt::Key_PageUp, "Page Up"},
    {117, 111, Qt::Key_Delete, "Delete"},
    {118, 62, Qt::Key_F4, "F4"},
    {119, 107, Qt::Key_End, "End"},
    {120, 60, Qt::Key_F2, "F2"},
    {121, 109, Qt::Key_PageDown, "Page Down"},
    {122, 59, Qt::Key_F1, "F1"},
    {123, 105, Qt::Key_Left, "Left"},
    {124, 106, Qt::Key_Right, "Right"},
    {125, 108, Qt::Key_Down, "Down"},
    {126, 103, Qt::Key_Up, "Up"},
    // clang-format on
});

template <class Member, class Number>
const Key* keyWith(Member member, Number number)
{
    const auto found = std::find_if(keys.begin(), keys.end(), [&](const Key& key) { return key.*member == number; });
    return found != keys.end() ? &*found : nullptr;
}

struct Modifier
{
    quint64 flag;
    Qt::KeyboardModifier modifier;
};

constexpr auto modifiers = std::to_array<Modifier>({
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
    const Key* key = keyWith(&Key::code, combo.code);
    if (!key)
        return {};
    Qt::KeyboardModifiers pressed;
    for (const Modifier& modifier : modifiers)
        pressed.setFlag(modifier.modifier, combo.flags & modifier.flag);
    return QKeyCombination(pressed, key->key);
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
    for (const Modifier& modifier : modifiers) {
        if (pressed.testFlag(modifier.modifier))
            flags |= modifier.flag;
    }
    return flags;
}

} // namespace settings
