#pragma once

#include <QColor>
#include <QString>

namespace skin {

/// The opaque colour that six hexadecimal digits name, red first, without "#". Text that is not a number gives black.
QColor colorFromHexRGB(const QString& text);

/// The same with an opacity from 0 to 1.
QColor colorFromHexRGB(const QString& text, float alpha);

} // namespace skin
