#include "skin/Image.h"
#include "skin/QuillonStatusItemView.h"
#include "skin/StatusItemOwner.h"

#include <QApplication>
#include <QImage>
#include <QPainter>

#include <vector>

namespace {

struct NoOwner final : skin::StatusItemOwner
{
    void toggleStatusItemMenu() override {}
    void toggleCurrentTimer(QObject*) override {}
};

struct Face
{
    QString hours;
    bool running = false;
    bool offline = false;
    bool loggedOut = false;
    bool clicked = false;
};

} // namespace

int main(int argc, char** argv)
{
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    QApplication application(argc, argv);
    if (argc != 2)
        return 1;
    const QString file = QString::fromLocal8Bit(argv[1]);

    using namespace Qt::StringLiterals;
    const std::vector<Face> faces{
        {u"1:05"_s, true}, {u"0:00"_s},       {u"12:48"_s, true},       {u"123:45"_s},
        {u"-:--"_s},       {{}, false, true}, {{}, false, false, true}, {u"2:30"_s, true, false, false, true}};
    const std::vector<double> scales{1, 1.25, 1.5, 1.75, 2, 3};
    const std::vector<QColor> bars{QColor(u"#f2f1f0"_s), QColor(u"#2a2b2e"_s), QColor(u"#5a7fa8"_s),
                                   QColor(u"#000000"_s)};

    QImage sheet(2000, 1500, QImage::Format_RGB32);
    sheet.fill(0x888888);
    NoOwner owner;
    int y = 0;
    for (const QColor& bar : bars) {
        for (const double scale : scales) {
            const int barHeight = qCeil(26 * scale);
            QPainter painter(&sheet);
            painter.fillRect(0, y, sheet.width(), barHeight, bar);
            int x = 0;
            for (const Face& face : faces) {
                const double needed = skin::QuillonStatusItemView::computeWidthForHours(face.hours);
                const int width = face.hours.size() < 6 ? 71 : qCeil(needed);
                skin::QuillonStatusItemView view(QRectF(0, 0, width, 22), owner);
                view.setAttribute(Qt::WA_NoSystemBackground);
                view.setHours(face.hours, face.running);
                view.setOffline(face.offline);
                view.setLoggedOut(face.loggedOut);
                view.setClicked(face.clicked);
                painter.save();
                painter.translate(x, y + qFloor(2 * scale));
                painter.scale(scale, scale);
                view.render(&painter, QPoint(), QRegion(), QWidget::DrawChildren);
                painter.restore();
                x += qCeil(width * scale);
            }
            for (const char* name : {"tw-icn-start.png", "tw-icn-start-active.png", "tw-icn-stop-active.png"}) {
                painter.save();
                painter.translate(x, y);
                painter.scale(scale, scale);
                skin::imageNamed(name).draw(painter, QRectF(0, 0, 26, 26));
                painter.restore();
                x += qCeil(30 * scale);
            }
            y += barHeight;
        }
    }
    QPainter painter(&sheet);
    int x = 20;
    for (const int size : {256, 128, 64, 48, 32, 24, 16}) {
        skin::imageNamed("quillon.png").draw(painter, QRectF(x, y + 20, size, size));
        x += size + 20;
    }
    painter.end();
    return sheet.save(file) ? 0 : 1;
}
