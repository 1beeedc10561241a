#include "LongText.h"

#include <QScreen>
#include <QTextDocument>

#include <algorithm>

namespace platform {

namespace {

constexpr qsizetype LongestPiece = 2000;

/// The string with a line break at least every few thousand characters, at a space where there is one. Qt lays out a
/// whole paragraph, however little of it is visible.
QString inPieces(const QString& text)
{
    QString pieces;
    pieces.reserve(text.size() + text.size() / LongestPiece + 1);
    QStringView rest(text);
    while (rest.size() > LongestPiece) {
        const QStringView piece = rest.first(LongestPiece);
        qsizetype end = piece.lastIndexOf(u'\n');
        if (end < 0)
            end = piece.lastIndexOf(u' ');
        const bool insteadOfBlank = end >= 0;
        if (!insteadOfBlank)
            end = LongestPiece - (piece.back().isHighSurrogate() ? 1 : 0);
        pieces += rest.first(end);
        pieces += u'\n';
        rest = rest.sliced(insteadOfBlank ? end + 1 : end);
    }
    return pieces += rest;
}

} // namespace

LongText::LongText(int width, QWidget* parent) : QPlainTextEdit(parent)
{
    setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    setTabChangesFocus(true);
    setWordWrapMode(QTextOption::WrapAtWordBoundaryOrAnywhere);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    setFixedWidth(width);
}

void LongText::setText(const QString& text)
{
    if (text == m_text)
        return;
    m_text = text;
    setPlainText(inPieces(text));
    int height = std::min(280, screen()->availableGeometry().height() * 2 / 5);
    if (text.size() <= LongestPiece) {
        // Two lines more, because lines end at words.
        const int margin = static_cast<int>(document()->documentMargin()) + frameWidth();
        const QRect lines(0, 0, width() - 2 * margin, 0);
        height = std::min(height, fontMetrics().boundingRect(lines, Qt::TextWrapAnywhere, text).height() +
                                      2 * fontMetrics().lineSpacing() + 2 * margin);
    }
    setFixedHeight(height);
}

} // namespace platform
