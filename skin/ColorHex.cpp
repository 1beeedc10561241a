#include "skin/ColorHex.h"

#include <charconv>
#include <limits>

namespace skin {
namespace {

/// Spaces and "0x" may lead; the number ends before the first other character and stops growing at its largest value.
quint32 scanHex(const QString& text)
{
    QByteArray digits = text.trimmed().toLatin1();
    if (digits.toLower().startsWith("0x"))
        digits.remove(0, 2);
    quint32 value = 0;
    const auto scanned = std::from_chars(digits.begin(), digits.end(), value, 16);
    return scanned.ec == std::errc::result_out_of_range ? std::numeric_limits<quint32>::max() : value;
}

} // namespace

QColor colorFromHexRGB(const QString& text)
{
    return colorFromHexRGB(text, 1.0f);
}

QColor colorFromHexRGB(const QString& text, float alpha)
{
    const quint32 code = scanHex(text);
    const auto part = [code](int shift) { return static_cast<float>((code >> shift) & 0xffu) / 255.0f; };
    return QColor::fromRgbF(part(16), part(8), part(0), alpha);
}

} // namespace skin
