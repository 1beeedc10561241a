#include "skin/BlinkTicker.h"
#include "skin/QuillonStatusItemView.h"
#include "skin/RunningButtonBackground.h"
#include "skin/StatusItemOwner.h"
#include "skin/StatusTile.h"
#include "support/TestEnvironment.h"
#include "support/TestMain.h"

#include <QAccessible>
#include <QMenu>
#include <QPaintEvent>

using namespace skin;
using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// Keeps what the view asked for, and how its highlight stood then.
struct RecordingOwner final : StatusItemOwner
{
    void toggleStatusItemMenu() override
    {
        calls << u"menu, highlight %1"_s.arg(view && view->clicked() ? u"on" : u"off");
        if (view && highlightOnMenu)
            view->setClicked(true);
    }
    void toggleCurrentTimer(QObject* sender) override
    {
        calls << (sender == view ? u"toggle"_s : u"toggle by another"_s);
    }

    QuillonStatusItemView* view = nullptr;
    /// Behave like the controller that opens the menu.
    bool highlightOnMenu = false;
    QStringList calls;
};

/// A shown view and the owner it talks to.
struct ViewOnScreen
{
    ViewOnScreen() : view(QRectF(0, 0, 71, 22), owner)
    {
        owner.view = &view;
        view.setWindowFlags(Qt::FramelessWindowHint);
        view.setAttribute(Qt::WA_TranslucentBackground);
        view.show();
        static_cast<void>(QTest::qWaitForWindowExposed(&view));
    }

    /// The view as a screen of that ratio shows it.
    QImage picture(double ratio = 1)
    {
        QImage image((QSizeF(view.size()) * ratio).toSize(), QImage::Format_ARGB32_Premultiplied);
        image.setDevicePixelRatio(ratio);
        image.fill(Qt::transparent);
        view.render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
        return image;
    }

    support::TestRun run;
    RecordingOwner owner;
    QuillonStatusItemView view;
};

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

QRgb at(const QImage& image, double x, double y)
{
    return image.pixel(int(x * image.devicePixelRatio()), int(y * image.devicePixelRatio()));
}

bool greenish(QRgb c)
{
    return qGreen(c) > qRed(c) + 40 && qGreen(c) > qBlue(c) + 30;
}

bool bluish(QRgb c)
{
    return qBlue(c) > qRed(c) + 60 && qBlue(c) > qGreen(c) + 30;
}

bool greyish(QRgb c)
{
    return qAbs(qRed(c) - qBlue(c)) < 16 && qRed(c) > 0x3c && qRed(c) < 0x90;
}

} // namespace

class StatusItemViewTest final : public QObject
{
    Q_OBJECT

private slots:
    void blinkerLiesOnTheColon()
    {
        for (const auto& [scale, hours] : {std::pair(1.0, u"1:05"_s), std::pair(1.25, u"12:48"_s)}) {
            ViewOnScreen on;
            on.view.setHours(hours, false);
            const QImage plain = on.picture(scale);
            on.view.setHours(hours, true);
            const QImage covered = on.picture(scale);

            const QRectF patch = on.view.makeRectForBlinker();
            // The colon shows without the patch; with it nothing of it is left but the colour of the field.
            const int left = qRound(patch.left() * scale);
            const int right = qRound(patch.right() * scale);
            bool ink = false;
            for (int y = qRound(6 * scale); y < qRound(17 * scale); ++y) {
                for (int x = left; x < right; ++x) {
                    ink |= qRed(plain.pixel(x, y)) > 0xc0;
                    QCOMPARE(QColor(covered.pixel(x, y)).name(), u"#2f2f2f"_s);
                }
            }
            QVERIFY(ink);
            // Beside the patch nothing changed.
            QCOMPARE(covered.copy(right, 0, 1000, 1000), plain.copy(right, 0, 1000, 1000));
        }
    }

    void faces()
    {
        ViewOnScreen on;
        on.view.setBlinkWhenRunning(false);
        on.view.setHours(u"1:05"_s, false);
        const QImage stopped = on.picture();
        on.view.setHours(u"1:05"_s, true);
        const QImage running = on.picture();
        on.view.setLoggedOut(true);
        const QImage signedOut = on.picture();
        on.view.setOffline(true);
        const QImage offlineAndSignedOut = on.picture();
        on.view.setLoggedOut(false);
        const QImage offline = on.picture();
        on.view.setOffline(false);

        VERIFY_EACH(greyish(at(stopped, 8, 16)), greenish(at(running, 8, 16)));
        QCOMPARE(QList<bool>({bluish(at(signedOut, 8, 16)), bluish(at(signedOut, 63, 10))}), QList<bool>({true, true}));
        QCOMPARE(QList<bool>({greyish(at(offline, 8, 16)), greyish(at(offline, 63, 10))}), QList<bool>({true, true}));
        QCOMPARE(offlineAndSignedOut, offline);
        QCOMPARE(on.picture(), running);
        // The triangle and the square; only the button differs between stopped and running.
        QCOMPARE(at(stopped, 13, 11), QRgb(0xffffffff));
        QCOMPARE(at(running, 13, 11), QRgb(0xffffffff));
        QCOMPARE(running.copy(21, 0, 50, 22), stopped.copy(21, 0, 50, 22));
    }

    void highlightFillsTheView()
    {
        ViewOnScreen on;
        on.view.setClicked(true);
        QCOMPARE(on.picture().pixel(70, 21), on.view.palette().color(QPalette::Highlight).rgb());
        QPalette other = on.view.palette();
        other.setColor(QPalette::Highlight, Qt::magenta);
        on.view.setPalette(other);
        QCOMPARE(on.picture().pixel(70, 21), QColor(Qt::magenta).rgb());
        on.view.setClicked(false);
        QCOMPARE(qAlpha(on.picture().pixel(70, 21)), 0);
    }

    void mouse()
    {
        const QPoint first(6, 3);
        const QPoint last(20, 18);
        const QPoint beside(21, 11);
        const QStringList toggle{u"toggle"_s};
        const QStringList menuOff{u"menu, highlight off"_s};
        const QStringList menuOn{u"menu, highlight on"_s};
        for (const auto& [button, point, loggedOut, calls] : {std::tuple(Qt::LeftButton, first, false, toggle),
                                                              {Qt::LeftButton, last, true, toggle},
                                                              {Qt::LeftButton, beside, false, menuOff},
                                                              {Qt::LeftButton, beside, true, menuOff},
                                                              {Qt::RightButton, beside, false, menuOn},
                                                              {Qt::RightButton, first, false, menuOn},
                                                              {Qt::MiddleButton, beside, false, QStringList()}}) {
            ViewOnScreen on;
            on.view.setLoggedOut(loggedOut);
            QTest::mousePress(&on.view, button, {}, point);
            QCOMPARE(on.owner.calls, calls);
            QTest::mouseRelease(&on.view, button, {}, point);
            QCOMPARE(on.owner.calls, calls);
            QVERIFY(!on.view.clicked());
        }
    }

    void highlightAfterRelease()
    {
        ViewOnScreen on;
        on.owner.highlightOnMenu = true;
        const auto isKept = [&](Qt::MouseButton button, Qt::KeyboardModifiers modifiers) {
            QTest::mousePress(&on.view, button, modifiers, {45, 11});
            const bool pressed = on.view.clicked();
            QTest::mouseRelease(&on.view, button, modifiers, {45, 11});
            return pressed && on.view.clicked();
        };
        VERIFY_EACH(!isKept(Qt::LeftButton, {}), !isKept(Qt::LeftButton, Qt::ControlModifier));
        VERIFY_EACH(!isKept(Qt::RightButton, Qt::AltModifier), isKept(Qt::LeftButton, Qt::AltModifier));
    }

    void keys()
    {
        ViewOnScreen on;
        QTest::keyClick(&on.view, Qt::Key_Space);
        QTest::keyClick(&on.view, Qt::Key_Return);
        QTest::keyClick(&on.view, Qt::Key_Down);
        QTest::keyClick(&on.view, Qt::Key_Menu);
        QTest::keyClick(&on.view, Qt::Key_A);
        QKeyEvent held(QEvent::KeyPress, Qt::Key_Space, {}, QString(), true);
        QCoreApplication::sendEvent(&on.view, &held);
        QCOMPARE(on.owner.calls,
                 QStringList({u"toggle"_s, u"toggle"_s, u"menu, highlight off"_s, u"menu, highlight off"_s}));
    }

    void hoverChangesTheButtonOnly()
    {
        ViewOnScreen on;
        on.view.setHours(u"1:05"_s, false);
        const QImage plain = on.picture();
        QTest::mouseMove(&on.view, {13, 11});
        QCoreApplication::processEvents();
        const QImage hovered = on.picture();
        QVERIFY(qRed(at(hovered, 8, 14)) > qRed(at(plain, 8, 14)));
        QCOMPARE(hovered.copy(21, 0, 50, 22), plain.copy(21, 0, 50, 22));
        QTest::mousePress(&on.view, Qt::LeftButton, {}, {13, 11});
        QVERIFY(qRed(at(on.picture(), 8, 14)) < qRed(at(plain, 8, 14)));
        QTest::mouseRelease(&on.view, Qt::LeftButton, {}, {13, 11});
        QTest::mouseMove(&on.view, {45, 11});
        QCoreApplication::processEvents();
        QCOMPARE(on.picture(), plain);
    }

    void spokenName()
    {
        for (const auto& [hours, running, name] : {std::tuple(u"1:05"_s, true, u"1 hour 5 minutes, running"_s),
                                                   {u"0:01"_s, true, u"1 minute, running"_s},
                                                   {u"0:00"_s, false, u"0 minutes, stopped"_s},
                                                   {u"0:-3"_s, true, u"minus 3 minutes, running"_s},
                                                   {u"-1:-30"_s, true, u"minus 1 hour 30 minutes, running"_s},
                                                   {u"-:--"_s, false, u"No hours yet"_s}}) {
            RecordingOwner owner;
            QuillonStatusItemView view(QRectF(0, 0, 71, 22), owner);
            view.setHours(hours, running);
            QCOMPARE(view.accessibleName(), name);
            view.setAbout(u"Website, Design"_s);
            QCOMPARE(view.accessibleName(), hours == u"-:--"_s ? name : name + u", Website, Design"_s);
            view.setLoggedOut(true);
            QCOMPARE(view.accessibleName(), u"Sign in"_s);
            view.setOffline(true);
            QCOMPARE(view.accessibleName(), u"Offline"_s);
        }
    }

    void assistiveActions()
    {
        ViewOnScreen on;
        QMenu menu;
        on.view.setAccessibleDescription(u"Website relaunch"_s);
        QAccessibleInterface* accessible = QAccessible::queryAccessibleInterface(&on.view);
        QVERIFY(accessible);
        QCOMPARE(accessible->role(), QAccessible::Button);
        QCOMPARE(accessible->text(QAccessible::Description), u"Website relaunch"_s);
        QCOMPARE(accessible->childCount(), 0);
        on.view.setStatusMenu(&menu);
        QCOMPARE(accessible->childCount(), 1);
        QCOMPARE(accessible->child(0)->object(), &menu);
        QCOMPARE(accessible->indexOfChild(accessible->child(0)), 0);

        QAccessibleActionInterface* actions = accessible->actionInterface();
        QVERIFY(actions);
        actions->doAction(QAccessibleActionInterface::toggleAction());
        actions->doAction(QAccessibleActionInterface::pressAction());
        QVERIFY(on.owner.calls.isEmpty());
        QTRY_COMPARE(on.owner.calls, QStringList({u"toggle"_s, u"menu, highlight off"_s}));
    }

    /// As the desktop draws it in a bar for icons: every state can be told from it.
    void tile()
    {
        constexpr int side = 22;
        const auto tile = [](const QString& hours, bool running, bool offline = false, bool loggedOut = false) {
            return skin::statusTile({hours, {}, running, offline, loggedOut, {}}, side);
        };
        const QImage running = tile(u"1:05"_s, true);
        const QList<QImage> faces{running, tile(u"1:06"_s, true), tile(u"1:05"_s, false), tile(u"1:05"_s, true, true),
                                  tile(u"1:05"_s, true, false, true)};
        for (qsizetype i = 0; i < faces.size(); ++i) {
            QCOMPARE(faces.indexOf(faces.at(i)), i);
            QCOMPARE(qAlpha(faces.at(i).pixel(0, side - 1)), 0);
            QCOMPARE(qAlpha(faces.at(i).pixel(side / 2, side - 1)), 255);
        }
        QCOMPARE(tile(u"1:05"_s, true, true, true), faces.at(3));
        // Beside a label: one white square in the middle, whatever the hours.
        for (const int small : {16, 20}) {
            const QImage button = skin::statusTile({u"1:05"_s, {}, true}, small, false);
            QCOMPARE(button, skin::statusTile({u"2:30"_s, {}, true}, small, false));
            QVERIFY(button != skin::statusTile({u"1:05"_s, {}, false}, small, false));
            QRect white;
            for (int y = 0; y < small; ++y) {
                for (int x = 0; x < small; ++x)
                    white |= button.pixel(x, y) == 0xffffffff ? QRect(x, y, 1, 1) : QRect();
            }
            QCOMPARE(white.topLeft() + white.bottomRight(), QPoint(small - 1, small - 1));
            QCOMPARE(white.width(), white.height());
            QVERIFY(white.width() >= small * 7 / 16);
        }
    }

    void blinksOnlyWhile()
    {
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
        ViewOnScreen on;
        BlinkTicker& ticker = BlinkTicker::sharedTicker();
        {
            RunningButtonBackground button;
            button.show();
            VERIFY_EACH(QTest::qWaitForWindowExposed(&button), !ticker.isActive());
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
        VERIFY_EACH(rim.green() > rim.red() + 40, rim.green() > rim.blue() + 40);
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(StatusItemViewTest)
#include "StatusItemViewTest.moc"
