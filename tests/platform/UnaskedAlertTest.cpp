#include "platform/linux/MessageBoxAlerts.h"
#include "support/ManualTimeSource.h"

#include <QAbstractButton>
#include <QApplication>
#include <QMessageBox>
#include <QProcess>
#include <QTest>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;

namespace {

/// The real keyboard and pointer of the X server.
bool person(const QString& does)
{
    QProcess xdotool;
    xdotool.start(u"xdotool"_s, does.split(u' '));
    return QTest::qWaitFor([&] { return xdotool.state() == QProcess::NotRunning; }, 20000) && xdotool.exitCode() == 0;
}

QMessageBox* openBox()
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(window); box && box->isVisible())
            return box;
    }
    return nullptr;
}

} // namespace

/// An alert that nobody asked for, among other programs.
class UnaskedAlertTest final : public QObject
{
    Q_OBJECT

private slots:
    void leavesTheKeyboardWhereItIs();
    void oneClickAnswers();
};

void UnaskedAlertTest::leavesTheKeyboardWhereItIs()
{
    QProcess other;
    QByteArray said;
    connect(&other, &QProcess::readyRead, this, [&] { said += other.readAll(); });
    other.start(QStringLiteral(OTHER_PROGRAM), QStringList());
    QTRY_COMPARE(said, "in front\n");

    support::ManualTimeSource time;
    platform::MessageBoxAlerts alerts(time);
    QList<int> answers;
    alerts.show({u"You were away"_s, u"Really?"_s, {u"Yes"_s, u"No"_s}, 0, true},
                [&](int button) { answers << button; });
    QMessageBox* box = openBox();
    QVERIFY(box && QTest::qWaitForWindowExposed(box));
    const QPoint middle = box->mapToGlobal(box->rect().center());
    QVERIFY(person(u"key --delay 0 a Return b space Escape c"_s));
    QTRY_VERIFY2(said.endsWith("ab c\n"), said);
    QVERIFY(!box->isActiveWindow());
    QVERIFY(box->isVisible());

    time.advance(1h);
    QVERIFY(person(u"mousemove %1 %2 click 1"_s.arg(middle.x()).arg(box->mapToGlobal(QPoint(0, 8)).y())));
    QTRY_VERIFY(box->isActiveWindow());
    time.advance(1s);
    QVERIFY(answers.isEmpty());
    QVERIFY(person(u"key Escape"_s));
    QTRY_COMPARE(answers, QList<int>{0});
    other.terminate();
    other.waitForFinished();
}

void UnaskedAlertTest::oneClickAnswers()
{
    QWidget other;
    other.resize(100, 60);
    other.show();
    QVERIFY(QTest::qWaitForWindowActive(&other));
    support::ManualTimeSource time;
    platform::MessageBoxAlerts alerts(time);
    QList<int> answers;
    alerts.show({u"You were away"_s, u"Really?"_s, {u"Yes"_s, u"No"_s}, 0, true},
                [&](int button) { answers << button; });
    QMessageBox* box = openBox();
    QVERIFY(box && QTest::qWaitForWindowExposed(box));
    QVERIFY(other.isActiveWindow() && !box->isActiveWindow());
    const QAbstractButton* no = box->buttons().last();
    const QPoint place = no->mapToGlobal(no->rect().center());
    const QString click = u"mousemove %1 %2 click 1"_s.arg(place.x()).arg(place.y());
    // Meant for what was there a moment before; the window gets the keyboard by it.
    QVERIFY(person(click));
    QTRY_VERIFY(box->isActiveWindow());
    QVERIFY(answers.isEmpty());
    other.activateWindow();
    QTRY_VERIFY(other.isActiveWindow());
    time.advance(1s);
    QVERIFY(person(click));
    QTRY_COMPARE(answers, QList<int>{1});
}

QTEST_MAIN(UnaskedAlertTest)
#include "UnaskedAlertTest.moc"
