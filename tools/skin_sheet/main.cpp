#include "skin/Image.h"
#include "skin/QuillonStatusItemView.h"
#include "skin/StatusItemOwner.h"

#include <QApplication>
#include <QImage>
#include <QPainter>

using namespace Qt::StringLiterals;

namespace {

struct NoOwner final : skin::StatusItemOwner
{
    void toggleStatusItemMenu() override {}
    void toggleCurrentTimer(QObject*) override {}
};

struct Face
{
    QString hours;
    bool running = false, offline = false, loggedOut = false, clicked = false;
};

/// Draws the face from x on, and returns where the next one begins.
int draw(QPainter& painter, QPoint at, double scale, const Face& face)
{
    NoOwner owner;
    const int width = face.hours.size() < 6 ? 71 : qCeil(skin::QuillonStatusItemView::computeWidthForHours(face.hours));
    skin::QuillonStatusItemView view(QRectF(0, 0, width, 22), owner);
    view.setAttribute(Qt::WA_NoSystemBackground);
    view.setHours(face.hours, face.running);
    view.setOffline(face.offline);
    view.setLoggedOut(face.loggedOut);
    view.setClicked(face.clicked);
    painter.save();
    painter.translate(at + QPoint(0, qFloor(2 * scale)));
    painter.scale(scale, scale);
    view.render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
    painter.restore();
    return at.x() + qCeil(width * scale);
}

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    const QApplication application(argc, argv);
    if (argc != 2)
        return 1;

    QImage sheet(2000, 1500, QImage::Format_RGB32);
    sheet.fill(0x888888);
    QPainter painter(&sheet);
    int y = 0;
    for (const QRgb bar : {0xfff2f1f0, 0xff2a2b2e, 0xff5a7fa8, 0xff000000}) {
        for (const double scale : {1.0, 1.25, 1.5, 1.75, 2.0, 3.0}) {
            const int height = qCeil(26 * scale);
            painter.fillRect(0, y, sheet.width(), height, QColor(bar));
            int x = 0;
            for (const Face& face :
                 {Face{u"1:05"_s, true}, Face{u"0:00"_s}, Face{u"12:48"_s, true}, Face{u"123:45"_s}, Face{u"-:--"_s},
                  Face{{}, false, true}, Face{{}, false, false, true}, Face{u"2:30"_s, true, false, false, true}})
                x = draw(painter, {x, y}, scale, face);
            for (const char* name : {"tw-icn-start.png", "tw-icn-start-active.png", "tw-icn-stop-active.png"}) {
                skin::imageNamed(name).draw(painter, QRectF(x, y, 26 * scale, 26 * scale));
                x += qCeil(30 * scale);
            }
            y += height;
        }
    }
    int x = 20;
    for (const int size : {256, 128, 64, 48, 32, 24, 16}) {
        skin::imageNamed("quillon.png").draw(painter, QRectF(x, y + 20, size, size));
        x += size + 20;
    }
    painter.end();
    return sheet.save(QString::fromLocal8Bit(argv[1])) ? 0 : 1;
}
