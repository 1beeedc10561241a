#include "support/TestMain.h"

#include "skin/ColorHex.h"
#include "skin/Image.h"
#include "skin/Parts.h"

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
    void everyNameOfBothSkins();
    void partsMeet_data();
    void partsMeet();
    void partsOfNarrowFrames();
    void titleLettering();
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

void ImageTest::everyNameOfBothSkins()
{
    // Written out: these are the names that drawing code asks for.
    QStringList names{u"tw-bg-header"_s,     u"tw-bg-footer"_s,     u"hud-background-1"_s, u"hud-background-2"_s,
                      u"hud-background-3"_s, u"black-title-text"_s, u"tw-icn-lock"_s,      u"tw-offline"_s};
    for (const QString& button : {u"btn-tw-submit"_s, u"btn-tw-cancel"_s, u"btn-tw-active"_s, u"btn-hud-submit"_s,
                                  u"btn-hud-cancel"_s, u"btn-hud-active"_s}) {
        for (const QString& part : {u"left"_s, u"mid"_s, u"right"_s})
            names << button + u'-' + part;
    }
    for (const QString& sign : {u"tw-back"_s, u"tw-forward"_s, u"tw-today"_s, u"tw-arrow"_s, u"hud-arrow"_s,
                                u"tw-edit-hours"_s, u"tw-add-one"_s})
        names << sign << sign + u"-active"_s;
    for (const QString& box : {u"tw-checkbox"_s, u"hud-checkbox"_s})
        names << box << box + u"-on"_s;
    for (const QString& name : names) {
        const QImage image = drawn((name + u".png"_s).toStdString(), 2);
        int inked = 0;
        for (int y = 0; y < image.height(); ++y) {
            for (int x = 0; x < image.width(); ++x)
                inked += qAlpha(image.pixel(x, y)) > 0;
        }
        QVERIFY2(inked > 20, qPrintable(name));
    }
    for (const char* prefix : {"tw-tf", "hud-tf", "hud-tf-error"}) {
        for (const Image& part : ninePartsNamed(prefix))
            QVERIFY2(!part.isNull(), prefix);
    }
}

void ImageTest::partsMeet_data()
{
    QTest::addColumn<double>("scale");
    QTest::addColumn<double>("shift");
    for (const double scale : {1.0, 1.25, 1.5, 1.75, 2.0}) {
        for (const double shift : {0.0, 0.3, 0.5, 0.8})
            QTest::addRow("%g at %g", scale, shift) << scale << shift;
    }
}

void ImageTest::partsMeet()
{
    QFETCH(double, scale);
    QFETCH(double, shift);
    const QRectF frame(4 + shift, 4 + shift, 83, 25);
    const auto picture = [&](auto draw) {
        QImage image = canvas(QSize(qCeil(92 * scale), qCeil(36 * scale)));
        QPainter painter(&image);
        painter.setRenderHint(QPainter::Antialiasing);
        painter.scale(scale, scale);
        draw(painter);
        return image;
    };
    const QImage button = picture([&](QPainter& painter) {
        drawThreePartImage(painter, frame, imageNamed("btn-tw-submit-left.png"), imageNamed("btn-tw-submit-mid.png"),
                           imageNamed("btn-tw-submit-right.png"));
    });
    const QImage field =
        picture([&](QPainter& painter) { drawNinePartImage(painter, frame, ninePartsNamed("hud-tf")); });
    const QRect device(QPoint(qRound(frame.left() * scale), qRound(frame.top() * scale)),
                       QPoint(qRound(frame.right() * scale) - 1, qRound(frame.bottom() * scale) - 1));
    const auto step = [](QRgb a, QRgb b) {
        return std::max({qAbs(qRed(a) - qRed(b)), qAbs(qGreen(a) - qGreen(b)), qAbs(qBlue(a) - qBlue(b)),
                         qAbs(qAlpha(a) - qAlpha(b))});
    };
    const int corner = qCeil(6 * scale);
    for (const QImage& image : {button, field}) {
        // Every line of pixels is of one colour from corner to corner, straight across both joints.
        for (int y = device.top(); y <= device.bottom(); ++y) {
            for (int x = device.left() + corner; x < device.right() - corner; ++x)
                QVERIFY2(step(image.pixel(x, y), image.pixel(x + 1, y)) <= 3, qPrintable(u"%1,%2"_s.arg(x).arg(y)));
        }
        // And nothing lies outside.
        for (int x = 0; x < image.width(); ++x) {
            QCOMPARE(qAlpha(image.pixel(x, device.top() - 1)), 0);
            QCOMPARE(qAlpha(image.pixel(x, device.bottom() + 1)), 0);
        }
    }
    // Down the left border of the field as well: it is opaque, and darkens or lightens in small steps only.
    for (int y = device.top() + corner; y < device.bottom() - corner; ++y)
        QVERIFY(step(field.pixel(device.left(), y), field.pixel(device.left(), y + 1)) <= 8);
}

void ImageTest::partsOfNarrowFrames()
{
    QImage image = canvas({30, 40});
    QPainter painter(&image);
    drawThreePartImage(painter, QRectF(5, 5, 9, 25), imageNamed("btn-tw-submit-left.png"),
                       imageNamed("btn-tw-submit-mid.png"), imageNamed("btn-tw-submit-right.png"));
    painter.end();
    for (int x = 0; x < 30; ++x)
        QCOMPARE(qAlpha(image.pixel(x, 17)), x >= 5 && x < 14 ? 255 : 0);
}

void ImageTest::titleLettering()
{
    QCOMPARE(imageNamed("black-title-text.png").size(), QSizeF(46, 23));
    const QImage image = drawn("black-title-text.png", 2);
    int left = image.width();
    int right = 0;
    int top = image.height();
    int bottom = 0;
    for (int y = 0; y < image.height(); ++y) {
        for (int x = 0; x < image.width(); ++x) {
            if (qAlpha(image.pixel(x, y)) < 128)
                continue;
            QCOMPARE(qRed(image.pixel(x, y)), qAlpha(image.pixel(x, y))); // white, premultiplied
            left = std::min(left, x);
            right = std::max(right, x);
            top = std::min(top, y);
            bottom = std::max(bottom, y);
        }
    }
    QVERIFY(right - left > 80 && right < 92);
    QVERIFY(qAbs((left + right) / 2 - 46) <= 1);
    QVERIFY(qAbs((top + bottom) / 2 - 23) <= 1);
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
