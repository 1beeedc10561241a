#include "support/TestMain.h"

#include "skin/ColorHex.h"
#include "skin/Image.h"

#include <QImage>
#include <QPainter>

using namespace skin;
using namespace Qt::StringLiterals;

class ImageTest : public QObject
{
    Q_OBJECT
private slots:
    void sizes_data();
    void sizes();
    void everyPictureShowsSomething();
    void bordersStayWhole_data();
    void bordersStayWhole();
    void drawnWhereThePainterStands();
    void colours_data();
    void colours();
};

namespace {

QImage canvas(QSize pixels)
{
    QImage image(pixels, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    return image;
}

QImage drawn(std::string_view name, double scale, QPointF at = {})
{
    QImage image = canvas((imageNamed(name).size() * scale + QSizeF(8, 8)).toSize());
    QPainter painter(&image);
    painter.scale(scale, scale);
    imageNamed(name).drawAtPoint(painter, at);
    return image;
}

constexpr const char* allNames[] = {
    "m-h-start.png",           "m-h-stop.png",           "m-right-bg-left.png", "m-right-bg-mid.png",
    "m-right-bg-right.png",    "m-offline.png",          "m-sign-in.png",       "tw-icn-start.png",
    "tw-icn-start-active.png", "tw-icn-stop-active.png", "quillon.png",
};

} // namespace

void ImageTest::sizes_data()
{
    QTest::addColumn<QByteArray>("name");
    QTest::addColumn<QSizeF>("size");
    QTest::newRow("start") << QByteArray("m-h-start.png") << QSizeF(15, 16);
    QTest::newRow("stop") << QByteArray("m-h-stop.png") << QSizeF(15, 16);
    QTest::newRow("left cap") << QByteArray("m-right-bg-left.png") << QSizeF(4, 16);
    QTest::newRow("right cap") << QByteArray("m-right-bg-right.png") << QSizeF(4, 16);
    QTest::newRow("offline") << QByteArray("m-offline.png") << QSizeF(59, 16);
    QTest::newRow("sign in") << QByteArray("m-sign-in.png") << QSizeF(59, 16);
    QTest::newRow("unknown") << QByteArray("m-nothing.png") << QSizeF();
}

void ImageTest::sizes()
{
    QFETCH(QByteArray, name);
    QFETCH(QSizeF, size);
    const Image image = imageNamed(std::string_view(name.constData(), size_t(name.size())));
    QCOMPARE(image.size(), size);
    QCOMPARE(image.isNull(), !size.isValid());
}

void ImageTest::everyPictureShowsSomething()
{
    // A cell of the table that misses its drawing in the sheet would come out empty or cut at its edge.
    for (const char* name : allNames) {
        const QImage image = drawn(name, 1);
        const QSize size = imageNamed(name).size().toSize();
        QVERIFY2(qAlpha(image.pixel(size.width() / 2, size.height() / 2)) == 255, name);
        for (int x = 0; x < image.width(); ++x)
            QVERIFY2(qAlpha(image.pixel(x, size.height())) == 0, name);
        for (int y = 0; y < image.height(); ++y)
            QVERIFY2(qAlpha(image.pixel(size.width(), y)) == 0, name);
    }
}

void ImageTest::bordersStayWhole_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<int>("border");
    QTest::newRow("1") << 1.0 << 1;
    QTest::newRow("1.25") << 1.25 << 1;
    QTest::newRow("1.5") << 1.5 << 1;
    QTest::newRow("1.75") << 1.75 << 2;
    QTest::newRow("2") << 2.0 << 2;
}

void ImageTest::bordersStayWhole()
{
    QFETCH(double, scale);
    QFETCH(int, border);
    const QImage image = drawn("m-right-bg-mid.png", scale);
    const int height = qRound(16 * scale);
    const auto red = [&](int y) { return qRed(image.pixel(1, y)); };
    // Light at the lower edge, then the flat field, with nothing mixed between them.
    for (int y = height - border; y < height; ++y)
        QVERIFY2(red(y) > 0x50, qPrintable(u"row %1: %2"_s.arg(y).arg(red(y))));
    QCOMPARE(red(height - border - 1), 0x2f);
    QVERIFY(red(border - 1) < 0x20);
    // White sign of the stop button: its left side is one clean step from green to white.
    const QImage stop = drawn("m-h-stop.png", scale);
    const int middle = qRound(8 * scale);
    int mixed = 0;
    for (int x = qRound(2 * scale); x < qRound(8 * scale); ++x) {
        const int value = qRed(stop.pixel(x, middle));
        mixed += value > 0x60 && value < 0xfa;
    }
    QCOMPARE(mixed, 0);
}

void ImageTest::drawnWhereThePainterStands()
{
    // Off the pixel grid, moved and scaled: same pixels, on the nearest whole position.
    const QImage reference = drawn("m-h-stop.png", 1);
    QImage moved = canvas(reference.size());
    QPainter painter(&moved);
    painter.translate(2.4, 1.0);
    imageNamed("m-h-stop.png").drawAtPoint(painter, {0.2, 0.3});
    QCOMPARE(painter.worldTransform(), QTransform::fromTranslate(2.4, 1.0));
    painter.end();
    QCOMPARE(moved.copy(3, 1, 15, 16), reference.copy(0, 0, 15, 16));
}

void ImageTest::colours_data()
{
    QTest::addColumn<QString>("text");
    QTest::addColumn<QColor>("colour");
    QTest::newRow("grey") << u"EEEEEE"_s << QColor(238, 238, 238);
    QTest::newRow("order of parts") << u"0a80Ff"_s << QColor(10, 128, 255);
    QTest::newRow("short is a small number") << u"ff"_s << QColor(0, 0, 255);
    QTest::newRow("more than six digits") << u"12345678"_s << QColor(0x34, 0x56, 0x78);
    QTest::newRow("leading blank and 0x") << u" 0x2F2F2F"_s << QColor(47, 47, 47);
    QTest::newRow("ends at the first other sign") << u"12zz"_s << QColor(0, 0, 0x12);
    QTest::newRow("too large") << u"123456789"_s << QColor(255, 255, 255);
    QTest::newRow("no number") << u"#EEEEEE"_s << QColor(0, 0, 0);
    QTest::newRow("null") << QString() << QColor(0, 0, 0);
}

void ImageTest::colours()
{
    QFETCH(QString, text);
    QFETCH(QColor, colour);
    QCOMPARE(colorFromHexRGB(text).rgba(), colour.rgba());
    QCOMPARE(colorFromHexRGB(text, 0.5f).alphaF(), QColor::fromRgbF(0, 0, 0, 0.5f).alphaF());
}

QUILLON_OFFSCREEN_TEST_MAIN(ImageTest)
#include "ImageTest.moc"
