#include "support/Pointer.h"
#include "support/VerifyEach.h"

#include "skin/Callout.h"
#include "skin/HUDBorderlessWindow.h"
#include "skin/HintCard.h"

#include <QApplication>
#include <QImage>
#include <QLineEdit>
#include <QMenu>
#include <QProcess>
#include <QTest>

using namespace skin;
using namespace Qt::StringLiterals;

namespace {

/// A panel with its background and a field.
class Panel final : public HUDBorderlessWindow
{
public:
    Panel() : background(this), field(this)
    {
        background.resize(320, 160);
        resize(background.size());
        field.setGeometry(20, 50, 280, 24);
        move(200, 150);
        show();
        static_cast<void>(QTest::qWaitForWindowExposed(this));
    }

    QImage picture()
    {
        QImage image(size(), QImage::Format_ARGB32_Premultiplied);
        image.fill(Qt::transparent);
        render(&image, QPoint(), QRegion(), QWidget::DrawChildren);
        return image;
    }

    HUDBorderlessView background;
    QLineEdit field;
};

} // namespace

/// Needs an X server with a window manager and no compositor.
class PanelTest final : public QObject
{
    Q_OBJECT

private slots:
    void opaqueUntilSomebodyComposites()
    {
        Panel panel;
        QVERIFY(!panel.isTranslucent());
        const QRegion shape = panel.mask();
        VERIFY_EACH(shape.contains(QPoint(160, 0)), shape.contains(QPoint(0, 80)),
                    shape.contains(QPoint(319, 159 - 9)));
        for (const QPoint corner : {QPoint(0, 0), QPoint(319, 0), QPoint(0, 159), QPoint(319, 159)})
            QVERIFY(!shape.contains(corner));
        const QImage opaque = panel.picture();
        QCOMPARE(qAlpha(opaque.pixel(160, 100)), 255);
        QCOMPARE(qAlpha(opaque.pixel(0, 0)), 0);

        QProcess compositor;
        compositor.start(u"picom"_s, {u"--backend"_s, u"xrender"_s, u"--config"_s, u"/dev/null"_s});
        QVERIFY(compositor.waitForStarted());
        const auto translucentWhenShown = [&] {
            panel.hide();
            panel.show();
            return panel.isTranslucent();
        };
        QTRY_VERIFY(translucentWhenShown());
        QVERIFY(panel.mask().isEmpty());
        const QImage translucent = panel.picture();
        QCOMPARE(qAlpha(translucent.pixel(0, 0)), 0);
        const int body = qAlpha(translucent.pixel(160, 100));
        QVERIFY2(body > 245 && body < 255, qPrintable(QString::number(body)));

        compositor.terminate();
        VERIFY_EACH(compositor.waitForFinished(), !translucentWhenShown(), !panel.mask().isEmpty());
    }

    void takesTheKeyboard()
    {
        Panel panel;
        panel.raise();
        panel.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&panel));
        panel.field.setFocus();
        support::pointer(u"type 1:30"_s);
        QTRY_COMPARE(panel.field.text(), u"1:30"_s);
    }

    void hintsLeaveTheKeyboardWhereItIs()
    {
        Panel panel;
        panel.activateWindow();
        QVERIFY(QTest::qWaitForWindowActive(&panel));
        Callout callout;
        callout.setHint({.title = u"Your hours are here"_s});
        callout.pointAt(QRect(600, 0, 71, 22));
        VERIFY_EACH(QTest::qWaitForWindowExposed(&callout), !QTest::qWaitForWindowActive(&callout, 300));
        QVERIFY(panel.isActiveWindow());
        // Nobody composites here: what is not the callout is cut off.
        QVERIFY(!callout.mask().isEmpty() && !callout.mask().contains(QPoint(1, 1)));
    }

    void backgroundMovesIt()
    {
        Panel panel;
        const QPoint start = panel.pos();
        const auto drag = [&](QPoint from) {
            const QPoint grip = panel.mapToGlobal(from);
            support::pointer(support::at(grip) + u" mousedown 1"_s);
            for (int step = 1; step <= 6; ++step)
                support::pointer(support::at(grip + QPoint(10, 5) * step));
            support::pointer(u"mouseup 1"_s);
        };
        drag({160, 12});
        QTRY_COMPARE(panel.pos() - start, QPoint(60, 30));
        QCOMPARE(panel.initialLocation(), start);
        // A field is for selecting text.
        panel.field.setText(u"a long text to be selected"_s);
        drag({30, 60});
        QTRY_VERIFY(panel.field.hasSelectedText());
        QCOMPARE(panel.pos() - start, QPoint(60, 30));
    }

    void takesItsMenusAlong()
    {
        Panel panel;
        QMenu menu(&panel.field);
        QMenu* below = menu.addMenu(u"More"_s);
        below->addAction(u"One"_s);
        menu.popup(panel.mapToGlobal(QPoint(10, 10)));
        below->popup(panel.mapToGlobal(QPoint(60, 10)));
        QCOMPARE(QList<bool>({menu.isVisible(), below->isVisible()}), QList<bool>({true, true}));
        panel.hide();
        QCOMPARE(QList<bool>({menu.isVisible(), below->isVisible()}), QList<bool>({false, false}));

        // Those of other windows are none of its business.
        Panel other;
        panel.show();
        QMenu elsewhere(&other);
        elsewhere.addAction(u"One"_s);
        elsewhere.popup(other.mapToGlobal(QPoint(10, 10)));
        panel.hide();
        QVERIFY(elsewhere.isVisible());
    }
};

QTEST_MAIN(PanelTest)
#include "PanelTest.moc"
