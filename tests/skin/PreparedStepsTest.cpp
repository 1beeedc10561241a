#include "skin/PreparedSteps.h"
#include "skin/BlinkTicker.h"

#include "platform/Compositing.h"
#include "support/TestEnvironment.h"
#include "support/VerifyEach.h"

#include <QApplication>
#include <QPaintEvent>
#include <QPainter>
#include <QProcess>
#include <QScreen>
#include <QTest>

using namespace skin;
using namespace Qt::StringLiterals;

namespace {

/// A part of a striped window, itself striped and translucent, that counts how often it is painted.
class Part final : public QWidget
{
public:
    using QWidget::QWidget;

    double opacity = 1;
    int paintings = 0;
    bool opaque = false;
    Qt::GlobalColor color = Qt::red;

private:
    void paintEvent(QPaintEvent*) override
    {
        ++paintings;
        QPainter painter(this);
        painter.setOpacity(opacity);
        painter.fillRect(opaque ? QRectF(rect()) : QRectF(3, 0, width() - 6, height()), color);
    }
};

struct Scene
{
    explicit Scene(Qt::WindowFlags flags = Qt::X11BypassWindowManagerHint) : part(&window)
    {
        window.setWindowFlags(flags);
        QPalette palette;
        palette.setBrush(QPalette::Window, QBrush(QColor(0x40, 0x80, 0xc0), Qt::Dense4Pattern));
        window.setPalette(palette);
        window.setGeometry(41, 53, 90, 60);
        part.setGeometry(21, 13, 28, 28);
        window.show();
        static_cast<void>(QTest::qWaitForWindowExposed(&window));
        settle();
    }

    void settle()
    {
        window.repaint();
        QCoreApplication::processEvents();
    }

    /// What the X server has of the window.
    QImage onScreen() const { return window.screen()->grabWindow(window.winId()).toImage(); }
    /// The same after the toolkit's own painting.
    QImage repainted()
    {
        settle();
        return onScreen();
    }

    QWidget window;
    Part part;
    PreparedSteps steps{part};
};

} // namespace

/// Needs an X server.
class PreparedStepsTest final : public QObject
{
    Q_OBJECT

private slots:
    /// Pixel by pixel, at any scale; and each is painted once.
    void showsWhatARepaintWouldShow()
    {
        Scene scene;
        const QImage first = scene.onScreen();
        const int before = scene.part.paintings;
        QList<QImage> shown;
        for (const double opacity : {0.5, 0.25, 0.5}) {
            scene.part.opacity = opacity;
            QVERIFY(scene.steps.show(scene.part.rect(), opacity));
            shown << scene.onScreen();
        }
        QCOMPARE(scene.part.paintings, before + 2);
        QCOMPARE(shown.at(2), shown.at(0));
        VERIFY_EACH(shown.at(0) != shown.at(1), shown.at(0) != first);
        QCOMPARE(scene.repainted(), shown.at(2));
    }

    void paintsAnewWhatChanged()
    {
        Scene scene;
        QVERIFY(scene.steps.show(scene.part.rect(), 1));
        scene.part.color = Qt::green;
        scene.steps.painted();
        QVERIFY(scene.steps.show(scene.part.rect(), 1));
        const QImage green = scene.onScreen();
        QCOMPARE(scene.repainted(), green);
        scene.part.move(30, 20);
        scene.settle();
        const QImage moved = scene.onScreen();
        QVERIFY(scene.steps.show(scene.part.rect(), 1));
        QCOMPARE(scene.onScreen(), moved);
    }

    void leavesAloneWhatLiesOverIt()
    {
        Scene scene;
        Part above(&scene.window);
        above.setGeometry(30, 20, 50, 10);
        above.opacity = 0.5;
        above.color = Qt::blue;
        above.show();
        const QImage before = scene.repainted();
        scene.steps.painted();
        QVERIFY(scene.steps.show(scene.part.rect(), 1));
        QCOMPARE(scene.onScreen(), before);
        above.opaque = true;
        above.setAttribute(Qt::WA_OpaquePaintEvent);
        QVERIFY(!scene.steps.show(scene.part.rect(), 1));
        above.hide();
        scene.part.setGeometry(-5, 0, 28, 28);
        QVERIFY(!scene.steps.show(scene.part.rect(), 1));
        scene.window.hide();
        QVERIFY(!scene.steps.show(scene.part.rect(), 1));
    }

    void restsWhileNobodyCanSeeIt()
    {
        const support::TestRun run;
        Scene scene;
        Pulse pulse(scene.part, [&] { return scene.part.rect(); });
        pulse.start({.to = 0.5, .duration = std::chrono::milliseconds(100)});
        const int still = scene.part.paintings;
        QTRY_VERIFY(scene.part.paintings > still); // by its own preparation, from when on it hears who covers it
        QVERIFY(scene.steps.show(scene.part.rect(), 1));
        QWidget above;
        above.setWindowFlags(Qt::X11BypassWindowManagerHint);
        above.setGeometry(scene.window.geometry().adjusted(0, 0, 0, -10));
        above.show();
        VERIFY_EACH(QTest::qWaitForWindowExposed(&above), !scene.steps.isCovered());
        above.setGeometry(scene.window.geometry());
        QTRY_VERIFY(scene.steps.isCovered());
        QTRY_VERIFY(!pulse.isRunning());
        const int before = scene.part.paintings;
        above.hide();
        QTRY_VERIFY(!scene.steps.isCovered());
        QTRY_VERIFY(scene.part.paintings > before);
    }

    void restsBehindAnotherWindowUnderACompositor()
    {
        QProcess compositor;
        compositor.start(u"picom"_s, {u"--backend"_s, u"xrender"_s, u"--config"_s, u"/dev/null"_s});
        QTRY_VERIFY(platform::isScreenComposited());
        const support::TestRun run;
        Scene scene(Qt::Window);
        Pulse pulse(scene.part, [&] { return scene.part.rect(); });
        pulse.start({.to = 0.5, .duration = std::chrono::milliseconds(100)});
        const int still = scene.part.paintings;
        QTRY_VERIFY(scene.part.paintings > still);
        QVERIFY(scene.steps.show(scene.part.rect(), 1));

        const QRect place = scene.window.geometry();
        const auto hides = [&](const QRect& geometry, double opacity, bool translucent, int wait) {
            QWidget above;
            above.setAttribute(Qt::WA_TranslucentBackground, translucent);
            above.setWindowOpacity(opacity);
            above.setGeometry(geometry);
            above.show();
            above.raise();
            above.activateWindow();
            if (!QTest::qWaitForWindowActive(&above))
                qWarning("the window above is not active");
            return QTest::qWaitFor([&] { return scene.steps.isCovered(); }, wait);
        };
        const QRect all = place.adjusted(-60, -60, 60, 60);
        constexpr int moment = 300;
        QVERIFY(!hides(place.adjusted(0, 0, 0, -10), 1, false, moment));
        QVERIFY(!hides(all, 0.9, false, moment));
        QVERIFY(!hides(all, 1, true, moment));
        QVERIFY(hides(all, 1, false, 20000));
        QTRY_VERIFY(!scene.steps.isCovered()); // that one has gone

        QWidget above;
        above.setGeometry(all);
        above.show();
        above.activateWindow();
        QTRY_VERIFY(scene.steps.isCovered());
        QTRY_VERIFY(!pulse.isRunning());
        const int before = scene.part.paintings;
        above.move(400, 300);
        QTRY_VERIFY(!scene.steps.isCovered());
        QTRY_VERIFY(scene.part.paintings > before);
        compositor.terminate();
        QVERIFY(compositor.waitForFinished());
        QTRY_VERIFY(!platform::isScreenComposited());
    }

    void pulsatesWithoutRepaints()
    {
        support::TestRun run;
        Scene scene;
        Pulse pulse(scene.part, [&] { return scene.part.rect(); });
        scene.part.paintings = 0;
        pulse.start({.to = 0.5, .duration = std::chrono::milliseconds(250)});
        QTRY_VERIFY(scene.part.paintings > 0);
        QImage last = scene.onScreen();
        scene.part.opacity = 0.5;
        for (int change = 0; change < 6; ++change) {
            QTRY_VERIFY(scene.onScreen() != last);
            last = scene.onScreen();
            scene.part.opacity = 1.5 - scene.part.opacity;
        }
        // Once for each step; a busy machine may skip one.
        QVERIFY(scene.part.paintings <= 3);
    }
};

QTEST_MAIN(PreparedStepsTest)
#include "PreparedStepsTest.moc"
