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

/// A text in which "$Name" names the role with that name, with all of them replaced by colours such as "#eeeeee". What
/// is a veil elsewhere is opaque here.
QByteArray withColors(QByteArray text);

} // namespace skin
