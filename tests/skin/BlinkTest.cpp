#include "support/TestEnvironment.h"
#include "support/TestMain.h"

#include "RecordingOwner.h"

#include "skin/BlinkTicker.h"
#include "skin/RunningButtonBackground.h"

#include <QPaintEvent>

using namespace skin;
using namespace std::chrono_literals;
using namespace Qt::StringLiterals;

namespace {

/// Notes the area of each repaint of a widget.
class PaintSpy final : public QObject
{
public:
    explicit PaintSpy(QWidget& widget) { widget.installEventFilter(this); }

    bool eventFilter(QObject*, QEvent* event) override
    {
        if (event->type() == QEvent::Paint)
            areas << static_cast<QPaintEvent*>(event)->region().boundingRect();
        return false;
    }

    QList<QRect> areas;
};

} // namespace

class BlinkTest final : public QObject
{
    Q_OBJECT

private slots:
    void blinksOnlyWhile()
    {
        support::TestRun run;
        ViewOnScreen on;
        auto& view = on.view;
        const auto blinks = [&] {
            on.picture();
            return BlinkTicker::sharedTicker().isActive();
        };
        view.setHours(u"1:05"_s, true);
        QVERIFY(blinks());
        // What blinks ends at the next draw, and begins again.
        view.setHours(u"1:05"_s, false);
        QVERIFY(!blinks());
        view.setHours(u"1:05"_s, true);
        using View = QuillonStatusItemView;
        for (void (View::*set)(bool) : {&View::setOffline, &View::setLoggedOut, &View::setBlinkWhenRunning}) {
            const bool stops = set != &View::setBlinkWhenRunning;
            QVERIFY(blinks());
            (view.*set)(stops);
            QVERIFY(!blinks());
            (view.*set)(!stops);
        }
        QVERIFY(blinks());
    }

    void sleepsOutOfSight()
    {
        support::TestRun run;
        ViewOnScreen on;
        on.view.setHours(u"1:05"_s, true);
        on.picture();
        on.view.hide();
        QVERIFY(!BlinkTicker::sharedTicker().isActive());
        // Drawing a hidden view, for a picture of it, wakes nothing.
        on.picture();
        QVERIFY(!BlinkTicker::sharedTicker().isActive());
        on.view.show();
        QTRY_VERIFY(BlinkTicker::sharedTicker().isActive());
    }

    void oneTickerServesAll()
    {
        support::TestRun run;
        BlinkTicker& ticker = BlinkTicker::sharedTicker();
        ViewOnScreen on;
        {
            RunningButtonBackground button;
            button.show();
            QVERIFY(QTest::qWaitForWindowExposed(&button));
            QVERIFY(!ticker.isActive());
            button.setIsRunning(true);
            button.grab();
            QVERIFY(ticker.isActive());

            on.view.setHours(u"1:05"_s, true);
            on.picture();
            button.setIsRunning(false);
            QVERIFY(ticker.isActive());
            on.view.hide();
            QVERIFY(!ticker.isActive());

            button.setIsRunning(true);
            button.grab();
            QVERIFY(ticker.isActive());
        }
        QVERIFY(!ticker.isActive());
    }

    void repaintsThePatchOnly()
    {
        support::TestRun run;
        ViewOnScreen on;
        on.view.setHours(u"1:05"_s, true);
        on.view.repaint();
        const QRect patch = on.view.makeRectForBlinker().toAlignedRect();
        QCoreApplication::processEvents();
        PaintSpy spy(on.view);
        QTRY_VERIFY(spy.areas.size() >= 4);
        QCOMPARE(spy.areas, QList<QRect>(spy.areas.size(), patch));
    }

    void pulseIsTunable()
    {
        support::TestRun run;
        run.info.set("QuillonPulsateTransparency"_L1, 0.25);
        run.info.set("QuillonPulsateFrequency"_L1, 0.75);
        const Wave wave = RunningButtonBackground::pulsatingTimerAnimation();
        QCOMPARE(wave.opacityAt(0ms), 1.0);
        QCOMPARE(wave.opacityAt(750ms), 0.25);
        QCOMPARE(wave.opacityAt(1500ms), 1.0);

        // Stretched into the widget, whole.
        RunningButtonBackground button;
        button.resize(56, 40);
        const QImage image = button.grab().toImage();
        const QColor rim = image.pixelColor(28, 37);
        QVERIFY(rim.green() > rim.red() + 40 && rim.green() > rim.blue() + 40);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(BlinkTest)
#include "BlinkTest.moc"
