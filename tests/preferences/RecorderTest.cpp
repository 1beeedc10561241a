#include "preferences/SRRecorderControl.h"
#include "support/TestMain.h"

#include <QAccessible>
#include <QLineEdit>
#include <QSignalSpy>
#include <QToolButton>
#include <QVBoxLayout>

using namespace Qt::StringLiterals;
using preferences::SRRecorderControl;
using settings::KeyCombo;

namespace {

constexpr KeyCombo CommandOptionM{KeyCombo::Command | KeyCombo::Option, 46};

/// A window with a recorder and a field.
class Window : public QWidget
{
public:
    Window()
    {
        auto* layout = new QVBoxLayout(this);
        layout->addWidget(recorder);
        layout->addWidget(field);
        recorder->setKeyCombo(CommandOptionM);
        show();
        activateWindow();
        recorder->setFocus();
        static_cast<void>(QTest::qWaitForWindowActive(this));
    }

    /// A key as an X server or a compositor sends it: `evdev` is the kernel's number of the physical key.
    void type(int evdev, Qt::Key key, Qt::KeyboardModifiers modifiers = {})
    {
        QKeyEvent press(QEvent::KeyPress, key, modifiers, quint32(evdev) + 8, 0, 0);
        QCoreApplication::sendEvent(recorder, &press);
    }

    SRRecorderControl* recorder = new SRRecorderControl;
    QLineEdit* field = new QLineEdit;
};

} // namespace

class RecorderTest final : public QObject
{
    Q_OBJECT

private slots:
    void records_data()
    {
        QTest::addColumn<int>("evdev");
        QTest::addColumn<Qt::Key>("key");
        QTest::addColumn<Qt::KeyboardModifiers>("modifiers");
        QTest::addColumn<quint64>("flags");
        QTest::addColumn<qint64>("code");
        QTest::addColumn<QString>("shown");
        const auto row = [](const char* name, int evdev, Qt::Key key, Qt::KeyboardModifiers modifiers, quint64 flags,
                            qint64 code, const char* shown) {
            QTest::newRow(name) << evdev << key << modifiers << flags << code << QString::fromLatin1(shown);
        };
        row("letter", 48, Qt::Key_B, Qt::ControlModifier | Qt::AltModifier, 0x180000, 11, "Ctrl+Alt+B");
        row("shifted digit", 2, Qt::Key_Exclam, Qt::ControlModifier | Qt::ShiftModifier, 0x120000, 18, "Ctrl+Shift+1");
        row("super", 57, Qt::Key_Space, Qt::MetaModifier, 0x40000, 49, "Meta+Space");
        // What stands on the key does not matter.
        row("other layout", 44, Qt::Key_Y, Qt::AltModifier, 0x80000, 6, "Alt+Z");
        row("function key", 63, Qt::Key_F5, {}, 0, 96, "F5");
        row("escape with a modifier", 1, Qt::Key_Escape, Qt::ControlModifier, 0x100000, 53, "Ctrl+Esc");
    }

    void records()
    {
        QFETCH(int, evdev);
        QFETCH(Qt::Key, key);
        QFETCH(Qt::KeyboardModifiers, modifiers);
        Window window;
        QSignalSpy changed(window.recorder, &SRRecorderControl::keyComboChanged);
        QTest::mouseClick(window.recorder, Qt::LeftButton);
        QVERIFY(window.recorder->isRecording());
        window.type(evdev, key, modifiers);
        QVERIFY(!window.recorder->isRecording());
        QTEST(window.recorder->keyCombo().flags, "flags");
        QTEST(window.recorder->keyCombo().code, "code");
        QTEST(window.recorder->shownText(), "shown");
        QCOMPARE(changed.count(), 1);
    }

    void refuses()
    {
        Window window;
        QSignalSpy refused(window.recorder, &SRRecorderControl::refused);
        window.recorder->startRecording();
        window.type(50, Qt::Key_M);
        window.type(50, Qt::Key_M, Qt::ShiftModifier);
        window.type(200, Qt::Key_MediaPlay, Qt::ControlModifier); // unknown
        window.type(-8, Qt::Key_M, Qt::ControlModifier);          // no key at all
        QCOMPARE(refused.count(), 4);
        QVERIFY(window.recorder->isRecording());
        QCOMPARE(window.recorder->keyCombo(), CommandOptionM);
    }

    void showsWhatIsPressed()
    {
        Window window;
        QCOMPARE(window.recorder->shownText(), u"Ctrl+Alt+M"_s);
        window.recorder->startRecording();
        QCOMPARE(window.recorder->shownText(), u"Type a shortcut"_s);
        window.type(29, Qt::Key_Control);
        QCOMPARE(window.recorder->shownText(), u"Ctrl+"_s);
        window.type(56, Qt::Key_Alt, Qt::ControlModifier);
        QCOMPARE(window.recorder->shownText(), u"Ctrl+Alt+"_s);
        QKeyEvent release(QEvent::KeyRelease, Qt::Key_Control, Qt::AltModifier | Qt::ControlModifier);
        QCoreApplication::sendEvent(window.recorder, &release);
        QCOMPARE(window.recorder->shownText(), u"Alt+"_s);
    }

    void keepsTheOldOne()
    {
        Window window;
        QSignalSpy changed(window.recorder, &SRRecorderControl::keyComboChanged);
        QSignalSpy recording(window.recorder, &SRRecorderControl::recordingChanged);
        QTest::keyClick(window.recorder, Qt::Key_Space);
        QVERIFY(window.recorder->isRecording());
        window.type(1, Qt::Key_Escape);
        QVERIFY(!window.recorder->isRecording());

        window.recorder->startRecording();
        QTest::keyClick(window.recorder, Qt::Key_Tab);
        QCOMPARE(window.focusWidget(), window.field);
        QVERIFY(!window.recorder->isRecording());
        QCOMPARE(window.recorder->keyCombo(), CommandOptionM);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(recording.count(), 4);
    }

    void clears()
    {
        Window window;
        auto* button = window.recorder->findChild<QToolButton*>();
        QTest::mouseClick(button, Qt::LeftButton);
        QCOMPARE(window.recorder->keyCombo(), KeyCombo());
        QCOMPARE(window.recorder->shownText(), u"None"_s);
        QVERIFY(!button->isVisible());

        window.recorder->setKeyCombo(CommandOptionM);
        QVERIFY(button->isVisible());
        QTest::keyClick(window.recorder, Qt::Key_Backspace);
        QCOMPARE(window.recorder->keyCombo(), KeyCombo());

        window.recorder->setKeyCombo(CommandOptionM);
        window.recorder->startRecording();
        QTest::keyClick(window.recorder, Qt::Key_Delete);
        QCOMPARE(window.recorder->keyCombo(), KeyCombo());
        QVERIFY(!window.recorder->isRecording());
    }

    void asksWhetherItIsTaken()
    {
        Window window;
        QSignalSpy refused(window.recorder, &SRRecorderControl::refused);
        window.recorder->setTaken([](qint64 code, quint64, QString& reason) {
            reason = u"taken"_s;
            return code == 45;
        });
        window.recorder->startRecording();
        window.type(49, Qt::Key_N, Qt::ControlModifier);
        QCOMPARE(refused.at(0).at(0).toString(), u"taken"_s);
        window.type(48, Qt::Key_B, Qt::ControlModifier);
        QCOMPARE(window.recorder->keyCombo().code, 11);
    }

    void keysMeanNothingElse()
    {
        Window window;
        QAction action;
        action.setShortcut(QKeySequence(u"Ctrl+B"_s));
        window.addAction(&action);
        QSignalSpy triggered(&action, &QAction::triggered);
        window.recorder->startRecording();
        QTest::keyClick(window.windowHandle(), Qt::Key_B, Qt::ControlModifier);
        QCOMPARE(triggered.count(), 0);
        window.recorder->stopRecording();
        QTest::keyClick(window.windowHandle(), Qt::Key_B, Qt::ControlModifier);
        QCOMPARE(triggered.count(), 1);
    }

    void isSpoken()
    {
        Window window;
        window.recorder->setAccessibleName(u"Timesheet"_s);
        auto* const interface = QAccessible::queryAccessibleInterface(window.recorder);
        QCOMPARE(interface->role(), QAccessible::HotkeyField);
        QCOMPARE(interface->text(QAccessible::Name), u"Timesheet: Ctrl+Alt+M"_s);
        interface->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
        QVERIFY(window.recorder->isRecording());
        QCOMPARE(interface->text(QAccessible::Name), u"Timesheet: Type a shortcut"_s);
        QVERIFY(interface->text(QAccessible::Description).startsWith("Recording"_L1));
    }
};

QUILLON_OFFSCREEN_TEST_MAIN(RecorderTest)
#include "RecorderTest.moc"
