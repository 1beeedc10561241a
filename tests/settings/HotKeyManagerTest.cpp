#include "settings/HotKeyManager.h"
#include "settings/QuillonPreferences.h"
#include "support/TestEnvironment.h"

#include <QTest>

using namespace Qt::StringLiterals;
using platform::HotKeys;
using settings::HotKeyManager;
using settings::KeyCombo;

namespace {

class Target final : public settings::HotKeyTarget
{
public:
    bool loggedOut() const override { return signedOut; }
    bool offline() const override { return noNetwork; }
    void toggleTimesheetWindow(QObject*) override { calls << u"timesheet"_s; }
    void showNewTimerWindow(QObject*) override { calls << u"new timer"_s; }

    bool signedOut = false;
    bool noNetwork = false;
    QStringList calls;
};

/// A run with registered defaults, in which the combinations are set up.
class Started
{
public:
    Started()
    {
        manager.setTarget(&target);
        manager.setupHotKeys();
    }

    /// Presses, and lets the press arrive. True when the combination was registered.
    bool press(QKeyCombination keys)
    {
        const bool fires = test.hotKeys.press(keys);
        QCoreApplication::processEvents();
        return fires;
    }

    support::TestRun test;
    Target target;
    HotKeyManager& manager = HotKeyManager::instance();
    settings::QuillonPreferences& preferences = loaded();

private:
    static settings::QuillonPreferences& loaded()
    {
        settings::QuillonPreferences::setupDefaults();
        return settings::QuillonPreferences::sharedPreferences();
    }
};

constexpr quint64 CommandOption = KeyCombo::Command | KeyCombo::Option;
constexpr auto ControlAlt = Qt::ControlModifier | Qt::AltModifier;

} // namespace

class HotKeyManagerTest final : public QObject
{
    Q_OBJECT

private slots:
    void whoMayPressWhat()
    {
        const QStringList all{u"timesheet"_s, u"new timer"_s};
        for (const auto& [signedOut, offline, calls] :
             {std::tuple(false, false, all), std::tuple(false, true, all.first(1)),
              std::tuple(true, false, QStringList()), std::tuple(true, true, QStringList())}) {
            Started start;
            start.target.signedOut = signedOut;
            start.target.noNetwork = offline;
            QVERIFY(start.press(ControlAlt | Qt::Key_M));
            QVERIFY(start.press(ControlAlt | Qt::Key_N));
            QCOMPARE(start.target.calls, calls);

            start.manager.setTarget(nullptr);
            QVERIFY(start.press(ControlAlt | Qt::Key_M));
            QCOMPARE(start.target.calls, calls);
        }
    }

    void namesBothForTheDesktop()
    {
        Started start;
        QCOMPARE(start.test.hotKeys.registered.size(), std::size_t(2));
        const HotKeys::HotKey& timesheet = start.test.hotKeys.registered.at(HotKeyManager::ToggleTimesheetWindow);
        QCOMPARE(timesheet.name, u"timesheet"_s);
        QCOMPARE(timesheet.evdevKey, 50);
        QVERIFY(!timesheet.description.isEmpty());
        QCOMPARE(start.test.hotKeys.registered.at(HotKeyManager::ShowNewTimerWindow).name, u"new-timer"_s);
    }

    void anotherCombinationReplacesTheOldOne()
    {
        Started start;
        start.preferences.setNewTimerWindowHotKeyCombo({KeyCombo::Control | KeyCombo::Shift, 11});
        QVERIFY(start.press(ControlAlt | Qt::Key_N));
        start.target.calls.clear();

        start.manager.registerHotKeysFromPrefs();
        QVERIFY(!start.press(ControlAlt | Qt::Key_N));
        QVERIFY(start.press(Qt::MetaModifier | Qt::ShiftModifier | Qt::Key_B));
        QVERIFY(start.press(ControlAlt | Qt::Key_M));
        QCOMPARE(start.target.calls, QStringList({u"new timer"_s, u"timesheet"_s}));
    }

    void keysChangePlaces()
    {
        Started start;
        start.preferences.setTimesheetWindowHotKeyCombo({CommandOption, 45});
        start.preferences.setNewTimerWindowHotKeyCombo({CommandOption, 46});
        start.manager.registerHotKeysFromPrefs();
        QVERIFY(start.press(ControlAlt | Qt::Key_N));
        QCOMPARE(start.target.calls, QStringList{u"timesheet"_s});
    }

    void combinationsWithoutAKey()
    {
        Started start;
        // Cleared, and a code that no key has.
        for (const qint64 code : {KeyCombo::NoKey, qint64(10)}) {
            start.preferences.setTimesheetWindowHotKeyCombo({CommandOption, code});
            start.manager.registerHotKeysFromPrefs();
            QVERIFY(!start.test.hotKeys.registered.contains(HotKeyManager::ToggleTimesheetWindow));
            QCOMPARE(start.manager.status(HotKeyManager::ToggleTimesheetWindow).state, HotKeys::State::None);
            QCOMPARE(start.manager.status(HotKeyManager::ShowNewTimerWindow).state, HotKeys::State::Registered);
        }
    }
};

QTEST_GUILESS_MAIN(HotKeyManagerTest)
#include "HotKeyManagerTest.moc"
