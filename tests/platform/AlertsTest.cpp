#include "platform/Desktop.h"
#include "platform/UpdateFeed.h"
#include "platform/linux/MessageBoxAlerts.h"
#include "support/ManualTimeSource.h"
#include "support/TestMain.h"

#include <QLabel>
#include <QMessageBox>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

QList<QMessageBox*> openBoxes()
{
    QList<QMessageBox*> boxes;
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(window); box && box->isVisible())
            boxes << box;
    }
    return boxes;
}

QMessageBox* openBox()
{
    const auto boxes = openBoxes();
    return boxes.size() == 1 ? boxes.first() : nullptr;
}

const platform::Alert kIdle{u"You were away"_s, u"Keep <b>it</b> & go on?"_s, {u"Keep"_s, u"R&D"_s, u"Remove"_s}};

} // namespace

class AlertsTest final : public QObject
{
    Q_OBJECT

private slots:
    void oneAfterAnother();
    void answers_data();
    void answers();
    void escapeButton();
    void keepsTheOtherWindowsWaiting();
    void textsArePlain();
    void longTextsFitTheScreen();
    void quitTakesAlertsDown();

private:
    support::ManualTimeSource m_time;
};

void AlertsTest::oneAfterAnother()
{
    platform::MessageBoxAlerts alerts(m_time);
    QStringList said;
    alerts.show({u"One"_s, {}, {u"OK"_s}}, [&](int) {
        said << u"one"_s;
        alerts.show({u"Three"_s, {}, {u"OK"_s}}, [&](int) { said << u"three"_s; });
    });
    alerts.show({u"Two"_s, {}, {u"OK"_s}}, [&](int) { said << u"two"_s; });
    for (const QString& title : {u"One"_s, u"Two"_s, u"Three"_s}) {
        QTRY_VERIFY(openBox());
        QCOMPARE(openBox()->text(), title);
        openBox()->defaultButton()->click();
    }
    QTRY_COMPARE(said, QStringList({u"one"_s, u"two"_s, u"three"_s}));
    QTRY_VERIFY(openBoxes().isEmpty());
}

void AlertsTest::answers_data()
{
    QTest::addColumn<int>("key");
    QTest::addColumn<QString>("click");
    QTest::addColumn<int>("answer");
    QTest::newRow("Return presses the first") << int(Qt::Key_Return) << QString() << 0;
    QTest::newRow("Escape presses the last") << int(Qt::Key_Escape) << QString() << 2;
    QTest::newRow("closing presses the last") << 0 << QString() << 2;
    QTest::newRow("click on the middle one") << 0 << u"R&&D"_s << 1;
}

void AlertsTest::answers()
{
    QFETCH(int, key);
    QFETCH(QString, click);
    platform::MessageBoxAlerts alerts(m_time);
    QList<int> answers;
    alerts.show(kIdle, [&](int button) { answers << button; });
    QMessageBox* box = openBox();
    QVERIFY(box && QTest::qWaitForWindowActive(box));
    if (key) {
        QTest::keyClick(box, Qt::Key(key));
    } else if (click.isEmpty()) {
        box->close();
    } else {
        for (QAbstractButton* button : box->buttons()) {
            if (button->text() == click)
                QTest::mouseClick(button, Qt::LeftButton);
        }
    }
    QFETCH(int, answer);
    QTRY_COMPARE(answers, QList<int>{answer});
}

void AlertsTest::escapeButton()
{
    platform::MessageBoxAlerts alerts(m_time);
    QList<int> answers;
    platform::Alert alert = kIdle;
    alert.escapeButton = 0;
    const auto note = [&](int button) { answers << button; };
    alerts.show(alert, note);
    QVERIFY(openBox() && QTest::qWaitForWindowActive(openBox()));
    QTest::keyClick(openBox(), Qt::Key_Escape);
    QTRY_COMPARE(answers, QList<int>{0});
    alerts.show(alert, note);
    openBox()->close();
    QTRY_COMPARE(answers, (QList<int>{0, 0}));
}

void AlertsTest::keepsTheOtherWindowsWaiting()
{
    QPushButton other;
    int clicks = 0;
    connect(&other, &QPushButton::clicked, this, [&] { ++clicks; });
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    const auto click = [&] { QTest::mouseClick(other.windowHandle(), Qt::LeftButton, {}, other.rect().center()); };
    platform::MessageBoxAlerts alerts(m_time);
    alerts.show(kIdle, {});
    QVERIFY(openBox() && QTest::qWaitForWindowActive(openBox()));
    click();
    QCOMPARE(clicks, 0);
    openBox()->close();
    click();
    QCOMPARE(clicks, 1);
}

void AlertsTest::textsArePlain()
{
    platform::MessageBoxAlerts alerts(m_time);
    alerts.show(kIdle, {});
    int plain = 0;
    for (const QLabel* label : openBox()->findChildren<QLabel*>()) {
        if (label->text() == kIdle.title || label->text() == kIdle.text)
            plain += label->textFormat() == Qt::PlainText;
    }
    QCOMPARE(plain, 2);
    QCOMPARE(openBox()->windowTitle(), u"Quillon"_s);
}

void AlertsTest::longTextsFitTheScreen()
{
    platform::MessageBoxAlerts alerts(m_time);
    alerts.show({u"Timer Failed"_s, u"Why, oh why? "_s.repeated(100000), {u"OK"_s}}, {});
    QTRY_VERIFY(openBox());
    QVERIFY(openBox()->height() < openBox()->screen()->availableGeometry().height());
}

void AlertsTest::quitTakesAlertsDown()
{
    platform::MessageBoxAlerts alerts(m_time);
    bool answered = false;
    alerts.show(kIdle, [&](int) { answered = true; });
    alerts.show(kIdle, [&](int) { answered = true; });
    QTimer::singleShot(0, qApp, &QCoreApplication::quit);
    QTimer giveUp;
    connect(&giveUp, &QTimer::timeout, qApp, [] { QCoreApplication::exit(1); });
    giveUp.start(20000);
    QCOMPARE(QCoreApplication::exec(), 0);
    QVERIFY(!answered);
    QVERIFY(openBoxes().isEmpty());

    alerts.show({u"After"_s, {}, {u"OK"_s}}, {});
    QCOMPARE(openBox()->text(), u"After"_s);
}

QUILLON_OFFSCREEN_TEST_MAIN(AlertsTest)
#include "AlertsTest.moc"
