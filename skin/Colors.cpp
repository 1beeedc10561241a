#include "skin/Colors.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace skin {

namespace {

/// An opaque colour, red first, or with `veil` a translucent one.
struct Paint
{
    constexpr Paint(QRgb rgb, int alpha = 255) : rgba((rgb & 0xFFFFFFU) | (QRgb(alpha) << 24U)) {}

    QRgb rgba;
};

constexpr Paint veil(QRgb rgb, int alpha)
{
    return {rgb, alpha};
}

struct Entry
{
    std::string_view name;
    std::array<Paint, 4> paints; ///< in the order of the schemes
};

constexpr std::array Table{
#define COLOR(role, light, dark, clearLight, clearDark) Entry{#role, {light, dark, clearLight, clearDark}},
#include "skin/ColorTable.h"
#undef COLOR
};

QColor colorOf(const Entry& entry)
{
    return QColor::fromRgba(entry.paints.at(static_cast<std::size_t>(appearance().scheme)).rgba);
}

bool isLetter(char character)
{
    return (character >= 'A' && character <= 'Z') || (character >= 'a' && character <= 'z');
}

} // namespace

QColor color(Role role)
{
    return colorOf(Table.at(static_cast<std::size_t>(role)));
}

QByteArray withColors(QByteArray text)
{
    for (qsizetype at = text.indexOf('$'); at >= 0; at = text.indexOf('$', at)) {
        qsizetype end = at + 1;
        while (end < text.size() && isLetter(text.at(end)))
            ++end;
        const std::string_view name(text.constData() + at + 1, std::size_t(end - at - 1));
        const auto* const entry =
            std::find_if(Table.begin(), Table.end(), [name](const Entry& known) { return known.name == name; });
        Q_ASSERT(entry != Table.end());
        text.replace(at, end - at, colorOf(*entry).name().toLatin1());
    }
    return text;
}

} // namespace skin
