#include "skin/LineCount.h"

#include <QFontMetricsF>
#include <QStringTokenizer>

#include <algorithm>
#include <array>

namespace skin {

namespace {

/// The scripts of which a word is never broken and a character is as wide as by itself, up to the kerning.
constexpr char16_t End = 0x180;

// What kerning makes of a word at most, times the widths of its characters; it nearly always narrows.
constexpr double Narrowest = 0.9;
constexpr double Widest = 1.03;

/// Points by which a line is taken to be narrower or wider than it is: positions may be rounded.
constexpr double Rounding = 2;

class CharacterWidths
{
public:
    static const CharacterWidths& of(const QFont& font)
    {
        static CharacterWidths s_last;
        if (s_last.m_font != font)
            s_last = CharacterWidths(font);
        return s_last;
    }

    double of(QChar character) const
    {
        double& width = m_widths[character.unicode()];
        if (width == Unknown)
            width = QFontMetricsF(m_font).horizontalAdvance(character);
        return width;
    }

private:
    static constexpr double Unknown = -1;

    explicit CharacterWidths(const QFont& font = {}) : m_font(font) { m_widths.fill(Unknown); }

    QFont m_font;
    mutable std::array<double, End> m_widths;
};

bool isPlain(QChar character)
{
    return character.unicode() < End && (character.isLetter() || character.isDigit());
}

/// Whether no line is broken inside the word: letters and digits, with marks before and after them and within a number.
bool isUnbroken(QStringView word)
{
    const QStringView opening(u"(#"), closing(u".,:;)");
    while (!word.isEmpty() && opening.contains(word.front()))
        word = word.sliced(1);
    while (!word.isEmpty() && closing.contains(word.back()))
        word.chop(1);
    for (qsizetype i = 0; i < word.size(); ++i) {
        const bool isInNumber = i > 0 && i + 1 < word.size() && QStringView(u".,:").contains(word[i]) &&
                                word[i - 1].isDigit() && word[i + 1].isDigit();
        if (!isPlain(word[i]) && !isInNumber)
            return false;
    }
    return !word.isEmpty();
}

/// Fills lines with words, which are as wide as they can be told to be times a factor.
class Lines
{
public:
    Lines(double width, double factor) : m_width(std::max(width, 0.0) / factor) {}

    /// Whether the word fits in a line.
    bool add(double space, double word)
    {
        m_used += space + word;
        if (m_used > m_width) {
            ++count;
            m_used = word;
        }
        return word <= m_width;
    }
    int count = 1;

private:
    double m_width;
    double m_used = 0;
};

} // namespace

std::optional<int> knownLineCount(const QString& text, double width, const QFont& font)
{
    const CharacterWidths& widths = CharacterWidths::of(font);
    Lines fewest(width + Rounding, Narrowest);
    Lines most(width - Rounding, Widest);
    double space = 0;
    for (const QStringView word : QStringView(text).tokenize(u' ')) {
        if (!isUnbroken(word))
            return std::nullopt;
        double advance = 0;
        for (const QChar character : word)
            advance += widths.of(character);
        if (!fewest.add(space, advance) || !most.add(space, advance))
            return std::nullopt;
        space = widths.of(u' ');
    }
    return fewest.count == most.count ? std::optional(most.count) : std::nullopt;
}

} // namespace skin
