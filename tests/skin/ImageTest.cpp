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
        QStringList names = u"m-h-start m-h-stop m-right-bg-left m-right-bg-mid m-right-bg-right m-offline m-sign-in "
                            "tw-icn-start tw-icn-start-active tw-icn-stop-active tw-icn-lock tw-bg-header tw-bg-footer "
                            "hud-background-1 hud-background-2 hud-background-3 black-title-text tw-offline quillon "
                            "tw-checkbox tw-checkbox-on hud-checkbox hud-checkbox-on"_s.split(u' ');
        for (const char* button : {"btn-tw-submit", "btn-tw-cancel", "btn-tw-active", "btn-hud-submit",
                                   "btn-hud-cancel", "btn-hud-active", "btn-big-submit", "btn-big-active"}) {
            for (const char* part : {"left", "mid", "right"})
                names << u"%1-%2"_s.arg(QLatin1StringView(button), QLatin1StringView(part));
        }
        for (const QString& symbol :
             u"tw-back tw-forward tw-today tw-arrow hud-arrow tw-edit-hours tw-add-one"_s.split(u' '))
            names << symbol << symbol + u"-active"_s;
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

    void colours()
    {
        for (const auto& [text, colour] : {std::pair(u"EEEEEE"_s, QColor(238, 238, 238)),
                                           {u"0a80Ff"_s, QColor(10, 128, 255)},
                                           {u"ff"_s, QColor(0, 0, 255)},
                                           {u"12345678"_s, QColor(0x34, 0x56, 0x78)},
                                           {u" 0x2F2F2F"_s, QColor(47, 47, 47)},
                                           {u"12zz"_s, QColor(0, 0, 0x12)},
                                           {u"123456789"_s, QColor(255, 255, 255)}, // too large
                                           {u"#EEEEEE"_s, QColor(0, 0, 0)},
                                           {QString(), QColor(0, 0, 0)}}) {
            QVERIFY2(colorFromHexRGB(text).rgba() == colour.rgba(), qPrintable(text));
            QCOMPARE(colorFromHexRGB(text, 0.5f).alphaF(), QColor::fromRgbF(0, 0, 0, 0.5f).alphaF());
        }
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(ImageTest)
#include "ImageTest.moc"
