#include "platform/linux/MessageBoxAlerts.h"
#include "support/ManualTimeSource.h"

#include <QApplication>
#include <QMessageBox>
#include <QProcess>
#include <QPushButton>
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

/// The open alert with that title.
QMessageBox* openBox(const QString& title)
{
    for (QWidget* window : QApplication::topLevelWidgets()) {
        if (auto* box = qobject_cast<QMessageBox*>(window); box && box->isVisible() && box->text() == title)
            return box;
    }
    return nullptr;
}

QString clickOn(const QWidget* widget)
{
    const QPoint place = widget->mapToGlobal(widget->rect().center());
    return u"mousemove %1 %2 click 1"_s.arg(place.x()).arg(place.y());
}

const platform::Alert kQuestion{u"You were away"_s, u"Really?"_s, {u"Yes"_s, u"No"_s}, 0, true};
const platform::Alert kWarning{u"Time Not Saved"_s, u"The disk is full."_s, {u"OK"_s}, 0, true};

} // namespace

/// An alert that nobody asked for, among other programs.
class UnaskedAlertTest final : public QObject
{
    Q_OBJECT

private slots:
    void leavesTheKeyboardWhereItIs()
    {
        QProcess other;
        QByteArray said;
        connect(&other, &QProcess::readyRead, this, [&] { said += other.readAll(); });
        other.start(QStringLiteral(OTHER_PROGRAM), QStringList());
        QTRY_COMPARE(said, "in front\n");

        m_alerts.show(kQuestion, note(u"question"_s));
        QMessageBox* box = openBox(kQuestion.title);
        QVERIFY(box && QTest::qWaitForWindowExposed(box));
        QVERIFY(person(u"key --delay 0 a Return b space Escape c"_s));
        QTRY_VERIFY2(said.endsWith("ab c\n"), said);
        QVERIFY(!box->isActiveWindow());
        QVERIFY(box->isVisible());

        m_time.advance(1h);
        const QPoint edge = box->mapToGlobal(QPoint(box->width() / 2, 8));
        QVERIFY(person(u"mousemove %1 %2 click 1"_s.arg(edge.x()).arg(edge.y())));
        QTRY_VERIFY(box->isActiveWindow());
        m_time.advance(1s);
        QVERIFY(m_said.isEmpty());
        QVERIFY(person(u"key Escape"_s));
        QTRY_COMPARE(m_said, QStringList{u"question 0"_s});
        other.terminate();
        other.waitForFinished();
    }

    void oneClickAnswers()
    {
        QWidget other;
        other.resize(100, 60);
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        m_alerts.show(kQuestion, note(u"question"_s));
        QMessageBox* box = openBox(kQuestion.title);
        QVERIFY(box && QTest::qWaitForWindowExposed(box));
        QVERIFY(other.isActiveWindow() && !box->isActiveWindow());
        const QString click = clickOn(box->buttons().last());
        // Meant for what was there a moment before; the window gets the keyboard by it.
        QVERIFY(person(click));
        QTRY_VERIFY(box->isActiveWindow());
        QVERIFY(m_said.isEmpty());
        other.activateWindow();
        QTRY_VERIFY(other.isActiveWindow());
        m_time.advance(1s);
        QVERIFY(person(click));
        QTRY_COMPARE(m_said, QStringList{u"question 1"_s});
    }

    void noneWaitsForAnother()
    {
        m_alerts.show(kQuestion, note(u"question"_s));
        m_alerts.show(kWarning, note(u"warning"_s));
        QMessageBox* question = openBox(kQuestion.title);
        QMessageBox* warning = openBox(kWarning.title);
        QVERIFY(question && QTest::qWaitForWindowExposed(question));
        QVERIFY(warning && QTest::qWaitForWindowExposed(warning));
        // What is asked for lies over both, and blocks them for as long as it is there.
        m_time.advance(1h);
        const platform::Alert failure{u"Timer Failed"_s, {}, {u"OK"_s}};
        m_alerts.show(failure, note(u"failure"_s));
        QVERIFY(QTest::qWaitForWindowActive(openBox(failure.title)));
        QVERIFY(person(clickOn(openBox(failure.title)->defaultButton())));
        QTRY_COMPARE(m_said, QStringList{u"failure 0"_s});

        // Each is answered for itself, and hides no button of another one.
        QVERIFY(person(clickOn(question->buttons().last())));
        QTRY_COMPARE(m_said.last(), u"question 1"_s);
        QVERIFY(warning->isVisible());
        QVERIFY(person(clickOn(warning->defaultButton())));
        QTRY_COMPARE(m_said.last(), u"warning 0"_s);
        QCOMPARE(m_said.size(), 3);
    }

    void init() { m_said.clear(); }

private:
    std::function<void(int)> note(const QString& name)
    {
        return [this, name](int button) { m_said << u"%1 %2"_s.arg(name).arg(button); };
    }

    support::ManualTimeSource m_time;
    platform::MessageBoxAlerts m_alerts{m_time};
    QStringList m_said;
};

QTEST_MAIN(UnaskedAlertTest)
#include "UnaskedAlertTest.moc"
