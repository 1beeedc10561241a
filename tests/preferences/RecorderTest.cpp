#include "preferences/SRRecorderControl.h"
#include "support/InRow.h"
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
    void records()
    {
        using Modifiers = Qt::KeyboardModifiers;
        for (const auto& [evdev, key, modifiers, combo, shown] :
             {std::tuple{48, Qt::Key_B, Qt::ControlModifier | Qt::AltModifier, KeyCombo{0x180000, 11}, u"Ctrl+Alt+B"_s},
              std::tuple{2, Qt::Key_Exclam, Qt::ControlModifier | Qt::ShiftModifier, KeyCombo{0x120000, 18},
                         u"Ctrl+Shift+1"_s},
              std::tuple{57, Qt::Key_Space, Modifiers(Qt::MetaModifier), KeyCombo{0x40000, 49}, u"Meta+Space"_s},
              // What stands on the key does not matter.
              std::tuple{44, Qt::Key_Y, Modifiers(Qt::AltModifier), KeyCombo{0x80000, 6}, u"Alt+Z"_s},
              std::tuple{63, Qt::Key_F5, Modifiers(), KeyCombo{0, 96}, u"F5"_s},
              std::tuple{1, Qt::Key_Escape, Modifiers(Qt::ControlModifier), KeyCombo{0x100000, 53}, u"Ctrl+Esc"_s}}) {
            const support::InRow inRow(shown);
            Window window;
            QSignalSpy changed(window.recorder, &SRRecorderControl::keyComboChanged);
            QTest::mouseClick(window.recorder, Qt::LeftButton);
            QVERIFY(window.recorder->isRecording());
            window.type(evdev, key, modifiers);
            QVERIFY(!window.recorder->isRecording());
            QCOMPARE(window.recorder->keyCombo(), combo);
            QCOMPARE(window.recorder->shownText(), shown);
            QCOMPARE(changed.count(), 1);
        }
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
};

QUILLON_OFFSCREEN_TEST_MAIN(RecorderTest)
#include "RecorderTest.moc"
