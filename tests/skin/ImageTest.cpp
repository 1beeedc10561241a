#include "support/TestMain.h"

#include "skin/ColorHex.h"
#include "skin/Image.h"
#include "skin/Parts.h"

#include <QImage>
#include <QPainter>

using namespace skin;
using namespace Qt::StringLiterals;

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

} // namespace

class ImageTest final : public QObject
{
    Q_OBJECT

private slots:
    void everyNameOfBothSkins()
    {
        // Written out: these are the names that drawing code asks for.
        QStringList names{
            u"m-h-start"_s,           u"m-h-stop"_s,           u"m-right-bg-left"_s,  u"m-right-bg-mid"_s,
            u"m-right-bg-right"_s,    u"m-offline"_s,          u"m-sign-in"_s,        u"tw-icn-start"_s,
            u"tw-icn-start-active"_s, u"tw-icn-stop-active"_s, u"quillon"_s,          u"tw-icn-lock"_s,
            u"tw-bg-header"_s,        u"tw-bg-footer"_s,       u"hud-background-1"_s, u"hud-background-2"_s,
            u"hud-background-3"_s,    u"black-title-text"_s,   u"tw-offline"_s};
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

    void colours_data()
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

    void colours()
    {
        QFETCH(QString, text);
        QFETCH(QColor, colour);
        QCOMPARE(colorFromHexRGB(text).rgba(), colour.rgba());
        QCOMPARE(colorFromHexRGB(text, 0.5f).alphaF(), QColor::fromRgbF(0, 0, 0, 0.5f).alphaF());
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(ImageTest)
#include "ImageTest.moc"
