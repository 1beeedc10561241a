#include "Program.h"

#include "platform/linux/X11HotKeys.h"
#include "support/InRow.h"
#include "support/Pointer.h"
#include "support/TestEnvironment.h"

#include <QAbstractNativeEventFilter>
#include <QApplication>

#include <xcb/xcb.h>
#include <xcb/xtest.h>

using namespace Qt::StringLiterals;
using platform::HotKeys;
using support::run;

namespace {

constexpr auto ControlAlt = Qt::ControlModifier | Qt::AltModifier;
const HotKeys::HotKey Timesheet{1, u"timesheet"_s, u"Show or hide the timesheet"_s, 50, ControlAlt | Qt::Key_M};
const HotKeys::HotKey NewTimer{2, u"new-timer"_s, u"Start a new timer"_s, 49, ControlAlt | Qt::Key_N};

// Keys by their place: the codes of the X server.
enum Key : std::uint8_t
{
    Q = 24,
    Control = 37,
    Shift = 50,
    B = 56,
    N = 57,
    M = 58,
    Alt = 64,
    CapsLock = 66,
    NumLock = 77,
    Super = 133,
    Menu = 135,
};

/// A keyboard: another client of the X server, which presses keys there.
class Keyboard
{
public:
    Keyboard() : m_x(xcb_connect(nullptr, nullptr)) {}
    ~Keyboard() { xcb_disconnect(m_x); }

    void down(Key key) { fake(XCB_KEY_PRESS, key); }
    void up(Key key) { fake(XCB_KEY_RELEASE, key); }
    /// Down in this order, up in the opposite one.
    void press(std::initializer_list<Key> chord)
    {
        for (const Key key : chord)
            down(key);
        for (auto key = std::rbegin(chord); key != std::rend(chord); ++key)
            up(*key);
    }

private:
    void fake(std::uint8_t type, Key key)
    {
        // After some milliseconds of the server's: nobody lets go of a key and presses it in one.
        constexpr std::uint32_t delay = 3;
        const auto asked = xcb_test_fake_input_checked(m_x, type, key, delay, XCB_NONE, 0, 0, 0);
        QVERIFY(!xcb_request_check(m_x, asked));
    }

    xcb_connection_t* const m_x;
};

/// Another program with a field, in front of all others.
class OtherProgram : public Program
{
public:
    explicit OtherProgram(const QStringList& arguments = {}) : Program(QStringLiteral(OTHER_PROGRAM), arguments)
    {
        [this] { QVERIFY(says("in front\n")); }();
        grabbed = before().contains("grabbed");
    }
    /// What is in its field now.
    QByteArray text() { return lines().last(); }

    bool grabbed = false;
};

/// Counts the presses that the X server sends to the root window.
class RootPresses final : public QAbstractNativeEventFilter
{
public:
    RootPresses() { QCoreApplication::instance()->installNativeEventFilter(this); }
    int count = 0;

private:
    bool nativeEventFilter(const QByteArray&, void* message, qintptr*) override
    {
        const auto* event = static_cast<xcb_key_press_event_t*>(message);
        count += event->response_type == XCB_KEY_PRESS && event->event == event->root;
        return false;
    }
};

} // namespace

class X11HotKeysTest final : public QObject
{
    Q_OBJECT
private slots:
    void init()
    {
        QVERIFY(platform::X11HotKeys::available());
        m_run = std::make_unique<support::TestRun>();
        m_keys = std::make_unique<platform::X11HotKeys>();
        m_pressed.clear();
        m_changes = 0;
        m_keys->setHandlers([this](int id) { m_pressed << id; }, [this] { ++m_changes; });
    }

    void cleanup()
    {
        m_keys.reset();
        m_run.reset();
        run(u"setxkbmap"_s, {u"-layout"_s, u"us"_s, u"-option"_s, u""_s});
    }

    void fireWhileAnotherProgramIsInFront()
    {
        const QString us = u"us"_s;
        // The letter is that of the key that is Q on a US keyboard.
        for (const auto& [name, locks, layout, letter] : {std::tuple("plainly", QList<Key>(), us, "q"),
                                                          {"with num lock", {NumLock}, us, "q"},
                                                          {"with caps lock", {CapsLock}, us, "Q"},
                                                          {"with both", {NumLock, CapsLock}, us, "Q"},
                                                          // There the key of M has a comma, and M is elsewhere.
                                                          {"in another layout", {}, u"fr"_s, "a"},
                                                          // The menu key goes from one to the other.
                                                          {"in the second of two", {Menu}, u"us,fr"_s, "a"}}) {
            const support::InRow row(name);
            cleanup();
            init();
            const auto timesheet = m_keys->registerHotKey(Timesheet);
            const auto newTimer = m_keys->registerHotKey(NewTimer);
            QCOMPARE(state(timesheet), HotKeys::State::Registered);
            run(u"setxkbmap"_s, {u"-layout"_s, layout, u"-option"_s, u"grp:menu_toggle"_s});
            OtherProgram other;
            for (const Key lock : locks)
                m_keyboard.press({lock});

            m_keyboard.press({Control, Alt, M});
            QTRY_COMPARE(m_pressed, QList<int>{1});
            m_keyboard.press({Control, Alt, N});
            QTRY_COMPARE(m_pressed, (QList<int>{1, 2}));
            m_keyboard.press({Q});
            QTRY_COMPARE(other.text(), QByteArray(letter));

            for (const Key lock : locks)
                m_keyboard.press({lock});
        }
    }

    void neitherMoreNorFewerModifiers()
    {
        const auto timesheet = m_keys->registerHotKey(Timesheet);
        const auto newTimer = m_keys->registerHotKey(NewTimer);
        m_keyboard.press({M});
        m_keyboard.press({Control, M});
        m_keyboard.press({Alt, M});
        m_keyboard.press({Control, Alt, Shift, M});
        m_keyboard.press({Control, Alt, Super, M});
        m_keyboard.press({Control, Alt, N});
        QTRY_COMPARE(m_pressed, QList<int>{2});
    }

    void heldKeyFiresOnce()
    {
        RootPresses presses;
        const auto timesheet = m_keys->registerHotKey(Timesheet);
        m_keyboard.down(Control);
        m_keyboard.down(Alt);
        m_keyboard.down(M);
        QTRY_VERIFY(presses.count > 5);
        QCOMPARE(m_pressed, QList<int>{1});
        m_keyboard.up(M);
        m_keyboard.down(M);
        m_keyboard.up(M);
        m_keyboard.up(Alt);
        m_keyboard.up(Control);
        QTRY_COMPARE(m_pressed, (QList<int>{1, 1}));
    }

    void freedKeysGoWhereTheyWent()
    {
        HotKeys::HotKey shiftB = Timesheet;
        shiftB.evdevKey = 48;
        shiftB.keys = Qt::ShiftModifier | Qt::Key_B;
        auto key = m_keys->registerHotKey(shiftB);
        OtherProgram other;
        m_keyboard.press({Shift, B});
        QTRY_COMPARE(m_pressed, QList<int>{1});
        m_keys->setPaused(true);
        m_keyboard.press({Shift, B});
        QTRY_COMPARE(other.text(), QByteArray("B"));
        m_keys->setPaused(false);

        key.reset();
        key = m_keys->registerHotKey(Timesheet);
        m_keyboard.press({Shift, B});
        QTRY_COMPARE(other.text(), QByteArray("BB"));
        m_keyboard.press({Control, Alt, M});
        QTRY_COMPARE(m_pressed, (QList<int>{1, 1}));
    }

    void takenByAnotherProgram()
    {
        auto other = std::make_unique<OtherProgram>(
            QStringList{QString::number(M), QString::number(XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1)});
        QVERIFY(other->grabbed);
        const auto timesheet = m_keys->registerHotKey(Timesheet);
        auto newTimer = m_keys->registerHotKey(NewTimer);
        QCOMPARE(state(timesheet), HotKeys::State::Refused);
        QCOMPARE(state(newTimer), HotKeys::State::Registered);
        m_keyboard.press({Control, Alt, M});
        // Not even when a lock key is on, for which the other program did not ask.
        m_keyboard.press({NumLock});
        m_keyboard.press({Control, Alt, M});
        m_keyboard.press({NumLock});
        m_keyboard.press({Control, Alt, N});
        QTRY_COMPARE(m_pressed, QList<int>{2});

        other.reset();
        newTimer.reset();
        newTimer = m_keys->registerHotKey(NewTimer);
        QCOMPARE(state(timesheet), HotKeys::State::Registered);
        m_keyboard.press({Control, Alt, M});
        QTRY_COMPARE(m_pressed, (QList<int>{2, 1}));
    }

    void oneCombinationForTwo()
    {
        HotKeys::HotKey same = NewTimer;
        same.evdevKey = Timesheet.evdevKey;
        same.keys = Timesheet.keys;
        const auto second = m_keys->registerHotKey(same);
        auto first = m_keys->registerHotKey(Timesheet);
        QCOMPARE(state(first), HotKeys::State::Registered);
        QCOMPARE(state(second), HotKeys::State::Refused);
        m_keyboard.press({Control, Alt, M});
        QTRY_COMPARE(m_pressed, QList<int>{1});

        first.reset();
        QCOMPARE(state(second), HotKeys::State::Registered);
        m_keyboard.press({Control, Alt, M});
        QTRY_COMPARE(m_pressed, (QList<int>{1, 2}));
    }

    void couldBeHad()
    {
        const auto timesheet = m_keys->registerHotKey(Timesheet);
        const QStringList grabsNewTimer{QString::number(N), QString::number(XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1)};
        for (const bool paused : {true, false}) {
            m_keys->setPaused(paused);
            QCOMPARE(m_keys->couldBeHad(NewTimer), true);
            QCOMPARE(m_keys->couldBeHad(Timesheet), true);
            // It was asked, not taken.
            OtherProgram other(grabsNewTimer);
            QVERIFY(other.grabbed);
            QCOMPARE(m_keys->couldBeHad(NewTimer), false);
        }
        m_keyboard.press({Control, Alt, M});
        QTRY_COMPARE(m_pressed, QList<int>{1});
    }

    void anotherKeyboard()
    {
        const auto timesheet = m_keys->registerHotKey(Timesheet);
        // Num Lock gets another modifier bit than it had when the keys were grabbed.
        run(u"sh"_s,
            {u"-c"_s,
             u"xkbcomp $DISPLAY - 2>/dev/null | sed 's/modifier_map Mod2 *{ <NMLK> }/modifier_map Mod3 { <NMLK> }/' | "
             "xkbcomp - $DISPLAY 2>/dev/null"_s});
        QTRY_VERIFY(m_changes > 0);
        QCOMPARE(state(timesheet), HotKeys::State::Registered);
        m_keyboard.press({NumLock});
        m_keyboard.press({Control, Alt, M});
        m_keyboard.press({NumLock});
        QTRY_COMPARE(m_pressed, QList<int>{1});
    }

    void missingModifier()
    {
        const auto timesheet = m_keys->registerHotKey(Timesheet);
        HotKeys::HotKey control = NewTimer;
        control.keys = Qt::ControlModifier | Qt::Key_N;
        const auto newTimer = m_keys->registerHotKey(control);
        run(u"sh"_s,
            {u"-c"_s,
             u"xkbcomp $DISPLAY - 2>/dev/null | grep -v 'modifier_map Mod1' | xkbcomp - $DISPLAY 2>/dev/null"_s});
        QTRY_COMPARE(state(timesheet), HotKeys::State::Refused);
        // Without Alt this would be the same as Control alone.
        m_keyboard.press({Control, M});
        m_keyboard.press({Control, N});
        QTRY_COMPARE(m_pressed, QList<int>{2});
        run(u"setxkbmap"_s, {u"-layout"_s, u"us"_s});
        QTRY_COMPARE(state(timesheet), HotKeys::State::Registered);
    }

private:
    HotKeys::State state(const std::unique_ptr<HotKeys::Registration>& key) { return key->status().state; }

    Keyboard m_keyboard;
    std::unique_ptr<support::TestRun> m_run;
    std::unique_ptr<platform::X11HotKeys> m_keys;
    QList<int> m_pressed;
    int m_changes = 0;
};

QTEST_MAIN(X11HotKeysTest)
#include "X11HotKeysTest.moc"
