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

const Wave blink{};
const Wave slowPulse{.from = 1, .to = 0.2, .duration = 1000ms, .timing = Wave::Timing::Linear};

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
    void blinksOnlyWhile_data()
    {
        QTest::addColumn<bool>("running");
        QTest::addColumn<bool>("blinkWhenRunning");
        QTest::addColumn<bool>("offline");
        QTest::addColumn<bool>("loggedOut");
        QTest::addColumn<bool>("blinks");
        QTest::newRow("running") << true << true << false << false << true;
        QTest::newRow("stopped") << false << true << false << false << false;
        QTest::newRow("blinking off") << true << false << false << false << false;
        QTest::newRow("offline") << true << true << true << false << false;
        QTest::newRow("signed out") << true << true << false << true << false;
    }

    void blinksOnlyWhile()
    {
        QFETCH(bool, running);
        QFETCH(bool, blinkWhenRunning);
        QFETCH(bool, offline);
        QFETCH(bool, loggedOut);
        QFETCH(bool, blinks);
        support::TestRun run;
        ViewOnScreen on;
        // From blinking into the state: what ran must end at the next draw.
        on.view.setHours(u"1:05"_s, true);
        on.picture();
        QVERIFY(BlinkTicker::sharedTicker().isActive());

        on.view.setHours(u"1:05"_s, running);
        on.view.setBlinkWhenRunning(blinkWhenRunning);
        on.view.setOffline(offline);
        on.view.setLoggedOut(loggedOut);
        on.picture();
        QCOMPARE(BlinkTicker::sharedTicker().isActive(), blinks);
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
