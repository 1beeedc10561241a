#include "editing/TextFields.h"

#include "skin/Colors.h"
#include "skin/Fonts.h"
#include "skin/QuillonTextFieldBackground.h"

#include <QBoxLayout>
#include <QMimeData>
#include <QPaintEvent>
#include <QScrollBar>
#include <QTextBlock>

#include <algorithm>
#include <cmath>
#include <vector>

namespace editing {

using namespace Qt::StringLiterals;
using skin::color;
using skin::Role;

namespace {

constexpr int FontPoints = 13;
constexpr qsizetype LongestPiece = 2000; ///< characters of a paragraph laid out at once, except for the last word
constexpr qsizetype LongestWord = 200;
/// Of a block's format: it continues the line of the previous one. Unlike a block's state, undo restores it.
constexpr int Continued = QTextFormat::UserProperty;

void makeSlim(QScrollBar& bar, Look look)
{
    const bool light = look == Look::Light && color(Role::Field).lightnessF() > 0.5;
    const QString shade = light ? u"0, 0, 0"_s : u"255, 255, 255"_s;
    bar.setStyleSheet(u"QScrollBar:vertical { background: transparent; width: 8px; margin: 1px; }"
                      "QScrollBar::handle:vertical { background: rgba(%1, 35%); border-radius: 3px; min-height: 14px; }"
                      "QScrollBar::handle:vertical:hover { background: rgba(%1, 55%); }"
                      "QScrollBar::add-line, QScrollBar::sub-line { height: 0; }"
                      "QScrollBar::add-page, QScrollBar::sub-page { background: none; }"_s.arg(shade));
}

} // namespace

QPalette fieldPalette(Look look)
{
    const bool hud = look == Look::Dark;
    const QColor text = color(hud ? Role::HudFieldText : Role::FieldText);
    QPalette palette;
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::PlaceholderText, color(hud ? Role::HudFieldPrompt : Role::FieldPrompt));
    palette.setColor(QPalette::Highlight, color(hud ? Role::HudFieldHighlight : Role::FieldHighlight));
    palette.setColor(QPalette::HighlightedText, color(hud ? Role::HudFieldHighlightText : Role::FieldHighlightText));
    palette.setColor(QPalette::Disabled, QPalette::Text,
                     color(hud ? Role::HudFieldDisabledText : Role::FieldDisabledText));
    return palette;
}

QPalette listPalette(Look look)
{
    const bool hud = look == Look::Dark;
    QPalette palette;
    palette.setColor(QPalette::Window, color(hud ? Role::HudList : Role::List));
    palette.setColor(QPalette::Base, palette.color(QPalette::Window));
    palette.setColor(QPalette::Mid, color(hud ? Role::HudListEdge : Role::ListEdge));
    palette.setColor(QPalette::Midlight, color(hud ? Role::HudListHover : Role::ListHover));
    palette.setColor(QPalette::Text, color(hud ? Role::HudListText : Role::ListText));
    palette.setColor(QPalette::Disabled, QPalette::Text, color(hud ? Role::HudListLabel : Role::ListLabel));
    palette.setColor(QPalette::Highlight, color(hud ? Role::HudListHighlight : Role::ListHighlight));
    palette.setColor(QPalette::HighlightedText, color(hud ? Role::HudListHighlightText : Role::ListHighlightText));
    return palette;
}

void dress(QLineEdit& field, Look look)
{
    field.setFrame(false);
    skin::dressed(field, [&field, look] { field.setPalette(fieldPalette(look)); });
    field.setFont(skin::interfaceFont(FontPoints));
}

skin::QuillonTextFieldBackground* frame(QWidget& field, Look look, QMargins inside)
{
    auto* background = new skin::QuillonTextFieldBackground;
    background->setUseHUDBackground(look == Look::Dark);
    auto* layout = new QHBoxLayout(background);
    layout->setContentsMargins(inside);
    layout->addWidget(&field);
    return background;
}

void setTabOrder(std::initializer_list<QWidget*> order)
{
    for (auto next = std::next(order.begin()); next != order.end(); ++next)
        QWidget::setTabOrder(*std::prev(next), *next);
}

NotesField::NotesField(Look look, QWidget* parent) : QPlainTextEdit(parent)
{
    setFrameShape(QFrame::NoFrame);
    skin::dressed(*this, [this, look] {
        setPalette(fieldPalette(look));
        makeSlim(*verticalScrollBar(), look);
    });
    viewport()->setAutoFillBackground(false);
    setFont(skin::interfaceFont(FontPoints));
    setTabChangesFocus(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    // The margin is around the lines, not in the text: there a line scrolled away would show.
    document()->setDocumentMargin(0);
}

QString NotesField::text() const
{
    return textBetween(0, document()->characterCount() - 1);
}

QString NotesField::textBetween(int begin, int end) const
{
    // Not toPlainText, which turns no-break spaces into spaces.
    QString text;
    text.reserve(end - begin);
    for (QTextBlock block = document()->findBlock(begin); block.isValid() && block.position() <= end;
         block = block.next()) {
        if (block.position() > begin && !block.blockFormat().hasProperty(Continued))
            text += u'\n';
        const int from = std::max(begin - block.position(), 0);
        text += QStringView(block.text()).mid(from, end - block.position() - from);
    }
    text.replace(QChar::LineSeparator, u'\n');
    return text;
}

void NotesField::setText(const QString& text)
{
    if (text.size() <= LongestPiece) {
        setPlainText(text);
        return;
    }
    // Qt lays out a whole paragraph as soon as any of it is visible, and each is an object of its own. So a long one is
    // split into several, and short ones share one.
    QString pieces;
    pieces.reserve(text.size() + text.size() / LongestPiece + 1);
    std::vector<int> continuing; // which of them go on with the one before
    int number = 0;
    qsizetype length = 0;
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        if (character == u'\n' || character == u'\r' || character == QChar::ParagraphSeparator) {
            if (character == u'\r' && i + 1 < text.size() && text.at(i + 1) == u'\n')
                ++i;
            if (length < LongestPiece) {
                pieces += QChar::LineSeparator;
                ++length;
            } else {
                pieces += u'\n';
                ++number;
                length = 0;
            }
            continue;
        }
        const bool mayBreak = !character.isLowSurrogate() && !character.isMark();
        if (length >= LongestPiece && mayBreak && (pieces.back() == u' ' || length >= LongestPiece + LongestWord)) {
            pieces += u'\n';
            continuing.push_back(++number);
            length = 0;
        }
        pieces += character;
        ++length;
    }
    setPlainText(pieces);
    QTextBlockFormat format;
    format.setProperty(Continued, true);
    document()->setUndoRedoEnabled(false);
    QTextCursor cursor(document());
    cursor.beginEditBlock();
    for (const int piece : continuing) {
        cursor.setPosition(document()->findBlockByNumber(piece).position());
        cursor.setBlockFormat(format);
    }
    cursor.endEditBlock();
    document()->setUndoRedoEnabled(true);
}

QMimeData* NotesField::createMimeDataFromSelection() const
{
    auto* data = new QMimeData;
    data->setText(textBetween(textCursor().selectionStart(), textCursor().selectionEnd()));
    return data;
}

void NotesField::insertLineBreak()
{
    textCursor().insertBlock(QTextBlockFormat());
    ensureCursorVisible();
}

void NotesField::paintEvent(QPaintEvent* event)
{
    // Line heights are not whole points: with the last line in view, the descenders of one above would show at the top.
    QPaintEvent inside(event->rect().intersected(viewport()->rect().adjusted(0, 1, 0, 0)));
    QPlainTextEdit::paintEvent(&inside);
}

void NotesField::resizeEvent(QResizeEvent* event)
{
    // Room for whole lines only.
    constexpr int top = 2;
    const int line = static_cast<int>(std::ceil(QFontMetricsF(font()).lineSpacing())); // as they are laid out
    setViewportMargins(3, top, 2, (height() - top) % line);
    QPlainTextEdit::resizeEvent(event);
}

} // namespace editing
