#include "OpenBoxes.h"

#include "platform/linux/MessageBoxAlerts.h"
#include "support/InRow.h"
#include "support/ManualTimeSource.h"
#include "support/TestMain.h"

#include <QLabel>
#include <QPlainTextEdit>
#include <QPointer>
#include <QPushButton>
#include <QScreen>
#include <QTimer>

using namespace Qt::StringLiterals;

namespace {

const platform::Alert Idle{u"You were away"_s, u"Keep <b>it</b> & go on?"_s, {u"Keep"_s, u"R&D"_s, u"Remove"_s}};

} // namespace

class AlertsTest final : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_said.clear();
        m_alerts.emplace(m_time);
    }
    void cleanup() { m_alerts.reset(); }

    void oneAfterAnother()
    {
        m_alerts->show({u"One"_s, {}, {u"OK"_s}}, [this](int) {
            m_said << u"One"_s;
            m_alerts->show({u"Three"_s, {}, {u"OK"_s}}, note(u"Three"_s));
        });
        m_alerts->show({u"Two"_s, {}, {u"OK"_s}}, note(u"Two"_s));
        for (const QString& title : {u"One"_s, u"Two"_s, u"Three"_s}) {
            QTRY_VERIFY(openBox());
            QCOMPARE(openBox()->text(), title);
            openBox()->defaultButton()->click();
        }
        QTRY_COMPARE(m_said, QStringList({u"One"_s, u"Two 0"_s, u"Three 0"_s}));
        QTRY_VERIFY(openBoxes().isEmpty());
    }

    void answers()
    {
        const QString closing;
        for (const auto& [name, key, click, escapeButton, answer] :
             {std::tuple("Return presses the first", Qt::Key_Return, closing, -1, 0),
              {"Escape presses the last", Qt::Key_Escape, closing, -1, 2},
              {"closing presses the last", Qt::Key(), closing, -1, 2},
              {"Escape presses the named one", Qt::Key_Escape, closing, 0, 0},
              {"closing presses the named one", Qt::Key(), closing, 0, 0},
              {"click on the middle one", Qt::Key(), u"R&&D"_s, -1, 1}}) {
            const support::InRow row(name);
            init();
            platform::Alert alert = Idle;
            alert.escapeButton = escapeButton;
            m_alerts->show(alert, note(u"idle"_s));
            QMessageBox* box = openBox();
            VERIFY_EACH(box, QTest::qWaitForWindowActive(box));
            if (key)
                QTest::keyClick(box, key);
            else if (click.isEmpty())
                box->close();
            else
                press(click);
            QTRY_COMPARE(m_said, QStringList{u"idle %1"_s.arg(answer)});
        }
    }

    void changesWhileOpen()
    {
        const auto first = m_alerts->show(Idle, note(u"first"_s));
        const auto second = m_alerts->show(Idle, {});
        const QPointer<QMessageBox> box = openBox();
        platform::Alert changed = Idle;
        changed.title = u"You were away for much longer than anybody had thought"_s;
        changed.buttons[2] = u"Remove R&D"_s;
        m_alerts->update(second, {u"Two"_s, {}, {u"OK"_s}});
        QCOMPARE(box->text(), Idle.title);
        m_alerts->update(first, changed);
        QCOMPARE(openBoxes(), QList<QMessageBox*>{box});
        QCOMPARE(box->text(), changed.title);
        QCOMPARE(box->informativeText(), Idle.text);
        const auto* title = box->findChild<const QLabel*>(u"qt_msgbox_label"_s);
        for (const QLabel* label : {title, box->findChild<const QLabel*>(u"qt_msgbox_informativelabel"_s)})
            QCOMPARE(label->textFormat(), Qt::PlainText);
        QCOMPARE(box->windowTitle(), u"Quillon"_s);
        QTRY_VERIFY(title->width() >= title->fontMetrics().horizontalAdvance(title->text()));
        press(u"Remove R&&D"_s);
        QCOMPARE(m_said, QStringList{u"first 2"_s});
        m_alerts->update(first, Idle);
        QCOMPARE(openBox()->text(), u"Two"_s);
    }

    void dismissed()
    {
        std::vector<platform::AlertId> ids;
        for (const QString& title : {u"One"_s, u"Two"_s, u"Three"_s})
            ids.push_back(m_alerts->show({title, {}, {u"OK"_s}}, note(title)));
        m_alerts->dismiss(ids[1]);
        QCOMPARE(openBox()->text(), u"One"_s);
        m_alerts->dismiss(ids[0]);
        QVERIFY(openBox());
        QCOMPARE(openBox()->text(), u"Three"_s);
        m_alerts->dismiss(ids[0]);
        openBox()->close();
        m_alerts->dismiss(ids[2]);
        QCOMPARE(m_said, QStringList{u"Three 0"_s});
    }

    void unaskedOnesAreNotAnsweredByMistake()
    {
        // When the window got the keyboard, and when the keys came, of which the last one answers: milliseconds after
        // it came up.
        for (const auto& [name, active, keys] :
             {std::tuple("somebody goes on typing", 0, QList<int>{10, 200, 600, 1200, 1950, 2700}),
              {"a key that wakes the screen", 0, {3600'000, 3600'300, 3601'100}},
              {"somebody turns to it", 3600'000, {3600'800}},
              {"somebody turns to it, typing", 3600'000, {3600'010, 3600'800}}}) {
            const support::InRow row(name);
            init();
            m_alerts->show(unasked(), note(u"idle"_s));
            QVERIFY(openBox()->testAttribute(Qt::WA_ShowWithoutActivating));
            int passed = active;
            m_time.advance(std::chrono::milliseconds(active));
            QEvent activation(QEvent::WindowActivate);
            QCoreApplication::sendEvent(openBox(), &activation);
            for (const int key : keys) {
                m_time.advance(std::chrono::milliseconds(key - passed));
                passed = key;
                QVERIFY(m_said.isEmpty());
                QTest::keyClick(openBox(), Qt::Key_Return);
            }
            QCOMPARE(m_said, QStringList{u"idle 0"_s});
        }
    }

    void unaskedOnesBlockNothing()
    {
        Other other;
        const auto first = m_alerts->show(unasked(), note(u"question"_s));
        QCOMPARE(other.click(), 1);

        // What fails meanwhile is reported at once, and a question waits for what blocks it.
        m_alerts->show({u"Failed"_s, {}, {u"OK"_s}}, note(u"failure"_s));
        QCOMPARE(openBoxes().size(), 2);
        QCOMPARE(other.click(), 1); // waits, too
        m_alerts->dismiss(first);
        m_alerts->show(unasked(), note(u"question"_s));
        QVERIFY(openBox());
        QCOMPARE(openBox()->text(), u"Failed"_s);
        openBox()->close();
        QTRY_VERIFY(openBox() && openBox()->text() == Idle.title);
        openBox()->close();
        QCOMPARE(m_said, QStringList({u"failure 0"_s, u"question 2"_s}));
    }

    void manyUnaskedOnesStayOnTheScreen()
    {
        for (int i = 0; i < 12; ++i)
            m_alerts->show(unasked(), {});
        QCOMPARE(openBoxes().size(), 12);
        for (const QMessageBox* box : openBoxes()) {
            const QWidget* button = box->defaultButton();
            QTRY_VERIFY(box->screen()->availableGeometry().contains(button->mapToGlobal(button->rect().center())));
        }
    }

    void longTextsAreAllThere_data()
    {
        QTest::addColumn<QString>("text");
        QTest::newRow("many words") << u"The project is archived. "_s.repeated(200) + u"The end."_s;
        QTest::newRow("one word") << u"0123456789abcdef"_s.repeated(20);
        QTest::newRow("megabytes without a blank") << u"\U0001F9C1x\U0001F9C1"_s.repeated(400000);
    }
    void longTextsAreAllThere()
    {
        QFETCH(QString, text);
        const auto id = m_alerts->show({u"Timer Failed"_s, u"Short."_s, {u"OK"_s}}, note(u"failure"_s));
        m_alerts->update(id, {u"Timer Failed"_s, text, {u"OK"_s}});
        QMessageBox* box = openBox();
        VERIFY_EACH(box, QTest::qWaitForWindowActive(box));

        auto* shown = box->findChild<QPlainTextEdit*>();
        VERIFY_EACH(shown, shown->isVisible(), shown->hasFocus());
        QCOMPARE(shown->toPlainText().remove(u'\n').remove(u' '), QString(text).remove(u'\n').remove(u' '));
        QCOMPARE(shown->accessibleName(), u"Timer Failed"_s);
        const QRect screen = box->screen()->availableGeometry();
        QTRY_VERIFY(box->frameGeometry().height() < screen.height());
        QVERIFY(box->width() < screen.width());
        const QWidget* button = box->buttons().first();
        const QRect place(button->mapTo(box, QPoint()), button->size());
        VERIFY_EACH(box->rect().contains(place), !shown->geometry().intersects(place));

        // The keys reach its end, and still answer.
        QTest::keyClick(shown, Qt::Key_End, Qt::ControlModifier);
        VERIFY_EACH(shown->textCursor().atEnd(), shown->viewport()->rect().contains(shown->cursorRect()));
        QTest::keyClick(shown, Qt::Key_A, Qt::ControlModifier);
        QCOMPARE(shown->textCursor().selectedText().size(), shown->toPlainText().size());
        m_alerts->update(id, {u"Timer Failed again"_s, text, {u"OK"_s}});
        QVERIFY(shown->textCursor().hasSelection());
        QTest::keyClick(shown, Qt::Key_Return);
        QCOMPARE(m_said, QStringList{u"failure 0"_s});
    }

    void quitTakesAlertsDown()
    {
        m_alerts->show(unasked(), note(u"question"_s));
        m_alerts->show(Idle, note(u"first"_s));
        m_alerts->show(Idle, note(u"second"_s));
        QTimer::singleShot(0, qApp, &QCoreApplication::quit);
        QTimer giveUp;
        connect(&giveUp, &QTimer::timeout, qApp, [] { QCoreApplication::exit(1); });
        giveUp.start(20000);
        QCOMPARE(QCoreApplication::exec(), 0);
        QCOMPARE(m_said, QStringList());
        QVERIFY(openBoxes().isEmpty());

        m_alerts->show({u"After"_s, {}, {u"OK"_s}}, {});
        QCOMPARE(openBox()->text(), u"After"_s);
    }

private:
    /// Another window of the program.
    class Other
    {
    public:
        Other()
        {
            m_button.show();
            [this] { QVERIFY(QTest::qWaitForWindowExposed(&m_button)); }();
        }
        /// How many clicks have reached it, with this one.
        int click()
        {
            QTest::mouseClick(m_button.windowHandle(), Qt::LeftButton, {}, m_button.rect().center());
            return m_clicks;
        }

    private:
        QPushButton m_button;
        int m_clicks = 0;
        QMetaObject::Connection m_counting = connect(&m_button, &QPushButton::clicked, [this] { ++m_clicks; });
    };

    static platform::Alert unasked()
    {
        platform::Alert alert = Idle;
        alert.unasked = true;
        return alert;
    }
    /// Notes the answers to that alert.
    std::function<void(int)> note(const QString& name)
    {
        return [this, name](int button) { m_said << u"%1 %2"_s.arg(name).arg(button); };
    }
    static void press(const QString& text)
    {
        for (QAbstractButton* button : openBox()->buttons()) {
            if (button->text() == text)
                QTest::mouseClick(button, Qt::LeftButton);
        }
    }

    support::ManualTimeSource m_time;
    std::optional<platform::MessageBoxAlerts> m_alerts;
    QStringList m_said;
};

QUILLON_OFFSCREEN_TEST_MAIN(AlertsTest)
#include "AlertsTest.moc"
