#pragma once

#include "skin/Appearance.h"

#include <QByteArray>
#include <QColor>

namespace skin {

/// What a colour is for. `ColorTable.h` says what each is in every look.
enum class Role
{
#define COLOR(role, light, dark, clearLight, clearDark) role,
#include "skin/ColorTable.h"
#undef COLOR
};

/// In the present look.
QColor color(Role role);

/// Replaces each "$Name" in `text` by the colour of that role, such as "#eeeeee". Veils come out opaque.
QByteArray withColors(QByteArray text);

} // namespace skin
