#include "support/TestMain.h"

#include "skin/Fonts.h"
#include "skin/Geometrics.h"
#include "skin/LineCount.h"

#include <QImage>
#include <QPainter>

#include <random>

#include <unistd.h>

using namespace skin;
using namespace Qt::StringLiterals;

namespace {

constexpr double NotesWidth = 300;

/// The rows of pixels, from the first to the last, that the text covers.
std::pair<int, int> inkRows(const QImage& image)
{
    std::pair<int, int> rows{-1, -1};
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) > 40) {
                if (rows.first < 0)
                    rows.first = y;
                rows.second = y;
                break;
            }
        }
    }
    return rows;
}

QImage drawn(const TextLines& lines, QSize size, QPointF at = {}, const QRectF& clip = {})
{
    QImage image(size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    lines.draw(painter, at, clip);
    return image;
}

} // namespace

class GeometricsTest final : public QObject
{
    Q_OBJECT

private slots:
    /// The toolkit removes that variable while the thread reads others: none of them may move.
    void fontsReadAnEnvironmentThatStays()
    {
        qputenv("DESKTOP_STARTUP_ID", "id");
        qputenv("BEHIND_IT", "x");
        {
            const FontPreparation fonts;
        }
        char** last = environ;
        while (last[1])
            ++last;
        QCOMPARE(QByteArray(*last), "DESKTOP_STARTUP_ID=id");
        qunsetenv("DESKTOP_STARTUP_ID");
        qunsetenv("BEHIND_IT");
    }

    void fontOfTheDesktop()
    {
        for (const QString& open : {u"Sans Serif"_s, u"sans-serif"_s, u"Sans"_s}) {
            const QFont font = widgetFont(QFont(open, 11, QFont::Bold));
            QCOMPARE(font.families(), interfaceFont(11).families());
            QCOMPARE(font.pointSize(), 11);
            VERIFY_EACH(font.bold(), !QFontInfo(font).italic());
        }
        QCOMPARE(widgetFont(QFont(u"Cantarell"_s)).families(), QStringList{u"Cantarell"_s});
    }

    void heights()
    {
        for (const auto& [text, height] :
             {std::pair(QString(), 0.0),
              {u"Second pass"_s, 14.0},
              {u"Second pass\r\n"_s, 14.0},
              {u"Second\r\n\r\nThird"_s, 42.0},
              {u"a\nb\rc\r\nd\u2028e\u2029f\vg\fh\u0085i"_s, 126.0}, // every kind of break
              {u"Reworked the invoice import so that the totals agree with the ledger"_s, 28.0},
              {u"bell \u0007 escape \u001b null \u0000 end"_s, 14.0},
              {u"שלום ẹ̷̌ 🎉 日本語"_s, 14.0}, // of other fonts
              {QString(200, u'm'), 98.0}}) {
            QCOMPARE(heightForWidth(text, NotesWidth, interfaceFont(11)), height);
            QCOMPARE(heightForWidth(text, NotesWidth, TextAttributes{interfaceFont(11), Qt::black}), height);
        }
    }

    void linesThatAreKnownAreThoseLaidOut()
    {
        const QString letters = u"abcdefghijklmnopqrstuvwxyzWATMVfij0123456789éßøŁž"_s;
        const QStringList around{u""_s,   u"("_s,   u"#"_s,      u" "_s,    u". "_s,
                                 u", "_s, u"): "_s, u"10:30 "_s, u"1.5 "_s, u"-"_s};
        std::mt19937 random(7);
        int known = 0;
        for (int i = 0; i < 4000; ++i) {
            QString text;
            for (unsigned left = random() % 200; left > 0; --left)
                text += random() % 5 ? QString(letters[random() % letters.size()])
                                     : around[random() % (around.size() - (i % 9 ? 1 : 0))];
            const QFont font = interfaceFont(i % 2 ? 11 : 14, i % 3 ? QFont::Normal : QFont::Bold);
            const double width = 120 + random() % 300;
            const auto count = knownLineCount(text.simplified(), width, font);
            known += count.has_value();
            if (count)
                QCOMPARE(*count, TextLines(text.simplified(), font, width).count());
        }
        QVERIFY2(known > 250, qPrintable(QString::number(known)));
    }

    void displayableText()
    {
        for (const auto& [text, shown] :
             {std::pair(u"a\tb\u0001c\u007f"_s, u"a b c "_s),
              {u"a🎉b"_s, u"a🎉b"_s},
              {QString(u'a') + QChar(0xd83c) + u'b' + QChar(0xdf89), u"a\ufffdb\ufffd"_s}, // halves
              {QString(u'a') + QChar(0xd83c), u"a\ufffd"_s},
              {u"a\ufffcb"_s, u"a\ufffdb"_s}, // embedded object
              {u"a\r\nb\r\r\nc"_s, u"a\nb\n\nc"_s}})
            QCOMPARE(displayable(text), shown);
    }

    void toolTips()
    {
        QCOMPARE(toolTipFor(u"A & B <i>\r\nnext"_s), u"<qt>A &amp; B &lt;i&gt;<br>next</qt>"_s);
        QCOMPARE(toolTipFor(QString(5000, u'a')), u"<qt>"_s + QString(1000, u'a') + u"…</qt>"_s);
        QCOMPARE(toolTipFor(QString(999, u'a') + u"🎉"_s), u"<qt>"_s + QString(999, u'a') + u"…</qt>"_s);
    }

    void linesStandOnTheirPitch()
    {
        // The same letter on each of four lines, among characters of other fonts.
        const QImage plain = drawn(TextLines(u"H"_s, interfaceFont(11), NotesWidth), {300, 14});
        const auto [top, bottom] = inkRows(plain);
        VERIFY_EACH(top >= 1, bottom <= 12);
        const QImage four =
            drawn(TextLines(u"H\nH \u05e9\nH\u0e20\u0e39\nH"_s, interfaceFont(11), NotesWidth), {300, 56});
        for (int line = 0; line < 4; ++line)
            QCOMPARE(four.copy(0, line * 14 + top, 8, bottom - top), plain.copy(0, top, 8, bottom - top));
    }

    void rightToLeftBeginsAtTheRight()
    {
        const QImage image = drawn(TextLines(u"שלום"_s, interfaceFont(11), NotesWidth), {300, 14});
        QCOMPARE(inkRows(image.copy(0, 0, 200, 14)), std::pair(-1, -1));
        QVERIFY(inkRows(image.copy(200, 0, 100, 14)).first >= 0);
    }

    void longTextIsDrawnInParts()
    {
        const QString text = u"Reworked the invoice import, שלום. "_s.repeated(3000);
        const TextLines lines(text, interfaceFont(11), NotesWidth);
        QVERIFY(lines.count() > 1500);
        QCOMPARE(lines.height(), lines.count() * 14.0);
        QVERIFY(lines.usedWidth() <= NotesWidth);
        // A part from the middle is the same whether all or only that part is asked for.
        const auto part = [&](const QRectF& clip) { return drawn(lines, {300, 40}, {0, -7000}, clip); };
        QVERIFY(inkRows(part({})).first >= 0);
        QCOMPARE(part({0, 0, 300, 40}), part({}));
        QCOMPARE(inkRows(part({0, -9000, 300, 10})), std::pair(-1, -1));
    }

    void wordWithoutEnd()
    {
        // As many lines as its width asks for, and the few that places to break cost; no character is torn apart.
        const QString blob(100000, u'm');
        const TextAttributes style{interfaceFont(11), Qt::black};
        const double lines = style.sizeOf(blob.first(1000)).width() * 100 / NotesWidth;
        const int count = TextLines(blob, style.font, NotesWidth).count();
        QVERIFY2(count >= lines && count <= lines * 1.1, qPrintable(QString::number(count)));
        const QString oneCharacter = u'e' + QString(2000, QChar(0x301));
        QCOMPARE(heightForWidth(oneCharacter, NotesWidth, style), 14.0);
    }

    void widthsAndSizes()
    {
        const TextAttributes style{interfaceFont(11), Qt::black};
        const QString text = u"Reworked the invoice import so that the totals agree"_s;
        const double oneLine = widthForHeight(text, 14, style);
        QVERIFY(qAbs(oneLine - style.sizeOf(text).width()) <= 2);
        // No height is too small for one line; with room for three, it is the least width that gives three.
        QCOMPARE(widthForHeight(text, 0, style), oneLine);
        const double threeLines = widthForHeight(text, 50, style);
        QCOMPARE(heightForWidth(text, threeLines, style), 42.0);
        QVERIFY(heightForWidth(text, threeLines - 1, style) > 42);
        QCOMPARE(widthForHeight({}, 50, style), 0.0);

        QCOMPARE(sizeForWidthHeight(text, 1000, 1000, style), QSizeF(oneLine, 14));
        const QSizeF cut = sizeForWidthHeight(text, threeLines, 30, style);
        QCOMPARE(cut.height(), 30.0);
        VERIFY_EACH(cut.width() <= threeLines, cut.width() > threeLines - 60);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(GeometricsTest)
#include "GeometricsTest.moc"
