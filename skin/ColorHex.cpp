#include "skin/ColorHex.h"

#include <limits>

namespace skin {
namespace {

int hexDigit(QChar c)
{
    const char16_t u = c.unicode();
    if (u >= u'0' && u <= u'9')
        return u - u'0';
    if (u >= u'a' && u <= u'f')
        return u - u'a' + 10;
    if (u >= u'A' && u <= u'F')
        return u - u'A' + 10;
    return -1;
}

/// Blanks and "0x" may lead; the number ends before the first other character and stops growing at its largest value.
quint32 scanHex(QStringView text)
{
    while (!text.isEmpty() && text.front().isSpace())
        text = text.sliced(1);
    if (text.startsWith(u"0x", Qt::CaseInsensitive))
        text = text.sliced(2);
    quint64 value = 0;
    for (const QChar c : text) {
        const int digit = hexDigit(c);
        if (digit < 0)
            break;
        value = value * 16 + static_cast<quint64>(digit);
        if (value > std::numeric_limits<quint32>::max())
            return std::numeric_limits<quint32>::max();
    }
    return static_cast<quint32>(value);
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
