#include "OpenBoxes.h"
#include "Program.h"

#include "platform/linux/MessageBoxAlerts.h"
#include "support/ManualTimeSource.h"
#include "support/Pointer.h"
#include "support/VerifyEach.h"

#include <QPushButton>

using namespace Qt::StringLiterals;
using namespace std::chrono_literals;
using support::at;
using support::pointer;

namespace {

QString clickOn(const QWidget* widget)
{
    return at(widget->mapToGlobal(widget->rect().center())) + u" click 1"_s;
}

const platform::Alert Question{u"You were away"_s, u"Really?"_s, {u"Yes"_s, u"No"_s}, 0, true};
const platform::Alert Warning{u"Time Not Saved"_s, u"The disk is full."_s, {u"OK"_s}, 0, true};

} // namespace

/// An alert that nobody asked for, among other programs.
class UnaskedAlertTest final : public QObject
{
    Q_OBJECT

private slots:
    void leavesTheKeyboardWhereItIs()
    {
        Program other(QStringLiteral(OTHER_PROGRAM));
        QVERIFY(other.says("in front\n"));

        m_alerts.show(Question, note(u"question"_s));
        QMessageBox* box = openBox(Question.title);
        VERIFY_EACH(box, QTest::qWaitForWindowExposed(box));
        pointer(u"key --delay 0 a Return b space Escape c"_s);
        VERIFY_EACH(other.says("\nab c\n"), !box->isActiveWindow(), box->isVisible());

        m_time.advance(1h);
        pointer(at(box->mapToGlobal(QPoint(box->width() / 2, 8))) + u" click 1"_s);
        QTRY_VERIFY(box->isActiveWindow());
        m_time.advance(1s);
        QVERIFY(m_said.isEmpty());
        pointer(u"key Escape"_s);
        QTRY_COMPARE(m_said, QStringList{u"question 0"_s});
    }

    void oneClickAnswers()
    {
        QWidget other;
        other.resize(100, 60);
        other.show();
        QVERIFY(QTest::qWaitForWindowActive(&other));
        m_alerts.show(Question, note(u"question"_s));
        QMessageBox* box = openBox(Question.title);
        VERIFY_EACH(box, QTest::qWaitForWindowExposed(box));
        VERIFY_EACH(other.isActiveWindow(), !box->isActiveWindow());
        const QString click = clickOn(box->buttons().last());
        // Meant for what was there a moment before; the window gets the keyboard by it.
        pointer(click);
        QTRY_VERIFY(box->isActiveWindow());
        QVERIFY(m_said.isEmpty());
        other.activateWindow();
        QTRY_VERIFY(other.isActiveWindow());
        m_time.advance(1s);
        pointer(click);
        QTRY_COMPARE(m_said, QStringList{u"question 1"_s});
    }

    void noneWaitsForAnother()
    {
        m_alerts.show(Question, note(u"question"_s));
        m_alerts.show(Warning, note(u"warning"_s));
        QMessageBox* question = openBox(Question.title);
        QMessageBox* warning = openBox(Warning.title);
        VERIFY_EACH(question, QTest::qWaitForWindowExposed(question));
        VERIFY_EACH(warning, QTest::qWaitForWindowExposed(warning));
        // What is asked for lies over both, and blocks them for as long as it is there.
        m_time.advance(1h);
        const platform::Alert failure{u"Timer Failed"_s, {}, {u"OK"_s}};
        m_alerts.show(failure, note(u"failure"_s));
        QVERIFY(QTest::qWaitForWindowActive(openBox(failure.title)));
        pointer(clickOn(openBox(failure.title)->defaultButton()));
        QTRY_COMPARE(m_said, QStringList{u"failure 0"_s});

        // Each is answered for itself, and hides no button of another one.
        pointer(clickOn(question->buttons().last()));
        QTRY_COMPARE(m_said.last(), u"question 1"_s);
        QVERIFY(warning->isVisible());
        pointer(clickOn(warning->defaultButton()));
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
