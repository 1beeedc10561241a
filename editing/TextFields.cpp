#include "editing/TextFields.h"

#include "skin/Fonts.h"

#include <QScrollBar>

namespace editing {

using namespace Qt::StringLiterals;

namespace {

constexpr int fontPoints = 13;

QPalette paletteFor(Look look)
{
    const bool dark = look == Look::Dark;
    const QColor text = dark ? QColor(0xf4, 0xf5, 0xf6) : QColor(0x22, 0x22, 0x22);
    QPalette palette;
    palette.setColor(QPalette::Base, Qt::transparent);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::PlaceholderText, dark ? QColor(0xa2, 0xa6, 0xab) : QColor(0x75, 0x75, 0x75));
    palette.setColor(QPalette::Highlight, dark ? QColor(0x3b, 0x78, 0xb8) : QColor(0xb5, 0xd5, 0xf8));
    palette.setColor(QPalette::HighlightedText, dark ? QColor(Qt::white) : text);
    palette.setColor(QPalette::Disabled, QPalette::Text, dark ? QColor(0x8a, 0x8e, 0x93) : QColor(0x99, 0x99, 0x99));
    return palette;
}

} // namespace

void dress(QLineEdit& field, Look look)
{
    field.setFrame(false);
    field.setPalette(paletteFor(look));
    field.setFont(skin::interfaceFont(fontPoints));
}

NotesField::NotesField(Look look, QWidget* parent) : QPlainTextEdit(parent)
{
    setFrameShape(QFrame::NoFrame);
    setPalette(paletteFor(look));
    viewport()->setAutoFillBackground(false);
    setFont(skin::interfaceFont(fontPoints));
    setTabChangesFocus(true);
    setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    document()->setDocumentMargin(2);
}

QString NotesField::text() const
{
    // Not toPlainText, which makes blanks of no-break spaces.
    QString text = document()->toRawText();
    text.replace(QChar::ParagraphSeparator, u'\n');
    text.replace(QChar::LineSeparator, u'\n');
    return text;
}

void NotesField::insertLineBreak()
{
    textCursor().insertBlock();
    ensureCursorVisible();
}

} // namespace editing
