#include "Program.h"

#include "platform/linux/FloatingStrip.h"
#include "support/Pointer.h"
#include "support/TestEnvironment.h"

#include <QApplication>
#include <QLineEdit>
#include <QMenu>
#include <QMouseEvent>
#include <QScreen>
#include <QWindow>

using namespace Qt::StringLiterals;
using platform::FloatingStrip;
using support::at;
using support::pointer;
using support::run;

namespace {

/// Notes the clicks that reach it.
class View final : public QWidget
{
public:
    View() { resize(71, 22); }

    platform::ItemContent content() { return {.view = this}; }

    QList<std::pair<Qt::MouseButton, QPoint>> presses;

protected:
    void mousePressEvent(QMouseEvent* event) override { presses << std::pair(event->button(), event->pos()); }
};

bool shown(QWidget& view)
{
    return QTest::qWaitForWindowExposed(view.window());
}

} // namespace

class FloatingStripTest final : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_folders = std::make_unique<support::TemporaryFolders>(); }
    void clicksReachTheViewAndFocusStays()
    {
        QLineEdit other;
        other.setGeometry(100, 300, 200, 40);
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));

        View view;
        FloatingStrip strip(view.content());
        QVERIFY(shown(view));
        QCOMPARE(view.size(), QSize(71, 22));
        const QRect screen = QGuiApplication::primaryScreen()->availableGeometry();
        QTRY_COMPARE(strip.frameGeometry().right(), screen.right() - 110);

        pointer(at(view.mapToGlobal(QPoint(12, 11))) + u" click 1"_s);
        pointer(at(view.mapToGlobal(QPoint(70, 21))) + u" click 3"_s);
        const QList<std::pair<Qt::MouseButton, QPoint>> expected{{Qt::LeftButton, {12, 11}},
                                                                 {Qt::RightButton, {70, 21}}};
        QTRY_COMPARE(view.presses, expected);
        QVERIFY(other.isActiveWindow());
        pointer(u"type abc"_s);
        QTRY_COMPARE(other.text(), u"abc"_s);
    }

    void staysOutOfTaskBars()
    {
        View view;
        FloatingStrip strip(view.content());
        QVERIFY(shown(view));
        const auto state = [&] {
            return run(u"xprop"_s, {u"-id"_s, QString::number(strip.winId()), u"_NET_WM_STATE"_s});
        };
        for (const auto& name : {"SKIP_TASKBAR"_L1, "SKIP_PAGER"_L1, "ABOVE"_L1})
            QTRY_VERIFY2(state().contains(name), qPrintable(state()));

        strip.hide();
        strip.present();
        QTRY_VERIFY2(state().contains("SKIP_TASKBAR"_L1), qPrintable(state()));
    }

    void gripMovesItAndThePlaceIsKept()
    {
        QPoint kept;
        {
            View view;
            FloatingStrip strip(view.content());
            QVERIFY(shown(view));
            const QPoint before = strip.pos();
            const QPoint grip = strip.mapToGlobal(QPoint(5, 13));
            pointer(at(grip) + u" click 3"_s); // the view's
            QTRY_COMPARE(view.presses.size(), 1);
            QCOMPARE(view.presses.takeFirst().first, Qt::RightButton);
            pointer(at(grip) + u" mousedown 1"_s);
            // Before, the window manager would take what follows for the beginning.
            QTRY_COMPARE(QGuiApplication::mouseButtons(), Qt::LeftButton);
            for (int step = 1; step <= 6; ++step)
                pointer(at(grip + QPoint(-50, 40) * step));
            pointer(u"mouseup 1"_s);
            QTRY_COMPARE(strip.pos() - before, QPoint(-300, 240));
            QVERIFY(view.presses.isEmpty());
            kept = strip.pos();
        }
        View view;
        FloatingStrip strip(view.content());
        QVERIFY(shown(view));
        QTRY_COMPARE(strip.pos(), kept);
        // There, too, the side nearer to the screen's edge stays.
        const QRect before = strip.frameGeometry();
        platform::ItemContent content = view.content();
        content.length = 81;
        strip.setContent(content);
        QTRY_COMPARE(strip.frameGeometry(), before.adjusted(-10, 0, 0, 0));
    }

    void lengthGrowsAwayFromTheEdge()
    {
        View view;
        FloatingStrip strip(view.content());
        QVERIFY(shown(view));
        const QRect before = strip.frameGeometry();
        platform::ItemContent content = view.content();
        content.length = 80.25;
        strip.setContent(content);
        QCOMPARE(view.width(), 81);
        QTRY_COMPARE(strip.frameGeometry(), before.adjusted(-10, 0, 0, 0));
        content.length = 71;
        strip.setContent(content);
        QTRY_COMPARE(strip.frameGeometry(), before);
    }

    void comesBackOntoTheScreen()
    {
        View view;
        FloatingStrip strip(view.content());
        QVERIFY(shown(view));
        strip.move(5000, -300);
        // As if the screen on which it was had gone.
        QTRY_COMPARE(strip.pos(), QPoint(5000, -300));
        emit QGuiApplication::primaryScreen()->geometryChanged(QGuiApplication::primaryScreen()->geometry());
        const QRect screen = QGuiApplication::primaryScreen()->geometry();
        QTRY_VERIFY(screen.contains(strip.frameGeometry()));
    }

    void menuOpensBesideIt()
    {
        View view;
        FloatingStrip strip(view.content());
        QVERIFY(shown(view));
        QMenu menu;
        menu.addAction(u"One"_s);
        const auto open = [&] {
            strip.popUpMenu(menu);
            QCOMPARE(menu.x(), view.mapToGlobal(QPoint(0, 0)).x());
            QCOMPARE(menu.windowHandle()->transientParent(), strip.windowHandle());
            menu.close();
        };
        open();
        QCOMPARE(menu.geometry().top(), strip.frameGeometry().bottom() + 1);

        const QPoint bottom(300, strip.screen()->availableGeometry().bottom() - strip.height());
        strip.move(bottom);
        QTRY_COMPARE(strip.pos(), bottom);
        open();
        QCOMPARE(menu.geometry().bottom(), strip.frameGeometry().top() - 1);
    }

    void corners()
    {
        View view;
        FloatingStrip strip(view.content());
        QVERIFY(shown(view));
        QWidget& window = strip;
        QVERIFY(!window.mask().isEmpty());
        QVERIFY(!window.mask().contains(QPoint(0, 0)));
        QVERIFY(window.mask().contains(QPoint(40, 0)));

        Program compositor(u"picom"_s, {u"--backend"_s, u"xrender"_s, u"--config"_s, u"/dev/null"_s});
        const auto masked = [&] {
            window.update();
            return !window.mask().isEmpty();
        };
        QTRY_VERIFY_WITH_TIMEOUT(!masked(), 20000);
        compositor.end();
        QTRY_VERIFY(masked());
    }

    void viewIsHandedBack()
    {
        auto view = std::make_unique<View>();
        {
            const FloatingStrip strip(view->content());
            QCOMPARE(view->parentWidget(), &strip);
        }
        QVERIFY(!view->parentWidget());
        platform::ItemContent content = view->content();
        FloatingStrip strip(content);
        view.reset();
        content.length = 90;
        strip.setContent(content);
        strip.present();
    }

private:
    std::unique_ptr<support::TemporaryFolders> m_folders;
};

QTEST_MAIN(FloatingStripTest)
#include "FloatingStripTest.moc"
