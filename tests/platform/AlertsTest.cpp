#include "platform/Desktop.h"
#include "platform/UpdateFeed.h"
#include "platform/linux/MessageBoxAlerts.h"
#include "support/ManualTimeSource.h"
#include "support/TestMain.h"

#include <QLabel>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPointer>
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
    void changesWhileOpen();
    void dismissed();
    void unaskedOnesAreNotAnsweredByMistake_data();
    void unaskedOnesAreNotAnsweredByMistake();
    void unaskedOnesBlockNothing();
    void keepsTheOtherWindowsWaiting();
    void textsArePlain();
    void longTextsAreAllThere_data();
    void longTextsAreAllThere();
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

void AlertsTest::changesWhileOpen()
{
    platform::MessageBoxAlerts alerts(m_time);
    QList<int> answers;
    const auto first = alerts.show(kIdle, [&](int button) { answers << button; });
    const auto second = alerts.show(kIdle, {});
    const QPointer<QMessageBox> box = openBox();
    platform::Alert changed = kIdle;
    changed.title = u"You were away for much longer than anybody had thought"_s;
    changed.buttons[2] = u"Remove R&D"_s;
    alerts.update(second, {u"Two"_s, {}, {u"OK"_s}});
    QCOMPARE(box->text(), kIdle.title);
    alerts.update(first, changed);
    QCOMPARE(openBoxes(), QList<QMessageBox*>{box});
    QCOMPARE(box->text(), changed.title);
    QCOMPARE(box->informativeText(), kIdle.text);
    const QLabel* title = box->findChild<QLabel*>(u"qt_msgbox_label"_s);
    QTRY_VERIFY(title->width() >= title->fontMetrics().horizontalAdvance(title->text()));
    for (QAbstractButton* button : box->buttons()) {
        if (button->text() == u"Remove R&&D"_s)
            QTest::mouseClick(button, Qt::LeftButton);
    }
    QCOMPARE(answers, QList<int>{2});
    alerts.update(first, kIdle);
    QCOMPARE(openBox()->text(), u"Two"_s);
}

void AlertsTest::dismissed()
{
    platform::MessageBoxAlerts alerts(m_time);
    QStringList said;
    std::vector<platform::AlertId> ids;
    for (const QString& title : {u"One"_s, u"Two"_s, u"Three"_s})
        ids.push_back(alerts.show({title, {}, {u"OK"_s}},
                                  [&said, title](int button) { said << title + QString::number(button); }));
    alerts.dismiss(ids[1]);
    QCOMPARE(said, QStringList{u"Two-1"_s});
    QCOMPARE(openBox()->text(), u"One"_s);
    alerts.dismiss(ids[0]);
    QCOMPARE(said.last(), u"One-1"_s);
    QVERIFY(openBox());
    QCOMPARE(openBox()->text(), u"Three"_s);
    alerts.dismiss(ids[0]);
    openBox()->close();
    QCOMPARE(said.last(), u"Three0"_s);
    alerts.dismiss(ids[2]);
    QCOMPARE(said.size(), 3);
}

void AlertsTest::unaskedOnesAreNotAnsweredByMistake_data()
{
    // When the window got the keyboard, and when the keys came, of which the last one answers: milliseconds after it
    // came up.
    QTest::addColumn<int>("active");
    QTest::addColumn<QList<int>>("keys");
    QTest::newRow("somebody goes on typing") << 0 << QList<int>{10, 200, 600, 1200, 1950, 2700};
    QTest::newRow("a key that wakes the screen") << 0 << QList<int>{3600'000, 3600'300, 3601'100};
    QTest::newRow("somebody turns to it") << 3600'000 << QList<int>{3600'800};
    QTest::newRow("somebody turns to it, typing") << 3600'000 << QList<int>{3600'010, 3600'800};
}

void AlertsTest::unaskedOnesAreNotAnsweredByMistake()
{
    QFETCH(int, active);
    QFETCH(QList<int>, keys);
    platform::MessageBoxAlerts alerts(m_time);
    platform::Alert alert = kIdle;
    alert.unasked = true;
    QList<int> answers;
    alerts.show(alert, [&](int button) { answers << button; });
    QVERIFY(openBox()->testAttribute(Qt::WA_ShowWithoutActivating));
    int passed = active;
    m_time.advance(std::chrono::milliseconds(active));
    QEvent activation(QEvent::WindowActivate);
    QCoreApplication::sendEvent(openBox(), &activation);
    for (const int key : keys) {
        m_time.advance(std::chrono::milliseconds(key - passed));
        passed = key;
        QVERIFY(answers.isEmpty());
        QTest::keyClick(openBox(), Qt::Key_Return);
    }
    QCOMPARE(answers, QList<int>{0});
}

void AlertsTest::unaskedOnesBlockNothing()
{
    QPushButton other;
    int clicks = 0;
    connect(&other, &QPushButton::clicked, this, [&] { ++clicks; });
    other.show();
    QVERIFY(QTest::qWaitForWindowExposed(&other));
    platform::MessageBoxAlerts alerts(m_time);
    QStringList said;
    const auto note = [&said](const QString& what) {
        return [&said, what](int button) { said << what + QString::number(button); };
    };
    platform::Alert question = kIdle;
    question.unasked = true;
    const auto first = alerts.show(question, note(u"question "_s));
    QTest::mouseClick(other.windowHandle(), Qt::LeftButton, {}, other.rect().center());
    QCOMPARE(clicks, 1);

    // What fails meanwhile is told at once, and a question waits for what blocks it.
    alerts.show({u"Failed"_s, {}, {u"OK"_s}}, note(u"failure "_s));
    QCOMPARE(openBoxes().size(), 2);
    alerts.dismiss(first);
    alerts.show(question, note(u"question "_s));
    QVERIFY(openBox() && openBox()->text() == u"Failed"_s);
    openBox()->close();
    QTRY_VERIFY(openBox() && openBox()->text() == question.title);
    openBox()->close();
    QCOMPARE(said, QStringList({u"question -1"_s, u"failure 0"_s, u"question 2"_s}));
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

void AlertsTest::longTextsAreAllThere_data()
{
    QTest::addColumn<QString>("text");
    QTest::newRow("many words") << u"The project is archived. "_s.repeated(200) + u"The end."_s;
    QTest::newRow("one word") << u"0123456789abcdef"_s.repeated(20);
    QTest::newRow("megabytes without a blank") << u"\U0001F9C1x\U0001F9C1"_s.repeated(400000);
}

void AlertsTest::longTextsAreAllThere()
{
    QFETCH(QString, text);
    platform::MessageBoxAlerts alerts(m_time);
    QList<int> answers;
    const auto note = [&](int button) { answers << button; };
    const auto id = alerts.show({u"Timer Failed"_s, u"Short."_s, {u"OK"_s}}, note);
    alerts.update(id, {u"Timer Failed"_s, text, {u"OK"_s}});
    QMessageBox* box = openBox();
    QVERIFY(box && QTest::qWaitForWindowActive(box));

    auto* shown = box->findChild<QPlainTextEdit*>();
    QVERIFY(shown && shown->isVisible() && shown->hasFocus());
    QCOMPARE(shown->toPlainText().remove(u'\n').remove(u' '), QString(text).remove(u'\n').remove(u' '));
    QCOMPARE(shown->accessibleName(), u"Timer Failed"_s);
    const QRect screen = box->screen()->availableGeometry();
    QTRY_VERIFY(box->frameGeometry().height() < screen.height());
    QVERIFY(box->width() < screen.width());
    const QWidget* button = box->buttons().first();
    QVERIFY(box->rect().contains(QRect(button->mapTo(box, QPoint()), button->size())));
    QVERIFY(!shown->geometry().intersects(QRect(button->mapTo(box, QPoint()), button->size())));

    // The keys reach its end, and still answer.
    QTest::keyClick(shown, Qt::Key_End, Qt::ControlModifier);
    QVERIFY(shown->textCursor().atEnd() && shown->viewport()->rect().contains(shown->cursorRect()));
    QTest::keyClick(shown, Qt::Key_A, Qt::ControlModifier);
    QCOMPARE(shown->textCursor().selectedText().size(), shown->toPlainText().size());
    alerts.update(id, {u"Timer Failed again"_s, text, {u"OK"_s}});
    QVERIFY(shown->textCursor().hasSelection());
    QTest::keyClick(shown, Qt::Key_Return);
    QCOMPARE(answers, QList<int>{0});
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
